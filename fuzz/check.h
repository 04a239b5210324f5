// What the fuzz targets hold a message to.
#ifndef FUZZ_CHECK_H_
#define FUZZ_CHECK_H_

#include <google/protobuf/message.h>

// Ends the process, for the fuzzer to take down the input, unless the
// condition holds.
void Require(bool condition, const char* what,
             const google::protobuf::Message& message);

// Requires that a message which was just parsed gives the same message again
// in each of its forms, and in a copy and a merge.
void CheckForms(const google::protobuf::Message& message);

#endif  // FUZZ_CHECK_H_
