// Loads the library at run time, lets go of it and loads it again, as a host
// of plugins does. Built twice: as a program that holds the protobuf runtime
// itself, and as one that does not.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

namespace {

// Loads the library, makes it build descriptors and lets go of it. Null, or
// what went wrong.
const char* LoadUseAndUnload() {
  void* library = dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return dlerror();
  const auto descriptor = reinterpret_cast<const void* (*)()>(
      dlsym(library, "_ZN6zorvik7channel27channelTopicType_descriptorEv"));
  if (descriptor == nullptr) return dlerror();
  if (descriptor() == nullptr) return "no descriptor";
  return dlclose(library) == 0 ? nullptr : dlerror();
}

// Whether two threads that start together can both load and use the library.
bool TwoThreadsCanLoad() {
  std::atomic<int> waiting{2};
  std::atomic<int> succeeded{0};
  const auto load = [&] {
    --waiting;
    while (waiting > 0) std::this_thread::yield();
    if (LoadUseAndUnload() == nullptr) ++succeeded;
  };
  std::thread first(load);
  std::thread second(load);
  first.join();
  second.join();
  return succeeded == 2;
}

// The library comes into a process only once: each turn has a process of its
// own.
TEST(Reload, SurvivesTwoThreadsThatLoadAtOnce) {
  if (dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    GTEST_FAIL() << "the library is there already";
  }
  for (int turn = 0; turn < 20; ++turn) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(TwoThreadsCanLoad() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "turn " << turn;
  }
}

TEST(Reload, SurvivesUnloadAndLoadAgain) {
  for (int i = 0; i < 3; ++i) EXPECT_STREQ(LoadUseAndUnload(), nullptr);
}

}  // namespace
