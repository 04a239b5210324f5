// Finds the places where an encoded message is malformed, and what is good
// around them. The protobuf runtime only reports that it is malformed.
#ifndef TOOLS_ZORVIK_WIRE_H_
#define TOOLS_ZORVIK_WIRE_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "vocabulary.h"

// How many messages and groups may be inside a message, as the runtime has it;
// and how many contents inside a content.
constexpr int kDeepest = 100;

struct Fault {
  size_t offset = 0;  // Of the byte at which reading could not go on.
  std::string reason = {};
  std::string text = {};  // The field whose text is not UTF-8, by its name.
};

// The first fault in the encoding of a message, contents included. Nothing when
// all of it can be read.
std::optional<Fault> FindFault(const std::string& bytes,
                               const google::protobuf::Descriptor* type,
                               const Vocabulary& vocabulary);

// What can be read of a malformed message, as an encoding without the faults,
// and the first faults. A message or content that goes on too far is kept up to
// its own fault; fields behind a fault are kept where it is known where they
// begin.
struct Salvage {
  std::string good;
  std::vector<Fault> faults;
};
Salvage SalvageFrom(const std::string& bytes,
                    const google::protobuf::Descriptor* type,
                    const Vocabulary& vocabulary);

// Whether a field that is no list comes more than once at the top, as it does
// where messages follow each other without lengths.
bool Repeats(const std::string& bytes,
             const google::protobuf::Descriptor* type);

#endif  // TOOLS_ZORVIK_WIRE_H_
