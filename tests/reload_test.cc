// Loads the library at run time, lets go of it and loads it again, as a host
// of plugins does. Built twice: as a program that holds the protobuf runtime
// itself, and as one that does not.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

// Loads the library and makes it build descriptors.
void LoadUseAndUnload() {
  void* library = dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto descriptor = reinterpret_cast<const void* (*)()>(
      dlsym(library, "_ZN6zorvik7channel27channelTopicType_descriptorEv"));
  ASSERT_NE(descriptor, nullptr) << dlerror();
  EXPECT_NE(descriptor(), nullptr);
  EXPECT_EQ(dlclose(library), 0);
}

TEST(Reload, SurvivesUnloadAndLoadByTwoThreadsAndAgain) {
  std::thread first(LoadUseAndUnload);
  std::thread second(LoadUseAndUnload);
  first.join();
  second.join();
  LoadUseAndUnload();
  LoadUseAndUnload();
}

}  // namespace
