// The form of the inputs of message_fuzzer: two bytes that pick a message of
// the library, then what claims to be an encoding of it.
#ifndef FUZZ_PICKED_MESSAGE_H_
#define FUZZ_PICKED_MESSAGE_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <cstdint>
#include <string>

constexpr size_t kPickSize = 2;

// The message that two bytes pick. Every pick picks one. Picks come from the
// messages' names, so that a corpus keeps its meaning when messages are added.
const google::protobuf::Descriptor* Picked(const uint8_t* pick);

// The bytes that pick a message.
std::string PickOf(const google::protobuf::Descriptor* type);

#endif  // FUZZ_PICKED_MESSAGE_H_
