// What zorvik/topics.h writes and reads is what the protobuf runtime writes and
// reads. The pairings are those of the catalogue.
#include "zorvik/topics.h"

#include <google/protobuf/duration.pb.h>
#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <vector>

#include "accessMessage.pb.h"
#include "catalogue/reader.h"
#include "hostile/heap_meter.h"
#include "positionMessage.pb.h"
#include "sdkSubMessage.pb.h"
#include "support/captured_log.h"
#include "support/topics.h"
#include "support/wire.h"
#include "uavComponentID.pb.h"
#include "zorvik/fill.h"
#include "zorvik/version.h"

namespace {

namespace access = zorvik::access;
namespace channel = zorvik::channel;
namespace gimbal = zorvik::gimbal;
namespace protocol = zorvik::protocol;
namespace sdksub = zorvik::sdksub;
namespace topics = zorvik::topics;
using google::protobuf::Duration;
using topics::From;
using topics::IdList;
using topics::Result;
using topics::To;

// An open topic bound to a message of one's own, and one to the vocabulary's.
using Parachute =
    topics::Topic<channel::CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, Duration>;
using RotateAnswer = topics::AnswerTo<gimbal::UavGimbalRotateReqMessage,
                                      gimbal::UavGimbalRspMessage>;

// The other pairings are those of the catalogue.
static_assert(RotateAnswer::kType ==
              channel::CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP);
static_assert(std::is_same_v<
              topics::AnswerTo<protocol::TracerWorkModeControlMessage>,
              topics::Topic<
                  channel::CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL_RSP>>);
static_assert(
    topics::kMayCarry<sdksub::FLY_CONDITION_TOPIC_RC, sdksub::RC> &&
    !topics::kMayCarry<sdksub::FLY_CONDITION_TOPIC_RC, Duration> &&
    topics::kMayCarry<sdksub::FLY_CONDITION_TOPIC_HEIGHT_FUSION, Duration> &&
    topics::kMayAnswer<access::PAYLOAD_SERVICE_PAYLOAD_REGISTER,
                       access::payloadRspMessage> &&
    !topics::kMayAnswer<access::PAYLOAD_SERVICE_PAYLOAD_REGISTER, Duration> &&
    topics::kMayAnswer<channel::CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE, Duration>);
// Other ids do not matter, and several topic types settle none.
static_assert(
    topics::internal::OnlyTopicType(
        IdList<sdksub::FLY_CONDITION_TOPIC_RC, RotateAnswer::kType>()) ==
        RotateAnswer::kType &&
    topics::internal::OnlyTopicType(
        IdList<RotateAnswer::kType, Parachute::kType>()) == 0);
static_assert(zorvik::kVersion == ZORVIKPBPROTO_VERSION_MAJOR * 1000000 +
                                      zorvik::kVersionMinor * 1000 +
                                      zorvik::kVersionPatch);

constexpr int32_t kNumbers[] = {0, 1, 127, 128, -1, 999, INT_MAX, INT_MIN};

// Contents of all shapes: empty, at the limits, and at random.
template <typename Content>
std::vector<Content> SomeContents() {
  std::vector<Content> contents(13);
  FillMessage(&contents[1], Fill::kSmall);
  FillMessage(&contents[2], Fill::kLargest);
  FillMessage(&contents[3], Fill::kLowest);
  std::mt19937_64 random(4711);
  for (size_t i = 4; i < contents.size(); ++i) {
    FillRandomly(&contents[i], &random, nullptr);  // None has an Any.
  }
  return contents;
}

TEST(Pairings, AreThoseOfTheCatalogueForEveryTopicType) {
  ForEachSettledTopic([](auto topic) {
    using Topic = decltype(topic);
    using Content = typename Topic::Content;
    EXPECT_EQ(topics::MessageFacts<Content>::kTypeUrl,
              "type.googleapis.com/" + Content::descriptor()->full_name());
    EXPECT_TRUE((std::is_same_v<topics::TopicOf<Content>, Topic>));
  });
  std::map<int, std::string> expected;
  const catalogue::Catalogue known = catalogue::Read(CATALOGUE);
  for (const catalogue::Id& id : known.ids()) {
    if (id.enum_() != channel::channelTopicType_descriptor()->full_name()) {
      continue;
    }
    if (id.settled()) expected[id.number()] = id.carries();
    EXPECT_EQ("zorvik.channel." + std::string(topics::NameOf(
                                      channel::channelTopicType{id.number()})),
              id.name());
  }
  EXPECT_EQ(CarriedMessages(), expected);
  EXPECT_EQ(topics::NameOf(channel::channelTopicType{10418}), "");
  EXPECT_EQ(topics::NameOf(channel::channelTopicType{}), "");
  // Its records are in those of a list.
  using Positions = zorvik::position::positionResponse;
  EXPECT_TRUE(topics::MessageFacts<Positions>::kHasRecords);
}

// Receives by both ways into an object that has been used before, and expects
// no difference.
template <typename Topic>
Result ExpectReadAlike(const std::string& bytes) {
  typename Topic::Content kept;
  FillMessage(&kept, Fill::kLargest);
  static topics::Envelope view;
  channel::channelTopicMessage envelope;
  const bool is_envelope = envelope.ParseFromString(bytes);
  EXPECT_EQ(view.Open(bytes), is_envelope);
  if (!is_envelope) envelope.Clear();  // So is the view.
  std::string name;
  google::protobuf::Any::ParseAnyTypeUrl(envelope.data().type_url(), &name);
  EXPECT_EQ(view.type_name(), name);
  EXPECT_EQ(view.topic_type(), envelope.topic_type());
  EXPECT_EQ(view.source(), envelope.src_node_id());
  EXPECT_EQ(view.destination(), envelope.dst_node_id());
  EXPECT_EQ(view.value(), envelope.data().value());
  if (!is_envelope) return Result::kNoEnvelope;

  typename Topic::Content expected;
  const Result result = ReadByRuntime<Topic>(envelope, &expected);
  EXPECT_EQ(view.Read<Topic>(&kept), result) << topics::TextOf(result);
  if (result == Result::kReceived) {
    EXPECT_EQ(kept.SerializeAsString(), expected.SerializeAsString());
  }
  return result;
}

template <typename Topic>
void ExpectWrittenAndRead(const typename Topic::Content& content,
                          int32_t source, int32_t destination) {
  const std::string expected =
      WriteByRuntime<Topic>(content, source, destination);
  std::string appended = "before";
  EXPECT_TRUE(
      topics::Append<Topic>(content, From{source}, To{destination}, &appended));
  EXPECT_EQ(appended, "before" + expected);

  // One byte behind it stays as it is.
  std::string buffer(expected.size() + 1, 'x');
  const topics::Written written = topics::Write<Topic>(
      content, From{source}, To{destination}, &buffer[0], expected.size());
  EXPECT_TRUE(written);
  EXPECT_EQ(written.size, expected.size());
  EXPECT_EQ(buffer, expected + "x");

  const std::string untouched(expected.size(), 'y');
  buffer = untouched;
  const topics::Written refused = topics::Write<Topic>(
      content, From{source}, To{destination}, &buffer[0], expected.size() - 1);
  EXPECT_FALSE(refused);
  EXPECT_EQ(refused.size, expected.size());
  EXPECT_EQ(buffer, untouched);

  EXPECT_EQ(ExpectReadAlike<Topic>(expected), Result::kReceived);
}

TEST(WritingAndReading, AgreeWithTheRuntime) {
  const auto check = [](auto topic) {
    using Topic = decltype(topic);
    for (const auto& content : SomeContents<typename Topic::Content>()) {
      for (const int32_t number : kNumbers) {
        ExpectWrittenAndRead<Topic>(content, number, 9);
        ExpectWrittenAndRead<Topic>(content, number, number);
      }
    }
  };
  ForEachSettledTopic(check);
  check(Parachute());
  check(RotateAnswer());
}

// Pretends to be encoded in so many bytes.
struct Pretended {
  size_t size = 0;
  size_t ByteSizeLong() const { return size; }
  std::string GetTypeName() const { return "test.Pretended"; }
  uint8_t* SerializeWithCachedSizesToArray(uint8_t* at) const { return at; }
};

TEST(Writing, RefusesMoreThanTwoGibibytesInAnyRoom) {
  using Huge =
      topics::Topic<channel::CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, Pretended>;
  constexpr size_t kLimit = INT_MAX;
  char buffer[256];
  for (const size_t size : {kLimit - 200, kLimit, kLimit + 1}) {
    EXPECT_EQ(
        topics::Write<Huge>(Pretended{size}, From{1}, To{9}, buffer, SIZE_MAX)
            .fits,
        size < kLimit);
  }
  std::string bytes = "before";
  EXPECT_FALSE(topics::Append<Huge>(Pretended{kLimit}, From{1}, To{9}, &bytes));
  EXPECT_EQ(bytes.size(), 6u);
  // Nor are they read.
  EXPECT_FALSE(topics::Envelope().Open({buffer, kLimit + 1}));
}

// Forms that the runtime reads and never writes, and some that it refuses. The
// content is a throwActionMessage for channel 3.
TEST(Reading, FollowsTheRuntimeInEveryForm) {
  using Topic = topics::Topic<channel::CHANNEL_TOPIC_TYPE_THROWER_ACTION>;
  const auto url = [](const std::string& prefix) {
    return Delimited(1, prefix + "zorvik.protocol.throwActionMessage");
  };
  const auto any = [](const std::string& bytes) { return Delimited(4, bytes); };
  const std::string good_url = url("type.googleapis.com/");
  const std::string value = Delimited(2, "\x08\x03");
  const std::string type = "\x08\xf6\x4e";
  const std::string nodes = "\x10\x01\x18\x0a", back = "\x18\x0a\x10\x01";
  const std::string data = any(good_url + value);
  struct Case {
    Result result;
    std::string bytes;
  };
  const std::vector<Case> cases = {
      {Result::kReceived, type + nodes + data},
      // Another order, twice, and unknown.
      {Result::kReceived, data + back + type},
      {Result::kReceived, type + type + data},
      {Result::kReceived, type + data + type},
      {Result::kUnknownTopic, type + "\x08\xf5\x4e" + data},
      {Result::kReceived, type + "\x28\x01" + data},
      {Result::kReceived, type + data + "\x28\x01"},
      {Result::kReceived, type + "\x25" + "abcd" + data},
      // Split: what comes later replaces what came before.
      {Result::kReceived, type + any(good_url) + any(value)},
      {Result::kReceived, type + any(value + good_url)},
      {Result::kReceived, type + any(good_url + value + "\x18\x01")},
      {Result::kOtherContent, type + data + any(Delimited(1, "/x"))},
      {Result::kMalformedContent, type + data + any(Delimited(2, "\x08"))},
      // Numbers that are longer than need be, or have more than 32 bits.
      {Result::kReceived, std::string("\x08\xf6\xce\x80\x00", 5) + data},
      {Result::kReceived, "\x08\xf6\xce\x80\x80\x10" + data},
      {Result::kReceived,
       "\x08\xf6\xce\x80\x80\x80\x80\x80\x80\x80\x7f" + data},
      {Result::kNoEnvelope,
       "\x08\xf6\xce\x80\x80\x80\x80\x80\x80\x80\x80\x01" + data},
      {Result::kNoContent, type + std::string("\x22\x80\x80\x00", 4)},
      {Result::kNoEnvelope,
       type + std::string("\x22\x80\x80\x80\x80\x80\x00", 7)},
      // Other URLs.
      {Result::kReceived, type + any(url("/") + value)},
      {Result::kReceived, type + any(url("x/y/") + value)},
      {Result::kOtherContent, type + any(url("") + value)},
      {Result::kOtherContent, type + any(url("/x") + value)},
      {Result::kNoEnvelope, type + any(url("\xff/") + value)},
      {Result::kReceived, type + any(url("\xc3\xa4/") + value)},
      {Result::kOtherContent, type + any(value)},
      // Missing things.
      {Result::kReceived, type + any(good_url)},
      {Result::kNoContent, type + any("")},
      {Result::kNoContent, type},
      {Result::kUnknownTopic, ""},
      {Result::kNoEnvelope, "\xff"},
      {Result::kNoEnvelope, type + "\x22\x7f\x0a"},
      {Result::kNoEnvelope, type + any("\x0a\x7f")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases.data());
    EXPECT_EQ(ExpectReadAlike<Topic>(c.bytes), c.result);
  }
  // Cut anywhere, and with any one byte replaced.
  const CapturedLog refused_urls;
  const std::string whole = cases.front().bytes;
  for (size_t i = 0; i < whole.size(); ++i) {
    ExpectReadAlike<Topic>(whole.substr(0, i));
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = whole;
      changed[i] = static_cast<char>(byte);
      ExpectReadAlike<Topic>(changed);
    }
  }
}

