#include "support/hex.h"

#include <cctype>
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
  std::string digits;
  for (char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else if (c != ' ') {
      throw std::invalid_argument("neither a hex digit nor a blank: " + hex);
    }
  }
  if (digits.size() % 2 != 0) {
    throw std::invalid_argument("an odd number of hex digits: " + hex);
  }
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}
