// Fills any message through reflection.
#ifndef TESTS_SUPPORT_FILL_H_
#define TESTS_SUPPORT_FILL_H_

#include <google/protobuf/message.h>

enum class Fill {
  kSmall,    // A different small positive value in every field.
  kLargest,  // The greatest numbers, long texts, bytes of every value.
  kLowest,   // The lowest numbers, negative zero, present but empty records.
};

// Sets every field, records within records included. Enum-typed fields get a
// number that their enum does not declare, repeated fields two elements.
void FillMessage(google::protobuf::Message* message, Fill fill);

#endif  // TESTS_SUPPORT_FILL_H_