// What was called, and with what.
struct Recorder {
  std::string called;
  template <typename Content>
  void operator()(const Content& content, const topics::Envelope& envelope) {
    called += std::to_string(envelope.source()) + " " +
              std::string(topics::NameOf(envelope.topic_type())) + " " +
              content.GetTypeName() + " " + content.ShortDebugString() + "; ";
  }
};

// Two topics may carry the same message.
using ModeAnswer =
    topics::AnswerTo<gimbal::UavSetModeReqMessage, gimbal::UavGimbalRspMessage>;
using TestReceiver = topics::Receiver<gimbal::UavResetReqMessage, RotateAnswer,
                                      ModeAnswer, Parachute>;

template <typename T = void, typename Content>
std::string Written(const Content& content, int32_t destination = 9) {
  std::string bytes;
  topics::Append<T>(content, From{1}, To{destination}, &bytes);
  return bytes;
}

TEST(Receiving, CallsTheOverloadOfTheContent) {
  TestReceiver receiver(9);
  Recorder recorder;
  gimbal::UavResetReqMessage reset;
  gimbal::UavGimbalRspMessage answer;
  Duration duration;
  reset.set_seq(5);
  answer.set_rlt(2);
  duration.set_seconds(30);
  for (const std::string& bytes :
       {Written(reset), Written<RotateAnswer>(answer),
        Written<ModeAnswer>(answer), Written<Parachute>(duration)}) {
    EXPECT_EQ(receiver.Receive(bytes, recorder), Result::kReceived);
  }
  EXPECT_EQ(recorder.called,
            "1 CHANNEL_TOPIC_TYPE_GIMBAL_RESET "
            "zorvik.gimbal.UavResetReqMessage seq: 5; "
            "1 CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP "
            "zorvik.gimbal.UavGimbalRspMessage rlt: 2; "
            "1 CHANNEL_TOPIC_TYPE_GIMBAL_SET_MODE_RSP "
            "zorvik.gimbal.UavGimbalRspMessage rlt: 2; "
            "1 CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION "
            "google.protobuf.Duration seconds: 30; ");
}

