// What is frozen keeps its order of declaration, which the descriptors show.
// scripts/check-compatibility finds what is missing or changed.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

template <typename Declarations>
std::vector<std::string> Names(const Declarations& declarations) {
  std::vector<std::string> names;
  for (const auto& declaration : declarations) {
    names.push_back(declaration.name());
  }
  return names;
}

// The frozen names come in their order; new ones may be anywhere.
template <typename Declarations>
void ExpectOrder(const Declarations& frozen, const Declarations& now) {
  const std::vector<std::string> was = Names(frozen);
  std::vector<std::string> is;
  for (const std::string& name : Names(now)) {
    if (std::find(was.begin(), was.end(), name) != was.end()) {
      is.push_back(name);
    }
  }
  ASSERT_EQ(is.size(), was.size());
  for (size_t i = 0; i < is.size(); ++i) {
    ASSERT_EQ(is[i], was[i]) << "at place " << i;
  }
}

template <typename Declaration>
const Declaration& Find(const pb::RepeatedPtrField<Declaration>& declarations,
                        const std::string& name) {
  for (const Declaration& declaration : declarations) {
    if (declaration.name() == name) return declaration;
  }
  ADD_FAILURE() << "no " << name;
  return Declaration::default_instance();
}

void ExpectOrderWithin(const pb::FileDescriptorProto& frozen,
                       const pb::FileDescriptorProto& now) {
  ExpectOrder(frozen.message_type(), now.message_type());
  ExpectOrder(frozen.enum_type(), now.enum_type());
  for (const pb::DescriptorProto& type : frozen.message_type()) {
    SCOPED_TRACE(type.name());
    ExpectOrder(type.field(), Find(now.message_type(), type.name()).field());
  }
  for (const pb::EnumDescriptorProto& type : frozen.enum_type()) {
    SCOPED_TRACE(type.name());
    ExpectOrder(type.value(), Find(now.enum_type(), type.name()).value());
  }
}

TEST(FrozenSchemas, KeepTheirOrder) {
  std::ifstream file(FROZEN_SCHEMAS, std::ios::binary);
  pb::FileDescriptorSet frozen;
  ASSERT_TRUE(frozen.ParseFromIstream(&file)) << FROZEN_SCHEMAS;
  int schemas = 0;
  for (const pb::FileDescriptorProto& was : frozen.file()) {
    if (was.package().rfind("zorvik.", 0) != 0) continue;
    ++schemas;
    SCOPED_TRACE(was.name());
    const pb::FileDescriptor* schema =
        pb::DescriptorPool::generated_pool()->FindFileByName(was.name());
    ASSERT_NE(schema, nullptr);
    pb::FileDescriptorProto now;
    schema->CopyTo(&now);
    ExpectOrderWithin(was, now);
  }
  EXPECT_GT(schemas, 0);
}

}  // namespace
