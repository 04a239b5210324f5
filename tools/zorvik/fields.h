// Values of chosen fields.
#ifndef TOOLS_ZORVIK_FIELDS_H_
#define TOOLS_ZORVIK_FIELDS_H_

#include <google/protobuf/message.h>

#include <string>

#include "vocabulary.h"

// The value of the field at a path such as data.rotationValue.pitch, which may
// go through the content of an Any. The elements of lists are between commas;
// empty where the message has no such field, or none that is set. Texts are
// escaped.
std::string ValueAt(const google::protobuf::Message& message,
                    const std::string& path, Vocabulary* vocabulary);

#endif  // TOOLS_ZORVIK_FIELDS_H_