TEST(Receiving, TellsWhyNothingIsReceived) {
  const auto envelope = [](int type, int node, const std::string& content) {
    return Tag(1, kVarint) + Varint(type) + Tag(3, kVarint) + Varint(node) +
           content;
  };
  const std::string url = "type.googleapis.com/zorvik.gimbal.";
  const std::string reset =
      Delimited(4, Delimited(1, url + "UavResetReqMessage"));
  const int type = channel::CHANNEL_TOPIC_TYPE_GIMBAL_RESET;
  const struct {
    Result result;
    const char* text;
    std::string bytes;
  } cases[] = {
      {Result::kReceived, "received", envelope(type, 9, reset)},
      {Result::kTooLong, "longer than", std::string(64 * 1024 + 1, '\0')},
      {Result::kNoEnvelope, "no envelope", std::string(64 * 1024, '\0')},
      {Result::kOtherNode, "another node", envelope(type, 10, reset)},
      {Result::kUnknownTopic, "not know", envelope(10418, 9, reset)},
      {Result::kNoContent, "without content", envelope(type, 9, "")},
      {Result::kOtherContent, "another type",
       envelope(type, 9,
                Delimited(4, Delimited(1, url + "UavSetModeReqMessage")))},
      {Result::kMalformedContent, "malformed",
       envelope(type, 9, reset + Delimited(4, Delimited(2, "\xff")))},
  };
  TestReceiver receiver(9);
  for (const auto& c : cases) {
    Recorder recorder;
    EXPECT_EQ(receiver.Receive(c.bytes, recorder), c.result);
    EXPECT_EQ(recorder.called.empty(), c.result != Result::kReceived);
    EXPECT_NE(topics::TextOf(c.result).find(c.text), std::string::npos);
  }
  EXPECT_EQ(receiver.envelope().type_name(),
            "zorvik.gimbal.UavResetReqMessage");
}

