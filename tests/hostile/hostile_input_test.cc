// What docs/security.md says of hostile bytes: short inputs that announce more
// than they contain, inputs that are nested, and those that a receiver has to
// keep away from the runtime.
#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <sstream>

#include "cameraMessage.pb.h"
#include "channelMessage.pb.h"
#include "hostile/heap_meter.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/wire.h"

namespace {

namespace pb = google::protobuf;
using zorvik::channel::channelTopicMessage;

// Levels of groups that the protobuf runtime follows.
constexpr int kLevels = 100;
constexpr int kUnknown = 536870911;

// What an input may take at most: more than any factor that docs/security.md
// states, and what it states for an input of any length.
size_t Most(size_t length) { return 100 * length + 1024; }

std::string Groups(int number, int levels) {
  return Times(levels, Tag(number, kStart)) + Times(levels, Tag(number, kEnd));
}

std::vector<std::string> Refused(int number) {
  std::vector<std::string> inputs = {
      // Groups without an end, ends without a group, and too deep ones.
      Tag(number, kStart),
      Tag(number, kEnd),
      Tag(number, kStart) + Tag(number == 1 ? 2 : 1, kEnd),
      Tag(number, kStart) + Times(1000, Tag(1, kVarint) + Varint(1)),
      Groups(number, kLevels + 1),
      // Varints that are too long, or end too early.
      Tag(number, kVarint) + std::string(11, '\xff'),
      Tag(number, kDelimited) + std::string(11, '\xff'),
      Tag(number, kVarint) + std::string(9, '\xff'),
      std::string(1000, '\xff'),
      std::string(1, '\0'),
  };
  // Lengths beyond the end.
  for (uint64_t length :
       {uint64_t{2}, uint64_t{32768}, uint64_t{65536}, uint64_t{1} << 20,
        uint64_t{0x7ffffff0}, uint64_t{0x7fffffff}, uint64_t{0x80000000},
        uint64_t{0xffffffff}, uint64_t{1} << 32, ~uint64_t{0}}) {
    inputs.push_back(Tag(number, kDelimited) + Varint(length) + "x");
  }
  return inputs;
}

// The numbers of a message's fields, and one that is unknown.
std::vector<int> Numbers(const pb::Descriptor* type) {
  std::vector<int> numbers = {kUnknown};
  for (int i = 0; i < type->field_count(); ++i) {
    numbers.push_back(type->field(i)->number());
  }
  return numbers;
}

// A limit on a stream keeps the parser from taking memory for the length that a
// field announces.
TEST(HostileInput, IsRefusedAndTakesNoMemory) {
  constexpr int kLimit = 65536;
  constexpr size_t kStreamBuffer = 16384;
  for (const pb::Descriptor* type : Messages()) {
    for (int number : Numbers(type)) {
      SCOPED_TRACE(type->full_name() + ", number " + std::to_string(number));
      EXPECT_TRUE(
          NewMessage(type)->ParseFromString(Groups(number, kLevels - 1)));
      for (const std::string& bytes : Refused(number)) {
        const std::unique_ptr<pb::Message> message = NewMessage(type);
        const HeapMeter meter;
        EXPECT_FALSE(message->ParseFromString(bytes)) << ToHex(bytes);
        EXPECT_LE(meter.peak(), Most(bytes.size())) << ToHex(bytes);
        message->Clear();
        std::istringstream stream(bytes);
        pb::io::IstreamInputStream input(&stream);
        const HeapMeter of_stream;
        EXPECT_FALSE(message->ParseFromBoundedZeroCopyStream(&input, kLimit));
        EXPECT_LE(of_stream.peak(),
                  kLimit + kStreamBuffer + Most(bytes.size()));
      }
    }
  }
}

// However deep, the parser stops at the limit of groups. An unknown record may
// hold records at any depth: it is kept as bytes.
TEST(HostileInput, IsNotFollowedAnyDeeper) {
  const std::string groups = Groups(1, 100000);
  std::string records;
  for (int depth = 0; depth < 5000; ++depth) {
    records = Delimited(kUnknown, records);
  }
  for (const pb::Descriptor* type : Messages()) {
    SCOPED_TRACE(type->full_name());
    const std::unique_ptr<pb::Message> message = NewMessage(type);
    const HeapMeter of_groups;
    EXPECT_FALSE(message->ParseFromString(groups));
    EXPECT_LE(of_groups.peak(), Most(2 * kLevels));
    message->Clear();
    const HeapMeter of_records;
    EXPECT_TRUE(message->ParseFromString(records));
    EXPECT_LE(of_records.peak(), 2 * records.size());
    EXPECT_GE(of_records.peak(), records.size());
  }
}

// Nor are envelopes in envelopes: each level is unpacked by the receiver.
TEST(HostileInput, OpensEnvelopesOneByOne) {
  channelTopicMessage envelope;
  for (int depth = 0; depth < 2000; ++depth) {
    channelTopicMessage outer;
    outer.mutable_data()->PackFrom(envelope);
    envelope.Swap(&outer);
  }
  const std::string bytes = envelope.SerializeAsString();
  channelTopicMessage received;
  {
    const HeapMeter meter;
    EXPECT_TRUE(received.ParseFromString(bytes));
    EXPECT_LE(meter.peak(), 2 * bytes.size());
  }
  int depth = 0;
  for (channelTopicMessage inner; received.data().UnpackTo(&inner); ++depth) {
    received.Swap(&inner);
  }
  EXPECT_EQ(depth, 2000);
}

// The parser takes memory for the length that a field announces, up to 50 MB.
TEST(HostileInput, TakesMemoryForAStreamWithoutBoundOnly) {
  using zorvik::channel::checkMessage;
  checkMessage message;
  std::istringstream six(
      Tag(checkMessage::kDescriptionFieldNumber, kDelimited) +
      Varint(0x7fffffef));
  ASSERT_EQ(six.str().size(), 6u);
  const HeapMeter unbounded;
  EXPECT_FALSE(message.ParseFromIstream(&six));
  EXPECT_GE(unbounded.peak(), 50000000u);
  EXPECT_LE(unbounded.peak(), 51000000u);
}

// The process that turns the envelope into JSON is ended by its alarm.
TEST(HostileInput, NeverEndsAsJsonUnlessItIsUnpacked) {
  zorvik::camera::CameraRangeListMessage list;
  channelTopicMessage envelope;
  envelope.mutable_data()->PackFrom(list);
  envelope.mutable_data()->set_value(FromHex("0a 03 01 02"));
  EXPECT_FALSE(envelope.data().UnpackTo(&list));
  EXPECT_FALSE(envelope.DebugString().empty());

  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    alarm(1);
    std::string json;
    (void)pb::util::MessageToJsonString(envelope, &json);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) << status;
}

}  // namespace
