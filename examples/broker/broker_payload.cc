// A payload on a broker: it registers, sends a heartbeat, and carries out
// commands until the ground station sends no more of them.
#include <stdexcept>

#include "accessMessage.pb.h"
#include "devices.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "program.h"
#include "topics.h"

namespace {

namespace access = zorvik::access;

// Repeats the request until it is answered: what is published before anybody
// has subscribed is lost. Returns the payload id.
int Register(const Payload& payload, const std::string& aircraft,
             MqttClient* client) {
  access::payloadReqMessage request;
  request.set_src_id(payload.node);
  request.set_payload_type(payload.type);
  request.set_product_alias("example " + payload.name);
  for (int tries = 0; tries < 20; ++tries) {
    client->Publish(TopicOf(aircraft, payload.node, "register"),
                    request.SerializeAsString());
    const auto answer = client->Receive(std::chrono::milliseconds(500));
    access::payloadRspMessage registered;
    if (answer &&
        answer->topic == TopicOf(aircraft, payload.node, "registered") &&
        registered.ParseFromString(answer->bytes)) {
      return registered.payload_id();
    }
  }
  throw std::runtime_error("no answer to the registration");
}

void Live(const Payload& payload, const std::string& aircraft,
          const Transcript& transcript, MqttClient* client) {
  int sent = 0;
  ChannelSender sender(
      payload.node, kGroundNode,
      [&](zorvik::channel::channelTopicType topic, const std::string& bytes) {
        // The state first, so that it is kept before the report arrives.
        if (topic == payload.state_topic) {
          client->Publish(TopicOf(aircraft, payload.node, "state"), bytes,
                          /*retained=*/true);
        }
        client->Publish(TopicOf(aircraft, payload.node, "out"), bytes);
        ++sent;
      },
      transcript);

  int received = 0;
  while (const auto command = client->Receive(std::chrono::seconds(2))) {
    if (command->topic != TopicOf(aircraft, payload.node, "in")) continue;
    // Only the transport can tell a repetition from a second command: both may
    // have the same bytes, as not every command has a seq.
    if (command->repeated) {
      transcript.Say("has had this command already");
      continue;
    }
    ++received;
    payload.device->Handle(command->bytes, &sender);
  }
  if (!client->Flush(std::chrono::seconds(5))) {
    throw std::runtime_error("the broker does not take the last envelopes");
  }
  transcript.Say("sent " + std::to_string(sent) + " envelopes, received " +
                 std::to_string(received));
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(
      argc, argv, "gimbal|thrower|tracer",
      [](uint16_t port, const std::string& name) {
        const std::string aircraft = "aircraft-1";
        const Transcript transcript(name);
        const Payload payload = MakePayload(name, transcript);
        MqttClient client(name, port);
        client.Subscribe(TopicOf(aircraft, payload.node, "registered"));
        client.Subscribe(TopicOf(aircraft, payload.node, "in"));

        const int id = Register(payload, aircraft, &client);
        access::heartbeatMessage heartbeat;
        heartbeat.set_src_node_id(payload.node);
        client.Publish(TopicOf(aircraft, payload.node, "heartbeat"),
                       heartbeat.SerializeAsString());
        transcript.Say("is payload " + std::to_string(id));
        Live(payload, aircraft, transcript, &client);
      });
}
