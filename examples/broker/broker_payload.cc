// A payload on a broker: it registers, sends heartbeats, and carries out
// commands until SIGINT or SIGTERM.
#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>

#include "accessMessage.pb.h"
#include "devices.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "program.h"
#include "topics.h"

namespace {

namespace access = zorvik::access;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kAskAgain(500);
constexpr std::chrono::milliseconds kHeartbeat(1000);
// How often it looks for a signal; how long nothing comes before it leaves, and
// when it gives up.
constexpr std::chrono::milliseconds kLook(100);
constexpr std::chrono::milliseconds kQuiet(20);
constexpr std::chrono::seconds kLeave(4);

volatile std::sig_atomic_t stop = 0;
void Stop(int) { stop = 1; }

// This example's own choice: the payload itself says whether it is online, and
// leaves the fields that the registry assigns at 0.
Presence PresenceOf(const Payload& payload, const std::string& aircraft) {
  access::payloadInfo info;
  info.set_payload_type(payload.type);
  Presence presence{TopicOf(aircraft, payload.node, "online"), "",
                    info.SerializeAsString()};
  info.set_is_online(1);
  presence.connected = info.SerializeAsString();
  return presence;
}

class Node {
 public:
  Node(const Arguments& arguments, Payload payload,
       const Transcript& transcript)
      : aircraft_(arguments.aircraft),
        payload_(std::move(payload)),
        transcript_(transcript),
        client_(arguments.broker, aircraft_ + "-" + payload_.name,
                PresenceOf(payload_, aircraft_)),
        sender_(
            payload_.node, kGroundNode,
            [this](auto topic, const std::string& bytes) {
              Send(topic, bytes);
            },
            transcript_) {
    client_.Subscribe(Topic("registered"));
    client_.Subscribe(Topic("in"));
  }

  // Ends once it was stopped, has carried out what had arrived, and the broker
  // has what it sent.
  void Live() {
    std::optional<Clock::time_point> end;
    while (!end || Clock::now() < *end) {
      if (stop != 0 && !end) end = Clock::now() + kLeave;
      Repeat();
      if (const auto publication = client_.Receive(end ? kQuiet : kLook)) {
        Handle(*publication);
      } else if (end && client_.Flush(std::chrono::milliseconds(0))) {
        transcript_.Say("sent " + std::to_string(sent_) +
                        " envelopes, received " + std::to_string(received_));
        return;
      }
    }
    throw std::runtime_error("cannot finish in time");
  }

 private:
  std::string Topic(const std::string& what) const {
    return TopicOf(aircraft_, payload_.node, what);
  }

  // Asks to be registered until there is an answer: what is published before
  // anybody has subscribed is lost. After that, sends heartbeats.
  void Repeat() {
    if (Clock::now() < next_) return;
    if (id_ == 0) {
      access::payloadReqMessage request;
      request.set_src_id(payload_.node);
      request.set_payload_type(payload_.type);
      request.set_product_alias("example " + payload_.name);
      client_.Publish(Topic("register"), request.SerializeAsString());
      next_ = Clock::now() + kAskAgain;
    } else {
      // This example's own choice: the interval is in milliseconds.
      access::heartbeatMessage heartbeat;
      heartbeat.set_src_node_id(payload_.node);
      heartbeat.set_time_interval(kHeartbeat.count());
      client_.Publish(Topic("heartbeat"), heartbeat.SerializeAsString());
      next_ = Clock::now() + kHeartbeat;
    }
  }

  void Handle(const Publication& publication) {
    if (publication.topic == Topic("registered")) {
      access::payloadRspMessage answer;
      if (id_ != 0 || !answer.ParseFromString(publication.bytes) ||
          answer.payload_id() == 0) {
        return;
      }
      id_ = answer.payload_id();
      next_ = Clock::now();
      transcript_.Say("is payload " + std::to_string(id_));
    } else if (publication.repeated) {
      // Only the transport can tell a repetition from a second command: both
      // may have the same bytes, as not every command has a seq.
      transcript_.Say("has had this command already");
    } else {
      ++received_;
      payload_.device->Handle(publication.bytes, &sender_);
    }
  }

  void Send(zorvik::channel::channelTopicType topic, const std::string& bytes) {
    // The state first, so that it is kept before the report arrives.
    if (topic == payload_.state_topic) {
      client_.Publish(Topic("state"), bytes, /*retained=*/true);
    }
    client_.Publish(Topic("out"), bytes);
    ++sent_;
  }

  const std::string aircraft_;
  const Payload payload_;
  const Transcript transcript_;
  MqttClient client_;
  ChannelSender sender_;
  int id_ = 0;  // 0 until it is registered.
  Clock::time_point next_ = Clock::now();
  int sent_ = 0;
  int received_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(
      argc, argv, "gimbal|thrower|tracer",
      "A payload on a broker: it registers, sends heartbeats, and carries out\n"
      "commands until it is stopped, with Ctrl-C or SIGTERM.",
      [](const Arguments& arguments) {
        if (arguments.words.size() != 1) throw WrongUse("takes one payload");
        const Transcript transcript(arguments.words[0]);
        auto payload = MakePayload(arguments.words[0], transcript);
        if (!payload) throw WrongUse("no payload is " + arguments.words[0]);
        std::signal(SIGINT, &Stop);
        std::signal(SIGTERM, &Stop);
        Node(arguments, *std::move(payload), transcript).Live();
      });
}
