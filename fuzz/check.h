// What the fuzz targets require of a message.
//
// Comparing fields, text and JSON cost many times what bytes do. With
// FUZZ_SAMPLE_INTERVAL=N in the environment, as scripts/fuzz sets it, these
// checks run on one input of N. A hash of the input chooses, so the choice does
// not depend on what ran before. Without the variable they run on every input:
// an input that ends a sampled run ends the fuzzer again when it is its only
// argument, and minimising a crash is free to change the hash.
#ifndef FUZZ_CHECK_H_
#define FUZZ_CHECK_H_

#include <google/protobuf/message.h>

#include <functional>
#include <string>
#include <string_view>

// Ends the process, for the fuzzer to take down the input, unless the
// condition holds.
void Require(bool condition, const char* what,
             const google::protobuf::Message& message);

// Requires that bytes are those expected.
void RequireSame(const std::string& bytes, const std::string& expected,
                 const char* what, const google::protobuf::Message& message);

// Requires that an envelope's content is not unpacked into another message.
void CheckRefusal(const std::function<bool(google::protobuf::Message*)>& unpack,
                  google::protobuf::Message* other,
                  const google::protobuf::Message& envelope);

// Takes down that a message has passed a check. At its end the process names
// the checks that messages of every type have passed, and those that only some
// have, so that a replay which checks less than it seems to is seen.
void Pass(const char* check, const google::protobuf::Message& message);

// Whether the costly checks run on an input.
bool IsSampled(std::string_view input);

// Require that a message that was just parsed gives the same message again:
// the same bytes when it is written, read, copied and merged; the same fields
// when it is read back; the same message in text and in JSON. These two have no
// place for unknown fields, so the message may not have any.
void CheckBytes(const google::protobuf::Message& message);
void CheckFields(const google::protobuf::Message& message);
// The check is to end the process where anything is appended to the text.
void CheckText(const google::protobuf::Message& known,
               const std::string& appended = "");
void CheckJson(const google::protobuf::Message& known);

// Requires that what a failed parse leaves behind can be written and cleared.
void CheckRefused(google::protobuf::Message* message);

// Checks the bytes of a message and, for a sampled input, all the rest.
void CheckForms(const google::protobuf::Message& message, bool sampled);

#endif  // FUZZ_CHECK_H_
