// Checks the library against the byte vectors that all languages share.
// tests/vectors/README.md describes their form.
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "support/vocabulary.h"

namespace {

namespace pb = google::protobuf;

// One vector, read from JSON.
class Vector {
 public:
  explicit Vector(const pb::Struct& fields) : fields_(fields.fields()) {}

  bool Has(const std::string& key) const { return fields_.contains(key); }
  std::string Text(const std::string& key) const {
    return fields_.at(key).string_value();
  }
  double Number(const std::string& key) const {
    return fields_.at(key).number_value();
  }
  std::vector<std::string> List(const std::string& key) const {
    std::vector<std::string> items;
    if (!Has(key)) return items;
    for (const pb::Value& item : fields_.at(key).list_value().values()) {
      items.push_back(item.string_value());
    }
    return items;
  }
  std::set<std::string> Keys() const {
    std::set<std::string> keys;
    for (const auto& field : fields_) keys.insert(field.first);
    return keys;
  }

 private:
  pb::Map<std::string, pb::Value> fields_;
};

std::unique_ptr<pb::Message> FromText(const pb::Descriptor* type,
                                      const std::string& text) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  EXPECT_TRUE(pb::TextFormat::ParseFromString(text, message.get())) << text;
  return message;
}

std::unique_ptr<pb::Message> Parsed(const pb::Descriptor* type,
                                    const std::string& hex) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  EXPECT_TRUE(message->ParseFromString(FromHex(hex))) << hex;
  return message;
}

void ExpectRejected(const Vector& vector, const pb::Descriptor* type) {
  for (const std::string& hex : vector.List("rejects")) {
    CapturedLog log;
    EXPECT_FALSE(NewMessage(type)->ParseFromString(FromHex(hex))) << hex;
    if (vector.Has("field")) {
      EXPECT_NE(log.text().find("'" + vector.Text("field") + "'"),
                std::string::npos)
          << log.text();
    }
  }
}

void ExpectKept(const Vector& vector, const pb::Descriptor* type) {
  std::unique_ptr<pb::Message> message = Parsed(type, vector.Text("input"));
  EXPECT_EQ(ToHex(Encode(*message)), vector.Text("hex"));
  EXPECT_EQ(message->GetReflection()->GetUnknownFields(*message).field_count(),
            vector.Number("unknown"));
  message->DiscardUnknownFields();
  EXPECT_EQ(ToHex(Encode(*message)),
            ToHex(Encode(*FromText(type, vector.Text("text")))));
}

void ExpectEncodes(const Vector& vector, const pb::Descriptor* type) {
  const std::unique_ptr<pb::Message> message =
      FromText(type, vector.Text("text"));
  EXPECT_EQ(ToHex(Encode(*message)), vector.Text("hex"));

  std::vector<std::string> encodings = vector.List("also");
  encodings.push_back(vector.Text("hex"));
  for (const std::string& hex : encodings) {
    const std::unique_ptr<pb::Message> parsed = Parsed(type, hex);
    EXPECT_EQ(parsed->DebugString(), message->DebugString()) << hex;
    EXPECT_EQ(ToHex(Encode(*parsed)), vector.Text("hex"));
  }

  const std::vector<std::string> parts = vector.List("merge");
  if (parts.empty()) return;
  std::unique_ptr<pb::Message> merged = FromText(type, parts.at(0));
  merged->MergeFrom(*FromText(type, parts.at(1)));
  EXPECT_EQ(ToHex(Encode(*merged)), vector.Text("hex"));
}

void Check(const Vector& vector) {
  const pb::Descriptor* type =
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName(
          vector.Text("message"));
  ASSERT_NE(type, nullptr) << vector.Text("message");
  if (vector.Has("rejects")) {
    ExpectRejected(vector, type);
  } else if (vector.Has("input")) {
    ExpectKept(vector, type);
  } else {
    ExpectEncodes(vector, type);
  }
}

pb::Struct ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::stringstream json;
  json << file.rdbuf();
  pb::Struct content;
  const pb::util::Status status =
      pb::util::JsonStringToMessage(json.str(), &content);
  EXPECT_TRUE(status.ok()) << path << ": " << status.message();
  return content;
}

TEST(WireVectors, HoldInBothDirections) {
  const std::set<std::string> known = {"name",  "message", "text",    "hex",
                                       "also",  "input",   "unknown", "rejects",
                                       "field", "merge"};
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    const std::filesystem::path path =
        std::filesystem::path(VECTOR_DIR) /
        std::filesystem::path(schema->name()).replace_extension(".json");
    SCOPED_TRACE(path);
    ASSERT_TRUE(std::filesystem::exists(path));
    const pb::Struct content = ReadFile(path);
    ASSERT_EQ(content.fields().at("schema").string_value(), schema->name());

    std::set<std::string> names;
    for (const pb::Value& item :
         content.fields().at("vectors").list_value().values()) {
      const Vector vector(item.struct_value());
      SCOPED_TRACE(vector.Text("message") + ": " + vector.Text("name"));
      EXPECT_TRUE(names.insert(vector.Text("name")).second) << "named twice";
      for (const std::string& key : vector.Keys()) {
        EXPECT_EQ(known.count(key), 1u) << "unknown key " << key;
      }
      Check(vector);
    }
    EXPECT_FALSE(names.empty());
  }
}

// The vectors are read by name of their schema; one that is named otherwise
// would never be looked at.
TEST(WireVectors, BelongToASchema) {
  for (const auto& entry : std::filesystem::directory_iterator(VECTOR_DIR)) {
    if (entry.path().extension() != ".json") continue;
    const std::string schema = entry.path().stem().string() + ".proto";
    EXPECT_NE(pb::DescriptorPool::generated_pool()->FindFileByName(schema),
              nullptr)
        << entry.path();
  }
}

}  // namespace
