// A program that holds classes generated from a copy of one of the schemas, and
// then loads the library as well. The protobuf runtime ends it; what it says
// names the schema. docs/security.md describes the failure.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "powerMessage.pb.h"

namespace {

TEST(PrivateCopy, IsRefusedByNameOfTheSchema) {
  ASSERT_NE(zorvik::power::onOffMessage::descriptor(), nullptr);
  EXPECT_DEATH(dlopen(LIBRARY_PATH, RTLD_NOW),
               "File already exists in database: powerMessage.proto");
}

}  // namespace
