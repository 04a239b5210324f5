// A ground station on a broker: registers payloads, commands them, and counts
// what comes back.
#include <chrono>
#include <map>
#include <set>

#include "accessMessage.pb.h"
#include "gimbal.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "program.h"
#include "throwerMessage.pb.h"
#include "topics.h"
#include "tracerMessage.pb.h"

namespace {

namespace access = zorvik::access;
namespace gimbal = zorvik::gimbal;
namespace protocol = zorvik::protocol;
namespace topics = zorvik::topics;
using Clock = std::chrono::steady_clock;

constexpr size_t kPayloads = 3;
constexpr std::chrono::seconds kPatience(20);

// A topic that is to come from a node.
template <int from, typename T>
struct Expected {
  static constexpr int kNode = from;
  using Topic = topics::TopicOf<T>;
};

class Ground {
 public:
  explicit Ground(const Arguments& arguments)
      : aircraft_(arguments.aircraft),
        client_(arguments.broker, aircraft_ + "-ground") {
    for (const char* what : {"register", "heartbeat", "online", "out"}) {
      client_.Subscribe(TopicOf(aircraft_, "+", what));
    }
  }

  // Returns once the payloads are registered and alive.
  void AwaitPayloads() {
    const auto deadline = Clock::now() + kPatience;
    while (alive_.size() < kPayloads) {
      if (!Next(deadline)) {
        throw std::runtime_error(std::to_string(alive_.size()) + " of " +
                                 std::to_string(kPayloads) +
                                 " payloads are there");
      }
    }
  }

  void Command(uint32_t seq) {
    gimbal::UavGimbalRotateReqMessage rotate;
    rotate.set_seq(seq);
    rotate.mutable_rotationvalue()->set_yaw(10);
    Send(kGimbalNode, rotate);

    protocol::throwActionMessage action;
    action.set_channel_index_active(seq);
    Send(kThrowerNode, action);

    protocol::TracerWorkModeControlMessage control;
    control.set_seq(seq);
    control.set_workmode(seq);
    Send(kTracerNode, control);

    ExpectOneEach<
        Expected<kGimbalNode, RotateAnswer>,
        Expected<kGimbalNode, gimbal::UavGimbalAttitudeInformationReport>,
        Expected<kThrowerNode, protocol::throwerStatusMessage>,
        Expected<kTracerNode, protocol::TracerWorkModeControlRspMessage>,
        Expected<kTracerNode, protocol::tracerMeasureInfoMessage>>(seq);
  }

  // Two equal commands, byte for byte: a thrower's command has no seq. They are
  // two releases and not one that came twice.
  void ReleaseTwice(uint32_t thrower_channel) {
    protocol::throwActionMessage action;
    action.set_channel_index_active(thrower_channel);
    for (int i = 0; i < 2; ++i) {
      Send(kThrowerNode, action);
      ExpectOneEach<Expected<kThrowerNode, protocol::throwerStatusMessage>>(0);
    }
  }

  void Sum() const {
    transcript_.Say("sent " + std::to_string(sent_) + " envelopes, received " +
                    std::to_string(received_));
  }

 private:
  // Handles one publication, and returns it. Nothing when none comes in time.
  std::optional<Publication> Next(Clock::time_point deadline) {
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(
        std::max(deadline - Clock::now(), Clock::duration(0)));
    auto publication = client_.Receive(wait);
    if (!publication) return std::nullopt;
    const Place place = PlaceOf(publication->topic);
    if (place.what == "register") {
      Register(place.node, publication->bytes);
    } else if (place.what == "heartbeat") {
      access::heartbeatMessage heartbeat;
      if (heartbeat.ParseFromString(publication->bytes) &&
          heartbeat.src_node_id() == place.node && ids_.count(place.node) > 0) {
        alive_.insert(place.node);
      }
    } else if (place.what == "online") {
      access::payloadInfo info;
      if (info.ParseFromString(publication->bytes) && info.is_online() == 0 &&
          ids_.count(place.node) > 0) {
        throw std::runtime_error("node " + std::to_string(place.node) +
                                 " is gone");
      }
    }
    return publication;
  }

