#include "support/vectors.h"

#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "support/vocabulary.h"

namespace pb = google::protobuf;

std::vector<std::string> Vector::List(const std::string& key) const {
  std::vector<std::string> items;
  if (!Has(key)) return items;
  for (const pb::Value& item : fields_.at(key).list_value().values()) {
    items.push_back(item.string_value());
  }
  return items;
}

std::set<std::string> Vector::Keys() const {
  std::set<std::string> keys;
  for (const auto& field : fields_) keys.insert(field.first);
  return keys;
}

std::vector<Vector> ReadVectors(const std::filesystem::path& folder,
                                const pb::FileDescriptor* schema) {
  const std::filesystem::path path =
      folder / std::filesystem::path(schema->name()).replace_extension(".json");
  std::ifstream file(path);
  std::stringstream json;
  json << file.rdbuf();
  pb::Struct content;
  const pb::util::Status status =
      pb::util::JsonStringToMessage(json.str(), &content);
  EXPECT_TRUE(status.ok()) << path << ": " << status.message();
  EXPECT_EQ(content.fields().at("schema").string_value(), schema->name());

  std::vector<Vector> vectors;
  for (const pb::Value& item :
       content.fields().at("vectors").list_value().values()) {
    vectors.emplace_back(item.struct_value());
  }
  EXPECT_FALSE(vectors.empty()) << path;
  return vectors;
}

std::unique_ptr<pb::Message> FromText(const pb::Descriptor* type,
                                      const std::string& text) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  EXPECT_TRUE(pb::TextFormat::ParseFromString(text, message.get())) << text;
  return message;
}
