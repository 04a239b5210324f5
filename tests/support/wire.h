// Pieces of encodings, right or wrong, that no writer of messages gives.
#ifndef TESTS_SUPPORT_WIRE_H_
#define TESTS_SUPPORT_WIRE_H_

#include <cstdint>
#include <string>

enum WireType { kVarint = 0, kDelimited = 2, kStart = 3, kEnd = 4 };

inline std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

inline std::string Tag(uint32_t number, WireType type) {
  return Varint(uint64_t{number} << 3 | type);
}

inline std::string Delimited(uint32_t number, const std::string& content) {
  return Tag(number, kDelimited) + Varint(content.size()) + content;
}

inline std::string Group(uint32_t number, const std::string& content) {
  return Tag(number, kStart) + content + Tag(number, kEnd);
}

inline std::string Times(size_t count, const std::string& bytes) {
  std::string result;
  result.reserve(count * bytes.size());
  while (count-- > 0) result += bytes;
  return result;
}

#endif  // TESTS_SUPPORT_WIRE_H_
