// The first use of the descriptors in a process, by many threads at once. One
// program of its own, since only a process that has used none can show it.
#include <dlfcn.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/generated_message_reflection.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

constexpr size_t kThreads = 8;

// Lets threads wait for each other, so that they start together.
class Gate {
 public:
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (++waiting_ == kThreads) open_.notify_all();
    open_.wait(lock, [this] { return waiting_ == kThreads; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable open_;
  size_t waiting_ = 0;
};

std::vector<const pb::internal::DescriptorTable*> Tables() {
  std::vector<std::string> files;
  pb::DescriptorPool::internal_generated_database()->FindAllFileNames(&files);
  std::vector<const pb::internal::DescriptorTable*> tables;
  for (const std::string& file : files) {
    if (file.find('/') != std::string::npos) continue;  // The runtime's own.
    const std::string symbol =
        "descriptor_table_" + file.substr(0, file.find('.')) + "_2eproto";
    tables.push_back(static_cast<const pb::internal::DescriptorTable*>(
        dlsym(RTLD_DEFAULT, symbol.c_str())));
  }
  return tables;
}

TEST(FirstUse, GivesEightThreadsTheSameDescriptors) {
  const auto tables = Tables();
  ASSERT_FALSE(tables.empty());
  for (const auto* table : tables) ASSERT_NE(table, nullptr);

  Gate gate;
  std::vector<std::vector<const void*>> seen(kThreads);
  std::vector<std::thread> threads;
  for (size_t t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      gate.Wait();
      for (const pb::internal::DescriptorTable* table : tables) {
        seen[t].push_back(pb::DescriptorPool::generated_pool()->FindFileByName(
            table->filename));
        for (int i = 0; i < table->num_messages; ++i) {
          const pb::Message& instance = *table->default_instances[i];
          seen[t].push_back(instance.GetDescriptor());
          seen[t].push_back(instance.GetReflection());
          const std::unique_ptr<pb::Message> copy(instance.New());
          copy->CopyFrom(instance);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t t = 0; t < kThreads; ++t) {
    EXPECT_EQ(seen[t], seen[0]);
    for (const void* pointer : seen[t]) EXPECT_NE(pointer, nullptr);
  }
}

}  // namespace
