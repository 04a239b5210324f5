// Encodes messages from text.
#ifndef TOOLS_ZORVIK_ENCODER_H_
#define TOOLS_ZORVIK_ENCODER_H_

#include <google/protobuf/descriptor.h>

#include <string>

#include "json.h"
#include "vocabulary.h"

struct EncoderOptions {
  const google::protobuf::Descriptor* type = nullptr;
  // The envelope to put it into; null for none.
  const google::protobuf::Descriptor* envelope = nullptr;
  int topic = 0, source = 0, destination = 0;
};

class Encoder {
 public:
  Encoder(EncoderOptions options, Vocabulary* vocabulary);

  // Of a message in JSON, or of what decode --json prints: what was not changed
  // there has the bytes that it came from. In an envelope, topic_type may be a
  // name, and the content of a settled topic needs no "@type". Throws
  // std::runtime_error.
  std::string FromJson(const std::string& json) const;

  // Of a message in the text format. Throws std::runtime_error.
  std::string FromText(const std::string& text) const;

 private:
  std::string Packed(const std::string& bytes) const;

  const EncoderOptions options_;
  Vocabulary* const vocabulary_;
  const Json json_;
};

#endif  // TOOLS_ZORVIK_ENCODER_H_
