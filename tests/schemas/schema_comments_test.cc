// Every element of the schemas has a comment, and every tag in a comment means
// something. Read from the compiler's source information.
#include "support/schema_comments.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <fstream>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

TEST(SchemaComments, AreThereAndTagged) {
  std::ifstream file(DESCRIPTOR_SET, std::ios::binary);
  pb::FileDescriptorSet set;
  ASSERT_TRUE(set.ParseFromIstream(&file)) << DESCRIPTOR_SET;
  pb::DescriptorPool pool;
  for (const pb::FileDescriptorProto& proto : set.file()) {
    ASSERT_NE(pool.BuildFile(proto), nullptr) << proto.name();
  }
  for (const pb::FileDescriptor* schema : Schemas()) {
    const pb::FileDescriptor* commented = pool.FindFileByName(schema->name());
    ASSERT_NE(commented, nullptr) << schema->name();
    for (const std::string& fault : CommentFaults(commented)) {
      ADD_FAILURE() << fault;
    }
  }
}

// Elements of a small schema, as the compiler's source information names them.
using Path = std::vector<int>;
const Path kHead = {12};
const Path kIds = {5, 0};
const Path kOne = {5, 0, 2, 1};
const Path kRecord = {4, 0};
const Path kNumber = {4, 0, 2, 0};
const Path kText = {4, 0, 2, 1};

// The faults of that schema when one element has this comment.
std::vector<std::string> FaultsWith(const Path& element,
                                    const std::string& comment) {
  pb::FileDescriptorProto schema;
  EXPECT_TRUE(pb::TextFormat::ParseFromString(
      R"(name: "p.proto" package: "p" syntax: "proto3"
         enum_type { name: "Id"
           value { name: "ZERO" number: 0 } value { name: "ONE" number: 1 } }
         message_type { name: "Record"
           field { name: "number" number: 1 type: TYPE_INT32 }
           field { name: "text" number: 2 type: TYPE_STRING } })",
      &schema));
  for (const Path& path :
       {kHead, kIds, Path{5, 0, 2, 0}, kOne, kRecord, kNumber, kText}) {
    auto* location = schema.mutable_source_code_info()->add_location();
    *location->mutable_path() = {path.begin(), path.end()};
    for (int i : {0, 0, 1}) location->add_span(i);
    const std::string text = path == element ? comment : " Words.\n";
    if (!text.empty()) location->set_leading_comments(text);
  }
  pb::DescriptorPool pool;
  return CommentFaults(pool.BuildFile(schema));
}

TEST(SchemaComments, AreMissedAndDoubtedByTheCheck) {
  const std::vector<std::pair<Path, std::string>> good = {
      {kNumber, " Words.\n @enum p.Id\n"},
      {kNumber, " Words.\n @unit m/s\n"},
      {kOne, " Words.\n @carries p.Record\n @answer p.Record\n"},
      {kRecord, " Words.\n @open this\n @open and that\n"},
  };
  for (const auto& [element, comment] : good) {
    EXPECT_EQ(FaultsWith(element, comment), std::vector<std::string>{});
  }
  const std::vector<std::pair<Path, std::string>> bad = {
      {kHead, ""},
      {kIds, ""},
      {kOne, ""},
      {kRecord, ""},
      {kNumber, ""},
      {kNumber, " @unit m\n"},  // No words of its own.
      {kNumber, " Words.\n @enum p.Ids\n"},
      {kNumber, " Words.\n @enum p.Record\n"},
      {kNumber, " Words.\n @carries p.Record\n"},
      {kNumber, " Words.\n @units m\n"},
      {kNumber, " Words.\n @unit\n"},
      {kNumber, " Words.\n @unit m\n @unit km\n"},
      {kNumber, " Words, @unit m\n"},
      {kNumber, " Words.\n @open what this\n counts\n"},
      {kText, " Words.\n @unit m\n"},
      {kText, " Words.\n @enum p.Id\n"},
      {kOne, " Words.\n @carries p.Missing\n"},
      {kOne, " Words.\n @answer p.Record\n"},
      {kIds, " Words.\n @carries p.Record\n"},
  };
  for (const auto& [element, comment] : bad) {
    EXPECT_EQ(FaultsWith(element, comment).size(), 1u) << comment;
  }
}

}  // namespace