  // One that asks again keeps its id.
  void Register(int node, const std::string& bytes) {
    access::payloadReqMessage request;
    if (node == 0 || !request.ParseFromString(bytes) ||
        request.src_id() != node) {
      transcript_.Say("ignores a registration under node " +
                      std::to_string(node));
      return;
    }
    const int next_id = static_cast<int>(ids_.size()) + 1;
    const int id = ids_.emplace(node, next_id).first->second;
    access::payloadRspMessage answer;
    answer.set_payload_id(id);
    client_.Publish(TopicOf(aircraft_, node, "registered"),
                    answer.SerializeAsString());
    transcript_.Say("registers " + request.product_alias() + " as payload " +
                    std::to_string(id));
  }

  template <typename Message>
  void Send(int node, const Message& command) {
    ChannelSender(
        kGroundNode, node,
        [&](auto, const std::string& bytes) {
          client_.Publish(TopicOf(aircraft_, node, "in"), bytes);
        },
        transcript_)
        .Send(command);
    ++sent_;
  }

  // Waits for one envelope of each, in any order: the order between different
  // payloads is open. Answers have to echo the seq. Whatever else comes is
  // ignored; anybody may send it who may publish.
  template <typename... Each>
  void ExpectOneEach(uint32_t seq) {
    const auto deadline = Clock::now() + kPatience;
    std::map<int, int> missing = {{Each::Topic::kType, Each::kNode}...};
    topics::Receiver<typename Each::Topic...> receiver(kGroundNode);
    std::string fault;
    uint32_t rlt = 0;
    const auto check_answer = [&](const auto& answer) {
      if (answer.seq() != seq) {
        fault = "answers seq " + std::to_string(answer.seq());
      }
      rlt = answer.rlt();
    };
    const topics::Overloads check{
        [&](const gimbal::UavGimbalRspMessage& answer,
            const topics::Envelope&) { check_answer(answer); },
        [&](const protocol::TracerWorkModeControlRspMessage& answer,
            const topics::Envelope&) { check_answer(answer); },
        [](const auto&, const topics::Envelope&) {}};

    while (!missing.empty()) {
      const auto publication = Next(deadline);
      if (!publication) {
        throw std::runtime_error("no " + TopicName(missing.begin()->first) +
                                 " comes");
      }
      const Place place = PlaceOf(publication->topic);
      if (place.what != "out" || publication->repeated) continue;
      fault.clear();
      rlt = 0;
      const topics::Result result = receiver.Receive(publication->bytes, check);
      const topics::Envelope& envelope = receiver.envelope();
      if (result != topics::Result::kReceived) {
        fault = "sends " + Refusal(result, envelope);
      } else if (envelope.source() != place.node) {
        fault = "sends as node " + std::to_string(envelope.source());
      } else if (fault.empty()) {
        const auto found = missing.find(envelope.topic_type());
        if (found != missing.end() && found->second == place.node) {
          if (rlt != 0) {
            throw std::runtime_error("node " + std::to_string(place.node) +
                                     " refuses seq " + std::to_string(seq) +
                                     " with rlt " + std::to_string(rlt));
          }
          missing.erase(found);
          ++received_;
          continue;
        }
        fault = "sends " + TopicName(envelope.topic_type());
      }
      transcript_.Say("ignores node " + std::to_string(place.node) +
                      ", which " + fault);
    }
  }

  const std::string aircraft_;
  const Transcript transcript_{"ground"};
  MqttClient client_;
  std::map<int, int> ids_;  // By node.
  std::set<int> alive_;
  int sent_ = 0;
  int received_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(
      argc, argv, "COMMANDS",
      "A ground station on a broker: it registers a gimbal, a thrower and a\n"
      "tracer, sends this number of commands to each of them, and ends.",
      [](const Arguments& arguments) {
        if (arguments.words.size() != 1) throw WrongUse("takes one number");
        const uint32_t count = Number(arguments.words[0], 1, 1000, "COMMANDS");
        Ground ground(arguments);
        ground.AwaitPayloads();
        for (uint32_t seq = 1; seq <= count; ++seq) ground.Command(seq);
        ground.ReleaseTwice(/*thrower_channel=*/7);
        ground.Sum();
      });
}
