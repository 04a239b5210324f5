#include "vocabulary.h"

#include <google/protobuf/descriptor.pb.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace pb = google::protobuf;

namespace {

constexpr char kTopicType[] = "topic type";

std::string Find(const std::map<std::string, std::string>& map,
                 const std::string& key) {
  const auto found = map.find(key);
  return found == map.end() ? "" : found->second;
}

std::string Lower(std::string text) {
  for (char& c : text) c = std::tolower(static_cast<unsigned char>(c));
  return text;
}

std::string LastPart(const std::string& name) {
  return name.substr(name.rfind('.') + 1);
}

// How many letters have to be changed to make one of the other.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 0; i < a.size(); ++i) {
    size_t corner = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t changed = corner + (a[i] != b[j]);
      corner = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string Choose(const std::string& what, const std::string& wanted,
                   const std::vector<std::string>& names) {
  const std::string lower = Lower(wanted);
  std::vector<std::string> meant;
  std::vector<std::pair<size_t, std::string>> alike;
  for (const std::string& name : names) {
    if (name == wanted) return name;
    const std::string full = Lower(name), last = LastPart(full);
    if (full == lower || last == lower) meant.push_back(name);
    const size_t distance = Distance(LastPart(lower), last);
    if (lower.size() < 100 && distance <= last.size() / 4) {
      alike.emplace_back(distance, name);
    } else if (lower.size() > 2 && last.find(lower) != std::string::npos) {
      alike.emplace_back(last.size(), name);
    }
  }
  if (meant.size() == 1) return meant[0];
  std::string error = what + " is called " + wanted;
  if (meant.size() > 1) {
    error = "more than one " + error + ": ";
  } else {
    std::stable_sort(alike.begin(), alike.end());
    for (const auto& [distance, name] : alike) {
      if (meant.size() < 3) meant.push_back(name);
    }
    error = "no " + error + (meant.empty() ? "" : "; there is ");
  }
  for (const std::string& name : meant) {
    error += (name == meant[0] ? "" : ", ") + name;
  }
  throw std::runtime_error(error);
}

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
    if (id.kind() != kTopicType) continue;
    const std::string name = LastPart(id.name());
    if (topic_prefix_.empty()) topic_prefix_ = name;
    topic_prefix_.erase(
        std::mismatch(topic_prefix_.begin(), topic_prefix_.end(), name.begin(),
                      name.end())
            .first,
        topic_prefix_.end());
  }
}

const pb::Descriptor* Vocabulary::Meant(const std::string& name) const {
  std::string wanted = name.substr(name.rfind('/') + 1);
  for (size_t at = 0; (at = wanted.find("::")) != std::string::npos;) {
    wanted.replace(at, 2, ".");
  }
  if (wanted[0] == '.') wanted.erase(0, 1);
  if (const pb::Descriptor* type = FindMessage(wanted)) return type;
  std::vector<std::string> names;
  for (const catalogue::Message& message : catalogue_.messages()) {
    names.push_back(message.name());
  }
  const pb::Descriptor* type = FindMessage(Choose("message", wanted, names));
  if (type == nullptr) throw std::runtime_error("the files do not agree");
  return type;
}

const catalogue::Id& Vocabulary::MeantTopic(const std::string& name) const {
  char* end = nullptr;
  const long number = std::strtol(name.c_str(), &end, 0);
  std::map<std::string, const catalogue::Id*> topics;
  std::vector<std::string> names;
  for (const catalogue::Id& id : catalogue_.ids()) {
    if (id.kind() != kTopicType) continue;
    if (!name.empty() && *end == '\0' && id.number() == number) return id;
    for (const std::string& each : {id.name(), Brief(LastPart(id.name()))}) {
      topics[each] = &id;
      names.push_back(each);
    }
  }
  return *topics.at(Choose("topic type", name, names));
}

std::string Vocabulary::Brief(const std::string& topic) const {
  return topic.compare(0, topic_prefix_.size(), topic_prefix_) == 0
             ? topic.substr(topic_prefix_.size())
             : topic;
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

const pb::Descriptor* AnyFinder::FindAnyType(const pb::Message& message,
                                             const std::string&,
                                             const std::string& name) const {
  return message.GetDescriptor()->file()->pool()->FindMessageTypeByName(name);
}
