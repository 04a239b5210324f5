// Subscribes after the last command, and still gets the state of every payload.
#include <set>

#include "channel.h"
#include "gimbalMessage.pb.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "program.h"
#include "throwerMessage.pb.h"
#include "topics.h"
#include "tracerMessage.pb.h"

namespace {

namespace topics = zorvik::topics;

constexpr size_t kPayloads = 3;
constexpr std::chrono::seconds kPatience(10);

void ShowLastStates(const Arguments& arguments) {
  const Transcript transcript("latecomer");
  MqttClient client(arguments.broker, arguments.aircraft + "-latecomer");
  client.Subscribe(TopicOf(arguments.aircraft, "+", "state"));
  topics::Receiver<zorvik::gimbal::UavGimbalAttitudeInformationReport,
                   zorvik::protocol::throwerStatusMessage,
                   zorvik::protocol::tracerMeasureInfoMessage>
      receiver(kGroundNode);
  std::set<int> found;
  const auto show = [&](const auto& report, const topics::Envelope& envelope) {
    found.insert(envelope.source());
    transcript.Say("finds " + TopicName(envelope.topic_type()) + "\n    " +
                   Json(report));
  };
  while (found.size() < kPayloads) {
    const auto state = client.Receive(kPatience);
    if (!state) throw std::runtime_error("a last state is missing");
    const topics::Result result = receiver.Receive(state->bytes, show);
    if (result != topics::Result::kReceived) {
      transcript.Say("ignores " + Refusal(result, receiver.envelope()));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  return RunProgram(
      argc, argv, "",
      "Shows the last state of each of the three payloads, which the broker\n"
      "has kept.",
      [](const Arguments& arguments) {
        if (!arguments.words.empty()) throw WrongUse("takes options alone");
        ShowLastStates(arguments);
      });
}
