// Fills any message through reflection.
#ifndef TOOLS_ZORVIK_FILL_H_
#define TOOLS_ZORVIK_FILL_H_

#include <google/protobuf/message.h>

#include <functional>
#include <memory>
#include <random>

enum class Fill {
  kSmall,    // A different small positive value in every field.
  kLargest,  // The greatest numbers, long texts, bytes of every value.
  kLowest,   // The lowest numbers, negative zero, present but empty records.
};

// Sets every field, records within records included. Enum-typed fields get a
// number that their enum does not declare, repeated fields two elements.
void FillMessage(google::protobuf::Message* message, Fill fill);

// Sets about three fields in four, preferring values at the edges of their
// type. Lists get up to three elements, enum-typed fields declared and
// undeclared numbers, an Any one of the contents: the message that the function
// gives for a number. The only NaN is the usual quiet one, since languages
// without a type float do not keep the others; the greatest float, which few
// readers of JSON accept, is not used.
using Contents =
    std::function<std::unique_ptr<google::protobuf::Message>(uint64_t)>;
void FillRandomly(google::protobuf::Message* message, std::mt19937_64* random,
                  const Contents& contents);

#endif  // TOOLS_ZORVIK_FILL_H_
