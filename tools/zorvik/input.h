// Encoded messages, read from bytes or hex digits.
#ifndef TOOLS_ZORVIK_INPUT_H_
#define TOOLS_ZORVIK_INPUT_H_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

enum class Encoding { kDetect, kHex, kBinary };
enum class Framing { kSingle, kDelimited, kLines };

struct Piece {
  std::string bytes;
  size_t offset;      // In the input, or in the line that the piece was in.
  std::string place;  // "message 3" or "line 3".
};

// Takes the input apart into encoded messages. Hex digits may be in any
// groups with white space between them. When asked to detect the encoding,
// input of nothing but an even number of hex digits and white space is hex.
// Other input throws std::runtime_error with the offset and the reason, after
// what could be read was added to the pieces.
void Split(const std::string& input, Encoding encoding, Framing framing,
           std::vector<Piece>* pieces);

#endif  // TOOLS_ZORVIK_INPUT_H_
