// Short inputs that announce more than they contain: every message refuses them
// and takes no more memory than their length allows.
#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "channelMessage.pb.h"
#include "hostile/heap_meter.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// Levels of groups that the protobuf runtime follows.
constexpr int kLevels = 100;

// What an input may take at most: more than any factor that docs/security.md
// states, and what it states for an input of any length.
size_t Most(size_t length) { return 100 * length + 1024; }

enum WireType { kVarint = 0, kDelimited = 2, kStart = 3, kEnd = 4 };

std::string Varint(uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Tag(uint32_t number, WireType type) {
  return Varint(uint64_t{number} << 3 | type);
}

std::string Times(size_t count, const std::string& bytes) {
  std::string result;
  while (count-- > 0) result += bytes;
  return result;
}

std::string Groups(int number, int levels) {
  return Times(levels, Tag(number, kStart)) + Times(levels, Tag(number, kEnd));
}

void ExpectRefused(const pb::Descriptor* type, const std::string& bytes) {
  const std::unique_ptr<pb::Message> message = NewMessage(type);
  const HeapMeter meter;
  EXPECT_FALSE(message->ParseFromString(bytes));
  EXPECT_LE(meter.peak(), Most(bytes.size()));
}

// For each message, the number of one of its fields and one that is unknown.
void ForEachNumber(
    const std::function<void(const pb::Descriptor*, int number)>& check) {
  ASSERT_FALSE(Messages().empty());
  for (const pb::Descriptor* type : Messages()) {
    SCOPED_TRACE(type->full_name());
    for (int i = 0; i < type->field_count(); ++i) {
      check(type, type->field(i)->number());
    }
    check(type, 536870911);
  }
}

TEST(HostileInput, GroupsEndAtTheDepthLimit) {
  ForEachNumber([](const pb::Descriptor* type, int number) {
    // Deepest that parses, and one more.
    EXPECT_TRUE(NewMessage(type)->ParseFromString(Groups(number, kLevels - 1)));
    ExpectRefused(type, Groups(number, kLevels + 1));
  });
  // However deep, the parser stops at the limit.
  for (const pb::Descriptor* type : Messages()) {
    const std::unique_ptr<pb::Message> message = NewMessage(type);
    const std::string bytes = Groups(1, 1000000);
    const HeapMeter meter;
    EXPECT_FALSE(message->ParseFromString(bytes));
    EXPECT_LE(meter.peak(), Most(2 * kLevels)) << type->full_name();
  }
}

TEST(HostileInput, GroupsThatDoNotCloseAreRefused) {
  ForEachNumber([](const pb::Descriptor* type, int number) {
    const std::string start = Tag(number, kStart);
    ExpectRefused(type, start);
    ExpectRefused(type, Tag(number, kEnd));
    ExpectRefused(type, start + Tag(number == 1 ? 2 : 1, kEnd));
    ExpectRefused(type, start + Times(1000, Tag(1, kVarint) + Varint(1)));
  });
}

TEST(HostileInput, LengthsBeyondTheEndAreRefused) {
  ForEachNumber([](const pb::Descriptor* type, int number) {
    for (uint64_t length :
         {uint64_t{2}, uint64_t{1} << 20, uint64_t{0x7ffffff0},
          uint64_t{0x7fffffff}, uint64_t{0x80000000}, uint64_t{0xffffffff},
          uint64_t{1} << 32, ~uint64_t{0}}) {
      SCOPED_TRACE(length);
      ExpectRefused(type, Tag(number, kDelimited) + Varint(length) + "x");
    }
  });
}

TEST(HostileInput, VarintsWithoutEndAreRefused) {
  ForEachNumber([](const pb::Descriptor* type, int number) {
    ExpectRefused(type, Tag(number, kVarint) + std::string(11, '\xff'));
    ExpectRefused(type, Tag(number, kDelimited) + std::string(11, '\xff'));
    ExpectRefused(type, Tag(number, kVarint) + std::string(9, '\xff'));
  });
  ForEachNumber([](const pb::Descriptor* type, int) {
    ExpectRefused(type, std::string(1000, '\xff'));
    ExpectRefused(type, std::string(1, '\0'));
  });
}

// An unknown record may hold records at any depth: it is kept as bytes.
TEST(HostileInput, UnknownRecordsAreNotFollowed) {
  std::string bytes;
  for (int depth = 0; depth < 5000; ++depth) {
    bytes = Tag(536870911, kDelimited) + Varint(bytes.size()) + bytes;
  }
  for (const pb::Descriptor* type : Messages()) {
    const std::unique_ptr<pb::Message> message = NewMessage(type);
    const HeapMeter meter;
    EXPECT_TRUE(message->ParseFromString(bytes)) << type->full_name();
    EXPECT_LE(meter.peak(), 2 * bytes.size()) << type->full_name();
  }
}

// Nor are envelopes in envelopes: each level is unpacked by the receiver.
TEST(HostileInput, EnvelopesAreOpenedOneByOne) {
  zorvik::channel::channelTopicMessage envelope;
  for (int depth = 0; depth < 2000; ++depth) {
    zorvik::channel::channelTopicMessage outer;
    outer.mutable_data()->PackFrom(envelope);
    envelope.Swap(&outer);
  }
  const std::string bytes = envelope.SerializeAsString();
  zorvik::channel::channelTopicMessage received;
  {
    const HeapMeter meter;
    EXPECT_TRUE(received.ParseFromString(bytes));
    EXPECT_LE(meter.peak(), 2 * bytes.size());
  }
  int depth = 0;
  for (zorvik::channel::channelTopicMessage inner;
       received.data().UnpackTo(&inner); ++depth) {
    received.Swap(&inner);
  }
  EXPECT_EQ(depth, 2000);
}

// The length of a stream is not known: the parser takes memory for the length
// that a field announces, up to 50 MB. A limit on the stream prevents it.
TEST(HostileInput, LengthsInALimitedStreamTakeNoMoreThanTheLimit) {
  constexpr int kLimit = 65536;
  constexpr size_t kStreamBuffer = 16384;
  ForEachNumber([](const pb::Descriptor* type, int number) {
    for (uint64_t length : {kLimit / 2, kLimit, 1 << 20, 50000000}) {
      const std::string bytes = Tag(number, kDelimited) + Varint(length) + "x";
      std::istringstream stream(bytes);
      pb::io::IstreamInputStream input(&stream);
      const std::unique_ptr<pb::Message> message = NewMessage(type);
      const HeapMeter meter;
      EXPECT_FALSE(message->ParseFromBoundedZeroCopyStream(&input, kLimit));
      EXPECT_LE(meter.peak(), kLimit + kStreamBuffer + Most(bytes.size()));
    }
  });
}

}  // namespace
