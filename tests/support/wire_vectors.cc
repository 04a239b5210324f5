#include "support/wire_vectors.h"

#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "support/schemas.h"

namespace pb = google::protobuf;

std::vector<std::string> WireVector::List(const std::string& key) const {
  std::vector<std::string> items;
  if (!Has(key)) return items;
  for (const pb::Value& item : fields_.at(key).list_value().values()) {
    items.push_back(item.string_value());
  }
  return items;
}

std::set<std::string> WireVector::Keys() const {
  std::set<std::string> keys;
  for (const auto& field : fields_) keys.insert(field.first);
  return keys;
}

std::vector<WireVector> ReadVectors(const std::filesystem::path& folder,
                                    const pb::FileDescriptor* schema) {
  const std::filesystem::path path =
      folder / std::filesystem::path(schema->name()).replace_extension(".json");
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error(path.string() + " is missing: " + schema->name() +
                             " declares messages");
  }
  std::stringstream json;
  json << file.rdbuf();
  pb::Struct content;
  const pb::util::Status status =
      pb::util::JsonStringToMessage(json.str(), &content);
  if (!status.ok())
    throw std::runtime_error(path.string() + ": " + status.ToString());
  if (content.fields().at("schema").string_value() != schema->name()) {
    throw std::runtime_error(path.string() + " is of another schema");
  }

  std::vector<WireVector> vectors;
  for (const pb::Value& item :
       content.fields().at("vectors").list_value().values()) {
    vectors.emplace_back(item.struct_value());
  }
  if (vectors.empty()) throw std::runtime_error(path.string() + " is empty");
  return vectors;
}

std::unique_ptr<pb::Message> FromText(const pb::Descriptor* type,
                                      const std::string& text) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  if (!pb::TextFormat::ParseFromString(text, message.get())) {
    throw std::runtime_error("no " + type->full_name() + ": " + text);
  }
  return message;
}
