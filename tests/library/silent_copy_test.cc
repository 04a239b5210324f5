// A program that links the library and holds classes generated from a copy of
// one of the schemas, which the dynamic linker can see. Nothing ends it: its
// classes take the place of the library's. docs/security.md describes the
// failure.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

#include "powerMessage.pb.h"

// AddressSanitizer would end this program: it reports the copy.
extern "C" const char* __asan_default_options() {
  return "detect_odr_violation=0";
}

namespace {

// The file that defines what every user of the library gets by this name.
std::string FileOf(const char* symbol) {
  Dl_info info{};
  void* address = dlsym(RTLD_DEFAULT, symbol);
  return address != nullptr && dladdr(address, &info) != 0 ? info.dli_fname
                                                           : "none";
}

TEST(SilentCopy, TakesThePlaceOfTheLibrarysClasses) {
  ASSERT_NE(dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD), nullptr);
  const std::string library = FileOf("descriptor_table_gimbalMessage_2eproto");
  EXPECT_NE(library.find("libZorvikPBProto"), std::string::npos) << library;
  for (const char* symbol : {"descriptor_table_powerMessage_2eproto",
                             "_ZTVN6zorvik5power12onOffMessageE"}) {
    EXPECT_EQ(FileOf(symbol).find("libZorvikPBProto"), std::string::npos);
    EXPECT_NE(FileOf(symbol), "none") << symbol;
  }
  EXPECT_NE(zorvik::power::onOffMessage::descriptor(), nullptr);
}

}  // namespace
