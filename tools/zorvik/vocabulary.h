// The messages and enums of a descriptor set, and what the catalogue says of
// them.
#ifndef TOOLS_ZORVIK_VOCABULARY_H_
#define TOOLS_ZORVIK_VOCABULARY_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "catalogue/reader.h"

class Vocabulary {
 public:
  // Reads both files. Throws std::runtime_error when one cannot be used.
  Vocabulary(const std::string& descriptors, const std::string& catalogue);

  const catalogue::Catalogue& catalogue() const { return catalogue_; }

  const google::protobuf::DescriptorPool* pool() const { return &pool_; }

  // Nothing when there is no such message.
  const google::protobuf::Descriptor* FindMessage(
      const std::string& full_name) const {
    return pool_.FindMessageTypeByName(full_name);
  }

  // The message that somebody means: by its full name or the last part of it,
  // as in C++, as a type URL, in any case. Throws std::runtime_error with what
  // is like it when there is none, or more than one.
  const google::protobuf::Descriptor* Meant(const std::string& name) const;

  // The topic type that somebody means, by number, hexadecimal number, name or
  // the last part of the name. Throws std::runtime_error.
  const catalogue::Id& MeantTopic(const std::string& name) const;

  // The name of a topic type without what the names of all have in front.
  std::string Brief(const std::string& topic) const;

  std::unique_ptr<google::protobuf::Message> New(
      const google::protobuf::Descriptor* type);

  // The enum whose numbers a field carries, by its type or by convention.
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
  catalogue::Catalogue catalogue_;
  std::string topic_prefix_;
  // By full names of fields and ids.
  std::map<std::string, std::string> enum_of_field_;
  std::map<std::string, std::string> unit_of_field_;
  std::map<std::string, std::string> carried_by_id_;
};

// The name among those that somebody means, or the only one whose last part it
// is, in any case. Throws std::runtime_error with what is like it.
std::string Choose(const std::string& what, const std::string& wanted,
                   const std::vector<std::string>& names);

// Lets the text format show and take contents whatever the prefix of their type
// URL, as the schemas have them.
class AnyFinder : public google::protobuf::TextFormat::Finder {
 public:
  const google::protobuf::Descriptor* FindAnyType(
      const google::protobuf::Message& message, const std::string& prefix,
      const std::string& name) const override;
};

#endif  // TOOLS_ZORVIK_VOCABULARY_H_
