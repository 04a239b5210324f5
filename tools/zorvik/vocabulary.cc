#include "vocabulary.h"

#include <google/protobuf/descriptor.pb.h>

#include <fstream>
#include <stdexcept>

namespace pb = google::protobuf;

namespace {

std::string Find(const std::map<std::string, std::string>& map,
                 const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? "" : found->second;
}

}  // namespace

Vocabulary::Vocabulary(const std::string& descriptors,
                       const std::string& catalogue) {
  std::ifstream file(descriptors, std::ios::binary);
  pb::FileDescriptorSet set;
  if (!file) throw std::runtime_error("cannot read " + descriptors);
  if (!set.ParseFromIstream(&file) || set.file().empty()) {
    throw std::runtime_error(descriptors + " is no descriptor set");
  }
  for (const pb::FileDescriptorProto& schema : set.file()) {
    if (pool_.BuildFile(schema) == nullptr) {
      throw std::runtime_error(descriptors + ": " + schema.name() +
                               " cannot be used, or comes before its imports");
    }
  }

  catalogue_ = catalogue::Read(catalogue);
  for (const catalogue::Message& message : catalogue_.messages()) {
    for (const catalogue::Field& field : message.fields()) {
      const std::string name = message.name() + "." + field.name();
      enum_of_field_[name] = field.enum_();
      unit_of_field_[name] = field.unit();
    }
  }
  for (const catalogue::Id& id : catalogue_.ids()) {
    carried_by_id_[id.name()] = id.carries();
  }
}

std::unique_ptr<pb::Message> Vocabulary::New(const pb::Descriptor* type) {
  return std::unique_ptr<pb::Message>(factory_.GetPrototype(type)->New());
}

const pb::EnumDescriptor* Vocabulary::EnumOf(
    const pb::FieldDescriptor* field) const {
  if (field->enum_type() != nullptr) return field->enum_type();
  return pool_.FindEnumTypeByName(Find(enum_of_field_, field->full_name()));
}

std::string Vocabulary::CarriedBy(const pb::EnumValueDescriptor* id) const {
  return Find(carried_by_id_, id->full_name());
}

std::string Vocabulary::UnitOf(const pb::FieldDescriptor* field) const {
  return Find(unit_of_field_, field->full_name());
}
