// Bytes as hex digits: "08 f5 4e".
#ifndef TESTS_SUPPORT_HEX_H_
#define TESTS_SUPPORT_HEX_H_

#include <string>

std::string ToHex(const std::string& bytes);

// Throws std::invalid_argument on anything but pairs of hex digits and blanks.
std::string FromHex(const std::string& hex);

#endif  // TESTS_SUPPORT_HEX_H_
