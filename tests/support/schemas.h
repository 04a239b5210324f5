// The library's own schemas and messages, as the generated pool knows them.
#ifndef TESTS_SUPPORT_SCHEMAS_H_
#define TESTS_SUPPORT_SCHEMAS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <memory>
#include <string>
#include <vector>

// Every registered schema file of the package root, in file-name order.
std::vector<const google::protobuf::FileDescriptor*> Schemas();

// Every message of every schema, in declaration order.
std::vector<const google::protobuf::Descriptor*> Messages();

// Every enum of every schema, in declaration order.
std::vector<const google::protobuf::EnumDescriptor*> Enums();

// A new object of the generated class.
std::unique_ptr<google::protobuf::Message> NewMessage(
    const google::protobuf::Descriptor* type);

// The bytes of a message that may hold invalid UTF-8 or no data at all.
std::string Encode(const google::protobuf::Message& message);

#endif  // TESTS_SUPPORT_SCHEMAS_H_
