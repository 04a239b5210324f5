// Encoded messages, from all forms in which they come.
#ifndef TOOLS_ZORVIK_INPUT_H_
#define TOOLS_ZORVIK_INPUT_H_

#include <cstddef>
#include <functional>
#include <string>

#include "source.h"

enum class Form { kDetect, kBinary, kHex, kBase64, kCapture };
enum class Framing { kDetect, kSingle, kDelimited, kLines };

// The longest message that is taken, and the longest text or file with one.
constexpr size_t kMostBytes = size_t{4} << 20;
constexpr size_t kMostText = 8 * kMostBytes;

// A message, or the reason why there is none.
struct Piece {
  std::string place;  // "message 3", "line 3" or "packet 3".
  std::string bytes;
  size_t offset = 0;  // In the input, or in the line or packet it was in.
  std::string fault;
  std::string time;  // Of a packet.
};

// How well bytes are a message of the type that is looked for.
enum class Match { kNone, kPoor, kGood };

struct InputOptions {
  Form form = Form::kDetect;
  Framing framing = Framing::kDetect;
  int port = 0;  // Of the datagrams of a capture; 0 for those that match.
  // Tells forms apart that look alike.
  std::function<Match(const std::string&)> match;
};

// Calls back with each message as soon as it has arrived. A piece with a fault
// does not end it where more can follow. Returns a remark on what of the input
// was not looked into, or that it is empty; otherwise an empty text.
std::string ReadInput(Source* source, const InputOptions& options,
                      const std::function<void(const Piece&)>& use);

#endif  // TOOLS_ZORVIK_INPUT_H_
