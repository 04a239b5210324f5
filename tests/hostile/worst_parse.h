// How much memory hostile bytes can make the parser of a message take.
#ifndef TESTS_HOSTILE_WORST_PARSE_H_
#define TESTS_HOSTILE_WORST_PARSE_H_

#include <google/protobuf/descriptor.h>

#include <string>

// What a parse may take in addition, whatever the length of the input: for the
// first element of a list, the first unknown field, the report of a fault.
constexpr size_t kFixedPart = 1024;

struct ParseMemory {
  // Bytes taken from the heap at one time, less kFixedPart, per byte of
  // input.
  double factor = 0;
  std::string content;  // What the input repeats.
};

// The worst that was found for a message, whether it takes the input or refuses
// it. Tries everything that a sender can repeat in it: each of its fields, with
// the content that costs most, and unknown fields. Inputs go up to the given
// length.
ParseMemory WorstParse(const google::protobuf::Descriptor* type,
                       size_t max_length);

#endif  // TESTS_HOSTILE_WORST_PARSE_H_
