// The messages and enums of a descriptor set, with the tags in their comments.
#ifndef TOOLS_INSPECT_LOOKUP_H_
#define TOOLS_INSPECT_LOOKUP_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>

#include <memory>
#include <string>

class Lookup {
 public:
  // Reads a descriptor set that holds source information. Throws
  // std::runtime_error when there is none to be read.
  explicit Lookup(const std::string& path);

  // Nothing when there is no such message.
  const google::protobuf::Descriptor* FindMessage(
      const std::string& full_name) const {
    return pool_.FindMessageTypeByName(full_name);
  }

  std::unique_ptr<google::protobuf::Message> New(
      const google::protobuf::Descriptor* type);

  // The enum whose numbers a field carries: by its type, or by its tag @enum.
  // Nothing for all other fields.
  const google::protobuf::EnumDescriptor* EnumOf(
      const google::protobuf::FieldDescriptor* field) const;

  // The full name of the message that travels under an id. Empty when that is
  // left open.
  std::string CarriedBy(const google::protobuf::EnumValueDescriptor* id) const;

  // The unit of a field's numbers. Empty when none is known.
  std::string UnitOf(const google::protobuf::FieldDescriptor* field) const;

 private:
  google::protobuf::DescriptorPool pool_;
  google::protobuf::DynamicMessageFactory factory_;
};

#endif  // TOOLS_INSPECT_LOOKUP_H_
