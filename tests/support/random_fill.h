// Fills any message with random content.
#ifndef TESTS_SUPPORT_RANDOM_FILL_H_
#define TESTS_SUPPORT_RANDOM_FILL_H_

#include <google/protobuf/message.h>

#include <random>

// Sets about three fields in four, preferring values at the edges of their
// type. Lists get up to three elements, enum-typed fields declared and
// undeclared numbers, an Any a message of the vocabulary. The only NaN is the
// usual quiet one, since languages without a type float do not keep the others;
// the greatest float, which few readers of JSON accept, is not used.
void FillRandomly(google::protobuf::Message* message, std::mt19937_64* random);

#endif  // TESTS_SUPPORT_RANDOM_FILL_H_