TEST(Receiving, TakesWhatItIsTold) {
  Recorder recorder;
  for (const int32_t every_node : {0, 999, -1}) {
    TestReceiver receiver(9);
    const std::string bytes = Written(gimbal::UavResetReqMessage(), every_node);
    EXPECT_EQ(receiver.Receive(bytes, recorder), Result::kOtherNode);
    receiver.set_every_node(every_node);
    EXPECT_EQ(receiver.Receive(bytes, recorder), Result::kReceived);
    receiver.set_longest(bytes.size());
    EXPECT_EQ(receiver.Receive(bytes, recorder), Result::kReceived);
    receiver.set_longest(bytes.size() - 1);
    EXPECT_EQ(receiver.Receive(bytes, recorder), Result::kTooLong);
  }
}

TEST(Memory, IsNotTakenOnceTheTopicIsInUse) {
  char buffer[4096];
  ForEachSettledTopic([&](auto topic) {
    using Topic = decltype(topic);
    using Content = typename Topic::Content;
    SCOPED_TRACE(Content::descriptor()->full_name());
    Content content;
    FillMessage(&content, Fill::kSmall);
    const std::string bytes = WriteByRuntime<Topic>(content, 1, 9);
    topics::Receiver<Content> receiver(9);
    std::string appended;
    const auto work = [&] {
      appended.clear();
      return topics::Write(content, From{1}, To{9}, buffer, sizeof(buffer)) &&
             topics::Append(content, From{1}, To{9}, &appended) &&
             receiver.Receive(bytes,
                              [](const Content&, const topics::Envelope&) {}) ==
                 Result::kReceived;
    };
    const HeapMeter first;
    ASSERT_TRUE(work());
    EXPECT_GT(first.allocations(), 0u);
    const HeapMeter meter;
    for (int i = 0; i < 100; ++i) ASSERT_TRUE(work());
    EXPECT_EQ(meter.allocations(), 0u);
  });
}

// What docs/security.md states for one parse holds for any number of them, also
// where each leaves as much behind as it can.
TEST(Memory, StaysWithinWhatOneParseMayTake) {
  gimbal::UavGimbalRotateReqMessage request;
  // Empty groups of a field that is unknown.
  ASSERT_TRUE(request.mutable_rotationvalue()->ParseFromString(
      Times(10000, Group(5, ""))));
  const std::string bytes = Written(request);
  topics::Receiver<gimbal::UavGimbalRotateReqMessage> receiver(9);
  const HeapMeter meter;
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(receiver.Receive(bytes, [](const auto&, const auto&) {}),
              Result::kReceived);
  }
  EXPECT_GT(meter.peak(), 10 * bytes.size());
  EXPECT_LE(meter.peak(), 100 * bytes.size());
}

}  // namespace
