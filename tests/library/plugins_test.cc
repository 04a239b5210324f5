// A host that knows nothing of the library loads two plugins that both link
// it. They can hand each other their objects.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

struct Close {
  void operator()(void* handle) { dlclose(handle); }
};
using Plugin = std::unique_ptr<void, Close>;

Plugin Load(const char* path) {
  return Plugin(dlopen(path, RTLD_NOW | RTLD_LOCAL));
}

void* Make(const Plugin& plugin) {
  return reinterpret_cast<void* (*)()>(dlsym(plugin.get(), "MakeEnvelope"))();
}

bool Take(const Plugin& plugin, void* message) {
  return reinterpret_cast<bool (*)(void*)>(dlsym(plugin.get(), "TakeEnvelope"))(
      message);
}

TEST(Plugins, ShareTheLibrary) {
  Plugin first;
  std::thread loader([&first] { first = Load(PLUGIN_1); });
  const Plugin second = Load(PLUGIN_2);
  loader.join();
  ASSERT_TRUE(first && second) << dlerror();
  EXPECT_TRUE(Take(second, Make(first)));
  EXPECT_TRUE(Take(first, Make(second)));

  // What one made outlives it.
  void* message = Make(first);
  first.reset();
  EXPECT_TRUE(Take(second, message));
  first = Load(PLUGIN_1);
  ASSERT_TRUE(first) << dlerror();
  EXPECT_TRUE(Take(second, Make(first)));
  EXPECT_TRUE(Take(first, Make(second)));
}

}  // namespace
