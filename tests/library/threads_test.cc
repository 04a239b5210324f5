// What threads may do with the library at once: use its descriptors for the
// first time in the process, and read one object of each message.
// ThreadSanitizer finds a thread that changes something; the results are
// compared here.
#include <dlfcn.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/generated_message_reflection.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <sstream>
#include <thread>

#include "support/schemas.h"
#include "zorvik/fill.h"

namespace {

namespace pb = google::protobuf;

constexpr size_t kThreads = 8;

// What a thread was given for each message, and nothing where it was wrong.
using Readings = std::vector<std::string>;

// Lets threads start at once, and compares what they read.
void ExpectSameInAllThreads(const std::function<Readings()>& read) {
  std::atomic<size_t> waiting{kThreads};
  std::vector<Readings> seen(kThreads);
  std::vector<std::thread> threads;
  for (Readings& readings : seen) {
    threads.emplace_back([&waiting, &readings, &read] {
      --waiting;
      while (waiting > 0) std::this_thread::yield();
      readings = read();
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_FALSE(seen[0].empty());
  EXPECT_EQ(std::count(seen[0].begin(), seen[0].end(), ""), 0);
  for (const Readings& readings : seen) EXPECT_EQ(readings, seen[0]);
}

// The tables of the schemas, without a look at a descriptor.
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
    EXPECT_NE(tables.back(), nullptr) << symbol;
  }
  return tables;
}

// Runs first: only a process that has used no descriptor can show it.
TEST(Threads, UseDescriptorsForTheFirstTime) {
  const auto tables = Tables();
  for (const auto* table : tables) {
    ASSERT_FALSE(pb::DescriptorPool::generated_pool()->InternalIsFileLoaded(
        table->filename));
  }
  ExpectSameInAllThreads([&tables] {
    Readings readings;
    for (const auto* table : tables) {
      for (int i = 0; i < table->num_messages; ++i) {
        const pb::Message& instance = *table->default_instances[i];
        const std::unique_ptr<pb::Message> copy(instance.New());
        copy->CopyFrom(instance);
        const pb::Descriptor* type = copy->GetDescriptor();
        const bool known = type->file() ==
                           pb::DescriptorPool::generated_pool()->FindFileByName(
                               table->filename);
        std::ostringstream reading;
        if (known) reading << type << ' ' << instance.GetReflection();
        readings.push_back(reading.str());
      }
    }
    return readings;
  });
}

TEST(Threads, ReadOneObjectOfEachMessage) {
  std::vector<std::unique_ptr<const pb::Message>> messages;
  for (const pb::Descriptor* type : Messages()) {
    std::unique_ptr<pb::Message> message = NewMessage(type);
    FillMessage(message.get(), Fill::kSmall);
    messages.push_back(std::move(message));
  }
  ExpectSameInAllThreads([&messages] {
    Readings readings;
    for (const auto& message : messages) {
      const std::unique_ptr<pb::Message> copy(message->New());
      copy->CopyFrom(*message);
      const bool same = pb::util::MessageDifferencer::Equals(*copy, *message);
      readings.push_back(same ? message->SerializeAsString() +
                                    message->DebugString() +
                                    std::to_string(message->SpaceUsedLong())
                              : "");
    }
    return readings;
  });
}

}  // namespace
