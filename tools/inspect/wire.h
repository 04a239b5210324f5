// Finds the place where an encoded message is malformed. The protobuf runtime
// only reports that it is.
#ifndef TOOLS_INSPECT_WIRE_H_
#define TOOLS_INSPECT_WIRE_H_

#include <cstddef>
#include <optional>
#include <string>

#include "lookup.h"

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
                               const Lookup& lookup);

#endif  // TOOLS_INSPECT_WIRE_H_
