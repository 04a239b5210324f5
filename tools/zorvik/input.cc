#include "input.h"

#include <google/protobuf/io/coded_stream.h>

#include <cctype>
#include <cstdint>
#include <sstream>

namespace {

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)); }
bool IsDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)); }

bool LooksLikeHex(const std::string& input) {
  size_t digits = 0;
  for (const char c : input) {
    if (!IsSpace(c) && !IsDigit(c)) return false;
    digits += IsDigit(c);
  }
  return digits > 0 && digits % 2 == 0;
}

std::string FromHex(const std::string& text, const std::string& place) {
  std::string bytes, digits;
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsSpace(text[i])) continue;
    if (!IsDigit(text[i])) {
      throw std::runtime_error(place + "character " + std::to_string(i) +
                               ": not a hex digit");
    }
    digits += text[i];
    if (digits.size() == 2) {
      bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
      digits.clear();
    }
  }
  if (!digits.empty()) {
    throw std::runtime_error(place + "character " +
                             std::to_string(text.size()) +
                             ": an odd number of hex digits");
  }
  return bytes;
}

void SplitDelimited(const std::string& bytes, std::vector<Piece>* pieces) {
  google::protobuf::io::CodedInputStream stream(
      reinterpret_cast<const uint8_t*>(bytes.data()),
      static_cast<int>(bytes.size()));
  for (size_t number = 1;
       stream.CurrentPosition() < static_cast<int>(bytes.size()); ++number) {
    const std::string place = "message " + std::to_string(number);
    const std::string fault =
        place + ": offset " + std::to_string(stream.CurrentPosition()) + ": ";
    uint64_t length = 0;
    if (!stream.ReadVarint64(&length)) {
      throw std::runtime_error(fault + "no valid length");
    }
    const auto offset = static_cast<size_t>(stream.CurrentPosition());
    if (length > bytes.size() - offset) {
      throw std::runtime_error(
          fault + "a length of " + std::to_string(length) + " bytes, and " +
          std::to_string(bytes.size() - offset) + " are left");
    }
    stream.Skip(static_cast<int>(length));
    pieces->push_back({bytes.substr(offset, length), offset, place});
  }
}

void SplitLines(const std::string& input, std::vector<Piece>* pieces) {
  std::istringstream lines(input);
  size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    const std::string place = "line " + std::to_string(++number);
    pieces->push_back({FromHex(line, place + ": "), 0, place});
  }
}

}  // namespace

void Split(const std::string& input, Encoding encoding, Framing framing,
           std::vector<Piece>* pieces) {
  if (framing == Framing::kLines) return SplitLines(input, pieces);
  const bool is_hex = encoding == Encoding::kHex ||
                      (encoding == Encoding::kDetect && LooksLikeHex(input));
  const std::string bytes = is_hex ? FromHex(input, "") : input;
  if (framing == Framing::kDelimited) return SplitDelimited(bytes, pieces);
  pieces->push_back({bytes, 0, "message 1"});
}
