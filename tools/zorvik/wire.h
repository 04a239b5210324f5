// Finds the place where an encoded message is malformed. The protobuf runtime
// only reports that it is.
#ifndef TOOLS_ZORVIK_WIRE_H_
#define TOOLS_ZORVIK_WIRE_H_

#include <cstddef>
#include <optional>
#include <string>

#include "vocabulary.h"

// How many messages and groups may be inside a message, as the runtime has it;
// and how many contents inside a content.
constexpr int kDeepest = 100;

struct Fault {
  size_t offset;  // Of the byte at which reading could not go on.
  std::string reason;
};

// The first fault in the encoding of a message, contents included. Nothing when
// all of it can be read.
std::optional<Fault> FindFault(const std::string& bytes,
                               const google::protobuf::Descriptor* type,
                               const Vocabulary& vocabulary);

#endif  // TOOLS_ZORVIK_WIRE_H_
