// A host that knows nothing of the library loads two plugins that both link
// it. They can hand each other their objects.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

class Plugin {
 public:
  explicit Plugin(const char* path)
      : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~Plugin() { dlclose(handle_); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  void* Make() const { return Find<void*()>("MakeEnvelope")(); }
  bool Take(void* message) const {
    return Find<bool(void*)>("TakeEnvelope")(message);
  }

 private:
  template <typename Function>
  Function* Find(const char* name) const {
    void* symbol = dlsym(handle_, name);
    if (symbol == nullptr) throw std::runtime_error(dlerror());
    return reinterpret_cast<Function*>(symbol);
  }

  void* handle_;
};

void ExpectExchange(const Plugin& one, const Plugin& other) {
  EXPECT_TRUE(other.Take(one.Make()));
  EXPECT_TRUE(one.Take(other.Make()));
}

TEST(Plugins, ShareTheLibrary) {
  std::unique_ptr<Plugin> first, second;
  std::thread loader([&first] { first = std::make_unique<Plugin>(PLUGIN_1); });
  second = std::make_unique<Plugin>(PLUGIN_2);
  loader.join();
  ASSERT_NE(first, nullptr);
  ExpectExchange(*first, *second);

  // What one made outlives it.
  void* message = first->Make();
  first.reset();
  EXPECT_TRUE(second->Take(message));
  first = std::make_unique<Plugin>(PLUGIN_1);
  ExpectExchange(*first, *second);
}

}  // namespace
