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

void ForEachVector(
    const std::filesystem::path& folder,
    const std::function<void(const WireVector&, const pb::Descriptor*)>& use) {
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    const std::filesystem::path path =
        folder /
        std::filesystem::path(schema->name()).replace_extension(".json");
    std::stringstream json;
    json << std::ifstream(path).rdbuf();
    pb::Struct content;
    if (!pb::util::JsonStringToMessage(json.str(), &content).ok() ||
        content.fields().count("schema") == 0 ||
        content.fields().at("schema").string_value() != schema->name() ||
        content.fields().at("vectors").list_value().values().empty()) {
      throw std::runtime_error(path.string() + " has no vectors of " +
                               schema->name());
    }
    for (const pb::Value& item :
         content.fields().at("vectors").list_value().values()) {
      const WireVector vector(item.struct_value());
      const pb::Descriptor* type =
          schema->pool()->FindMessageTypeByName(vector.Text("message"));
      if (type == nullptr || type->file() != schema) {
        throw std::runtime_error(path.string() + ": " + schema->name() +
                                 " has no " + vector.Text("message"));
      }
      use(vector, type);
    }
  }
}

std::unique_ptr<pb::Message> FromText(const pb::Descriptor* type,
                                      const std::string& text) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  if (!pb::TextFormat::ParseFromString(text, message.get())) {
    throw std::runtime_error("no " + type->full_name() + ": " + text);
  }
  return message;
}
