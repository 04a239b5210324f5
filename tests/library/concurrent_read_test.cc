// Many threads read one object, and none of them writes it. The results are
// compared here; ThreadSanitizer finds a thread that changes something.
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <thread>

#include "support/fill.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// Everything that a reader can ask a message for.
std::string ReadAll(const pb::Message& message) {
  const std::unique_ptr<pb::Message> copy(message.New());
  copy->CopyFrom(message);
  EXPECT_TRUE(pb::util::MessageDifferencer::Equals(*copy, message));
  EXPECT_EQ(message.ByteSizeLong(), message.SerializeAsString().size());
  return message.SerializeAsString() + message.DebugString() +
         std::to_string(message.SpaceUsedLong());
}

void ExpectSameReadings(const std::vector<const pb::Message*>& messages) {
  ASSERT_FALSE(messages.empty());
  std::vector<std::vector<std::string>> read(4);
  std::vector<std::thread> threads;
  for (std::vector<std::string>& seen : read) {
    threads.emplace_back([&messages, &seen] {
      for (const pb::Message* message : messages) {
        seen.push_back(ReadAll(*message));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::vector<std::string>& seen : read) EXPECT_EQ(seen, read[0]);
}

TEST(ConcurrentReads, OfOneObjectOfEachMessageAgree) {
  std::vector<std::unique_ptr<pb::Message>> owned;
  std::vector<const pb::Message*> messages;
  for (const pb::Descriptor* type : Messages()) {
    owned.push_back(NewMessage(type));
    FillMessage(owned.back().get(), Fill::kSmall);
    messages.push_back(owned.back().get());
  }
  ExpectSameReadings(messages);
}

TEST(ConcurrentReads, OfTheDefaultInstancesAgree) {
  std::vector<const pb::Message*> messages;
  for (const pb::Descriptor* type : Messages()) {
    messages.push_back(
        pb::MessageFactory::generated_factory()->GetPrototype(type));
  }
  ExpectSameReadings(messages);
}

}  // namespace
