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

TEST(WireVectors, HoldInBothDirectionsAndSetEveryField) {
  const std::set<std::string> known = {"name",  "message", "text",    "hex",
                                       "also",  "input",   "unknown", "rejects",
                                       "field", "merge"};
  std::set<std::pair<const pb::FileDescriptor*, std::string>> names;
  std::set<const pb::FieldDescriptor*> set;
  std::set<std::string> used;
  std::set<const pb::Descriptor*> types;
  ForEachVector(VECTOR_DIR, [&](const auto& vector, const auto* type) {
    types.insert(type);
    for (const char* list : {"also", "rejects", "merge"}) {
      EXPECT_EQ(vector.List(list).empty(), !vector.Has(list)) << list;
    }
    SCOPED_TRACE(type->full_name() + ": " + vector.Text("name"));
    EXPECT_TRUE(names.emplace(type->file(), vector.Text("name")).second)
        << "named twice";
    for (const std::string& key : vector.Keys()) {
      EXPECT_EQ(known.count(key), 1u) << "unknown key " << key;
      used.insert(key);
    }
    if (vector.Has("rejects")) {
      ExpectRejected(vector, type);
    } else if (vector.Has("input")) {
      ExpectKept(vector, type);
    } else {
      ExpectEncodes(vector, type);
      std::vector<const pb::FieldDescriptor*> fields;
      const auto message = FromText(type, vector.Text("text"));
      message->GetReflection()->ListFields(*message, &fields);
      set.insert(fields.begin(), fields.end());
    }
  });
  EXPECT_EQ(used, known);
  EXPECT_EQ(types.size(), Messages().size());
  // The bytes of every field, and not only of those that somebody thought of.
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      EXPECT_EQ(set.count(type->field(i)), 1u)
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
