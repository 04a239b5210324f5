#include "lookup.h"

#include <google/protobuf/descriptor.pb.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace pb = google::protobuf;

namespace {

// The value of a tag: the rest of its line. Empty when there is no such tag.
template <typename Element>
std::string Tag(const Element* element, const std::string& name) {
  pb::SourceLocation location;
  if (!element->GetSourceLocation(&location)) return "";
  std::istringstream comment(location.leading_comments);
  const std::string start = " @" + name + " ";
  for (std::string line; std::getline(comment, line);) {
    if (line.rfind(start, 0) == 0) return line.substr(start.size());
  }
  return "";
}

}  // namespace

Lookup::Lookup(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  pb::FileDescriptorSet set;
  if (!file) throw std::runtime_error("cannot read " + path);
  if (!set.ParseFromIstream(&file) || set.file().empty()) {
    throw std::runtime_error(path + " is no descriptor set");
  }
  for (const pb::FileDescriptorProto& schema : set.file()) {
    if (pool_.BuildFile(schema) == nullptr) {
      throw std::runtime_error(path + ": " + schema.name() +
                               " cannot be used, or comes before its imports");
    }
  }
}

std::unique_ptr<pb::Message> Lookup::New(const pb::Descriptor* type) {
  return std::unique_ptr<pb::Message>(factory_.GetPrototype(type)->New());
}

const pb::EnumDescriptor* Lookup::EnumOf(
    const pb::FieldDescriptor* field) const {
  if (field->enum_type() != nullptr) return field->enum_type();
  return pool_.FindEnumTypeByName(Tag(field, "enum"));
}

std::string Lookup::CarriedBy(const pb::EnumValueDescriptor* id) const {
  return Tag(id, "carries");
}

std::string Lookup::UnitOf(const pb::FieldDescriptor* field) const {
  return Tag(field, "unit");
}
