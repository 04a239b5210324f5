// Checks the library against the byte vectors that all languages share.
#include "support/wire_vectors.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "support/captured_log.h"
#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

std::unique_ptr<pb::Message> Parsed(const pb::Descriptor* type,
                                    const std::string& hex) {
  std::unique_ptr<pb::Message> message = NewMessage(type);
  EXPECT_TRUE(message->ParseFromString(FromHex(hex))) << hex;
  return message;
}

void ExpectRejected(const WireVector& vector, const pb::Descriptor* type) {
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

void ExpectKept(const WireVector& vector, const pb::Descriptor* type) {
  std::unique_ptr<pb::Message> message = Parsed(type, vector.Text("input"));
  EXPECT_EQ(ToHex(Encode(*message)), vector.Text("hex"));
  EXPECT_EQ(message->GetReflection()->GetUnknownFields(*message).field_count(),
            vector.Number("unknown"));
  message->DiscardUnknownFields();
  EXPECT_EQ(ToHex(Encode(*message)),
            ToHex(Encode(*FromText(type, vector.Text("text")))));
}

void ExpectEncodes(const WireVector& vector, const pb::Descriptor* type) {
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

void Check(const WireVector& vector) {
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

TEST(WireVectors, HoldInBothDirections) {
  const std::set<std::string> known = {"name",  "message", "text",    "hex",
                                       "also",  "input",   "unknown", "rejects",
                                       "field", "merge"};
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    SCOPED_TRACE(schema->name());
    std::set<std::string> names;
    for (const WireVector& vector : ReadVectors(VECTOR_DIR, schema)) {
      SCOPED_TRACE(vector.Text("message") + ": " + vector.Text("name"));
      EXPECT_TRUE(names.insert(vector.Text("name")).second) << "named twice";
      for (const std::string& key : vector.Keys()) {
        EXPECT_EQ(known.count(key), 1u) << "unknown key " << key;
      }
      Check(vector);
    }
  }
}

// The bytes of every field, and not only of those that somebody thought of.
TEST(WireVectors, SetEveryField) {
  std::set<std::string> set;
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    for (const WireVector& vector : ReadVectors(VECTOR_DIR, schema)) {
      if (!vector.Has("text") || !vector.Has("hex")) continue;
      const std::unique_ptr<pb::Message> message = FromText(
          schema->pool()->FindMessageTypeByName(vector.Text("message")),
          vector.Text("text"));
      std::vector<const pb::FieldDescriptor*> fields;
      message->GetReflection()->ListFields(*message, &fields);
      for (const pb::FieldDescriptor* field : fields) {
        set.insert(field->full_name());
      }
    }
  }
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      EXPECT_EQ(set.count(type->field(i)->full_name()), 1u)
          << "no vector sets " << type->field(i)->full_name();
    }
  }
}

// The vectors are read by the name of their schema; a file with another name
// would not be read.
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
