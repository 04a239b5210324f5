// A ground station on a broker: registers payloads, commands them, and counts
// what comes back.
#include <map>
#include <set>
#include <stdexcept>

#include "accessMessage.pb.h"
#include "gimbal.h"
#include "mqtt_client.h"
#include "program.h"
#include "throwerMessage.pb.h"
#include "topics.h"
#include "tracerMessage.pb.h"

namespace {

namespace access = zorvik::access;
namespace gimbal = zorvik::gimbal;
namespace protocol = zorvik::protocol;
namespace topics = zorvik::topics;

constexpr int kPayloads = 3;
constexpr std::chrono::seconds kPatience(10);

class Ground {
 public:
  Ground(MqttClient* client, std::string aircraft)
      : client_(client), aircraft_(std::move(aircraft)) {
    for (const char* what : {"register", "heartbeat", "out"}) {
      client_->Subscribe(TopicOf(aircraft_, "+", what));
    }
  }

  void RegisterPayloads() {
    std::map<int, int> ids;  // By node; one that asks again keeps its id.
    std::set<int> alive;
    while (alive.size() < kPayloads) {
      const Publication publication = Next();
      access::payloadReqMessage request;
      access::heartbeatMessage heartbeat;
      if (EndsIn(publication.topic, "/register") &&
          request.ParseFromString(publication.bytes)) {
        access::payloadRspMessage answer;
        answer.set_payload_id(
            ids.emplace(request.src_id(), static_cast<int>(ids.size()) + 1)
                .first->second);
        client_->Publish(TopicOf(aircraft_, request.src_id(), "registered"),
                         answer.SerializeAsString());
        transcript_.Say("registers " + request.product_alias());
      } else if (EndsIn(publication.topic, "/heartbeat") &&
                 heartbeat.ParseFromString(publication.bytes)) {
        alive.insert(heartbeat.src_node_id());
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

    ExpectOneEach<RotateAnswer, gimbal::UavGimbalAttitudeInformationReport,
                  protocol::throwerStatusMessage,
                  protocol::TracerWorkModeControlRspMessage,
                  protocol::tracerMeasureInfoMessage>();
  }

  // Two equal commands, byte for byte: a thrower's command has no seq. They are
  // two releases and not one that came twice.
  void ReleaseTwice(uint32_t thrower_channel) {
    protocol::throwActionMessage action;
    action.set_channel_index_active(thrower_channel);
    for (int i = 0; i < 2; ++i) {
      Send(kThrowerNode, action);
      ExpectOneEach<protocol::throwerStatusMessage>();
    }
  }

  void Sum() const {
    transcript_.Say("sent " + std::to_string(sent_) + " envelopes, received " +
                    std::to_string(received_));
  }

  const Transcript& transcript() const { return transcript_; }

 private:
  static bool EndsIn(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
  }

  Publication Next() {
    auto publication = client_->Receive(kPatience);
    if (!publication) throw std::runtime_error("nothing comes any more");
    return *std::move(publication);
  }

  template <typename Message>
  void Send(int node, const Message& command) {
    ChannelSender(
        kGroundNode, node,
        [&](auto, const std::string& bytes) {
          client_->Publish(TopicOf(aircraft_, node, "in"), bytes);
        },
        transcript_)
        .Send(command);
    ++sent_;
  }

  // The order between the answers of different payloads is open.
  template <typename... Topics>
  void ExpectOneEach() {
    std::set<int> missing = {topics::TopicOf<Topics>::kType...};
    topics::Receiver<Topics...> receiver(kGroundNode);
    while (!missing.empty()) {
      const Publication publication = Next();
      if (!EndsIn(publication.topic, "/out") || publication.repeated) continue;
      const topics::Result result = receiver.Receive(
          publication.bytes, [](const auto&, const topics::Envelope&) {});
      if (result != topics::Result::kReceived ||
          missing.erase(receiver.envelope().topic_type()) == 0) {
        throw std::runtime_error("did not expect " +
                                 Refusal(result, receiver.envelope()));
      }
      ++received_;
    }
  }

  MqttClient* const client_;
  const std::string aircraft_;
  const Transcript transcript_{"ground"};
  int sent_ = 0;
  int received_ = 0;
};

// Subscribes after the last command, and still gets the state of every payload.
void ShowLastStates(uint16_t port, const std::string& aircraft) {
  const Transcript transcript("latecomer");
  MqttClient client("latecomer", port);
  client.Subscribe(TopicOf(aircraft, "+", "state"));
  topics::Receiver<gimbal::UavGimbalAttitudeInformationReport,
                   protocol::throwerStatusMessage,
                   protocol::tracerMeasureInfoMessage>
      receiver(kGroundNode);
  const auto show = [&](const auto& report, const topics::Envelope& envelope) {
    transcript.Say("finds " + TopicName(envelope.topic_type()) + "\n    " +
                   Json(report));
  };
  for (int i = 0; i < kPayloads; ++i) {
    const auto state = client.Receive(kPatience);
    if (!state ||
        receiver.Receive(state->bytes, show) != topics::Result::kReceived) {
      throw std::runtime_error("a last state is missing");
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(argc, argv, "COMMANDS_TO_EACH_PAYLOAD",
                    [](uint16_t port, const std::string& commands) {
                      const std::string aircraft = "aircraft-1";
                      MqttClient client("ground", port);
                      Ground ground(&client, aircraft);
                      ground.RegisterPayloads();
                      const int count = std::stoi(commands);
                      for (int seq = 1; seq <= count; ++seq) {
                        ground.Command(static_cast<uint32_t>(seq));
                      }
                      ground.ReleaseTwice(/*thrower_channel=*/7);
                      ShowLastStates(port, aircraft);
                      ground.Sum();
                    });
}
