// A program that holds classes generated from a copy of one of the schemas, and
// then loads the library as well. The protobuf runtime ends it; what it says
// names the schema. docs/security.md describes the failure.
#include <dlfcn.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include "powerMessage.pb.h"

namespace {

namespace pb = google::protobuf;

TEST(PrivateCopy, IsRefusedByNameOfTheSchema) {
  ASSERT_NE(zorvik::power::onOffMessage::descriptor(), nullptr);
  EXPECT_DEATH(dlopen(LIBRARY_PATH, RTLD_NOW),
               "File already exists in database: powerMessage.proto");
}

// As the library's own initialisers add a schema while it is loaded.
TEST(PrivateCopy, IsRefusedUnderAnotherFileNameToo) {
  pb::FileDescriptorProto file;
  zorvik::power::onOffMessage::descriptor()->file()->CopyTo(&file);
  file.set_name("renamed.proto");
  const std::string bytes = file.SerializeAsString();
  const auto add = [&bytes]() noexcept {
    pb::DescriptorPool::InternalAddGeneratedFile(
        bytes.data(), static_cast<int>(bytes.size()));
  };
  EXPECT_DEATH(add(),
               "Symbol name \"zorvik.power.pinStateMessage\" conflicts with "
               "the existing symbol");
}

}  // namespace
