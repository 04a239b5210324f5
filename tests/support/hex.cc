#include "support/hex.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

std::string ToHex(const std::string& bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex;
  for (unsigned char byte : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += digits[byte >> 4];
    hex += digits[byte & 15];
  }
  return hex;
}

std::string FromHex(const std::string& hex) {
  std::string digits = hex;
  digits.erase(std::remove(digits.begin(), digits.end(), ' '), digits.end());
  if (digits.size() % 2 != 0 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) {
    throw std::invalid_argument("not pairs of hex digits: " + hex);
  }
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}
