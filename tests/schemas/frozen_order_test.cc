// What is frozen keeps its order of declaration, which the descriptors show.
// scripts/check-compatibility finds what is missing or changed.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// The full names of all that is declared, in the order of declaration.
std::vector<std::string> Names(const pb::FileDescriptorProto& file) {
  std::vector<std::string> names;
  for (const pb::DescriptorProto& type : file.message_type()) {
    names.push_back(type.name());
    for (const auto& field : type.field()) {
      names.push_back(type.name() + '.' + field.name());
    }
  }
  for (const pb::EnumDescriptorProto& type : file.enum_type()) {
    names.push_back(type.name());
    for (const auto& value : type.value()) {
      names.push_back(type.name() + '.' + value.name());
    }
  }
  return names;
}

// The frozen names come in their order; new ones may be anywhere.
TEST(FrozenSchemas, KeepTheirOrder) {
  std::ifstream file(FROZEN_SCHEMAS, std::ios::binary);
  pb::FileDescriptorSet frozen;
  ASSERT_TRUE(frozen.ParseFromIstream(&file)) << FROZEN_SCHEMAS;
  int schemas = 0;
  for (const pb::FileDescriptorProto& schema : frozen.file()) {
    if (schema.package().rfind("zorvik.", 0) != 0) continue;
    ++schemas;
    SCOPED_TRACE(schema.name());
    const pb::FileDescriptor* present =
        pb::DescriptorPool::generated_pool()->FindFileByName(schema.name());
    ASSERT_NE(present, nullptr);
    pb::FileDescriptorProto now;
    present->CopyTo(&now);
    const std::vector<std::string> was = Names(schema);
    std::vector<std::string> is = Names(now);
    const std::set<std::string> known(was.begin(), was.end());
    is.erase(std::remove_if(is.begin(), is.end(),
                            [&known](const std::string& name) {
                              return known.count(name) == 0;
                            }),
             is.end());
    EXPECT_EQ(is, was);
  }
  EXPECT_GT(schemas, 0);
}

}  // namespace
