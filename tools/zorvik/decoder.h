// Encoded messages as text for people and for programs.
#ifndef TOOLS_ZORVIK_DECODER_H_
#define TOOLS_ZORVIK_DECODER_H_

#include <google/protobuf/descriptor.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "input.h"
#include "json.h"
#include "printer.h"
#include "vocabulary.h"

enum class Output { kTree, kOneLine, kJson, kFields };

struct DecoderOptions {
  const google::protobuf::Descriptor* type = nullptr;
  Output output = Output::kTree;
  std::vector<std::string> fields;
  PrintOptions print;
};

class Decoder {
 public:
  // What it complains about goes to the function.
  Decoder(DecoderOptions options, Vocabulary* vocabulary, std::ostream* out,
          std::function<void(const std::string&)> complain);

  // Prints the message, or what is good of it, and complains of its faults.
  void Show(const Piece& piece);

  // How well bytes are a message of the type. An envelope is good when it has
  // content; other bytes are none when they do not look like one.
  Match MatchOf(const std::string& bytes) const;

 private:
  struct Decoded;
  void PrintTree(const Piece& piece, const Decoded& decoded);
  void PrintOneLine(const Piece& piece, const Decoded& decoded);
  void PrintJson(const Piece& piece, const Decoded& decoded);
  void PrintFields(const Decoded& decoded);

  const DecoderOptions options_;
  Vocabulary* const vocabulary_;
  std::ostream* const out_;
  const std::function<void(const std::string&)> complain_;
  const Json json_;
  bool is_envelope_ = false;
};

#endif  // TOOLS_ZORVIK_DECODER_H_
