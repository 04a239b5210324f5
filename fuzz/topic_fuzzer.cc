// The typed topics of zorvik/topics.h against the protobuf runtime: the same
// envelopes are read, with the same results and contents, and what was read is
// written with the same bytes.
#include <google/protobuf/duration.pb.h>

#include <cstdio>
#include <cstdlib>
#include <set>

#include "check.h"
#include "support/topics.h"

namespace {

namespace channel = zorvik::channel;
namespace topics = zorvik::topics;
using topics::Result;

// An open topic bound to a message from outside of the vocabulary.
using Parachute = topics::Topic<channel::CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION,
                                google::protobuf::Duration>;

// Says at the end whether all settled topics were in it: make_seeds writes an
// envelope for each.
std::set<int>& PassedTopics() {
  static auto* const passed = [] {
    std::atexit([] {
      const bool all = PassedTopics().size() == CarriedMessages().size();
      std::fprintf(stderr, "%s settled topics have passed\n",
                   all ? "all" : "only some");
    });
    return new std::set<int>;
  }();
  return *passed;
}

template <typename Topic>
void CheckTopic(topics::Bytes bytes, const topics::Envelope& view,
                const channel::channelTopicMessage& envelope) {
  using Content = typename Topic::Content;
  // Kept from one input to the next: nothing of the one before may be left.
  static Content& kept = *new Content;
  static auto& receiver = *new topics::Receiver<Topic>(0);
  static std::string& written = *new std::string;
  if (envelope.topic_type() != Topic::kType) {
    Require(view.Read<Topic>(&kept) == Result::kUnknownTopic, "topic",
            envelope);
    return;
  }
  // As the input before left it.
  static size_t left = 0;
  Require(kept.ByteSizeLong() == left, "kept content", envelope);
  Content expected;
  const Result result = ReadByRuntime<Topic>(envelope, &expected);
  Require(view.Read<Topic>(&kept) == result, "result", envelope);
  left = kept.ByteSizeLong();
  const std::string content = expected.SerializeAsString();
  receiver.set_every_node(envelope.dst_node_id());
  const auto check = [&](const Content& received, const topics::Envelope&) {
    RequireSame(received.SerializeAsString(), content, "received content",
                envelope);
  };
  Require(receiver.Receive(bytes, check) == result, "received result",
          envelope);
  if (result != Result::kReceived) return;
  RequireSame(kept.SerializeAsString(), content, "content", envelope);
  written.clear();
  topics::Append<Topic>(kept, topics::From{view.source()},
                        topics::To{view.destination()}, &written);
  RequireSame(written,
              WriteByRuntime<Topic>(kept, view.source(), view.destination()),
              "written bytes", envelope);
  std::string buffer(written.size(), '\0');
  Require(topics::Write<Topic>(kept, topics::From{view.source()},
                               topics::To{view.destination()}, &buffer[0],
                               buffer.size())
              .fits,
          "room in a buffer", envelope);
  RequireSame(buffer, written, "bytes in a buffer", envelope);
  if constexpr (!std::is_same_v<Topic, Parachute>) {
    PassedTopics().insert(Topic::kType);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static topics::Envelope& view = *new topics::Envelope;
  channel::channelTopicMessage envelope;
  // As the input before left it.
  static int left = 0;
  Require(view.topic_type() == left, "kept view", envelope);
  const bool parsed = envelope.ParseFromArray(data, static_cast<int>(size));
  Require(view.Open({data, size}) == parsed, "envelope", envelope);
  left = view.topic_type();
  if (!parsed) return 0;
  Require(view.topic_type() == envelope.topic_type() &&
              view.source() == envelope.src_node_id() &&
              view.destination() == envelope.dst_node_id() &&
              view.value() == envelope.data().value(),
          "fields", envelope);
  std::string name;
  google::protobuf::Any::ParseAnyTypeUrl(envelope.data().type_url(), &name);
  Require(view.type_name() == name, "name", envelope);
  ForEachSettledTopic([&](auto topic) {
    CheckTopic<decltype(topic)>({data, size}, view, envelope);
  });
  CheckTopic<Parachute>({data, size}, view, envelope);
  return 0;
}
