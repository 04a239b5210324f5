// The payloads of the broker example: what each does with an envelope that is
// meant for it.
#ifndef EXAMPLES_BROKER_DEVICES_H_
#define EXAMPLES_BROKER_DEVICES_H_

#include <memory>
#include <optional>
#include <string>

#include "accessMessage.pb.h"
#include "channel.h"
#include "transcript.h"

class Device {
 public:
  virtual ~Device() = default;
  virtual void Handle(const std::string& envelope, ChannelSender* sender) = 0;
};

struct Payload {
  std::string name;
  int node;
  zorvik::access::payloadType type;
  // The topic type whose reports are its state.
  zorvik::channel::channelTopicType state_topic;
  std::unique_ptr<Device> device;
};

// "gimbal", "thrower" or "tracer". Nothing for another name.
std::optional<Payload> MakePayload(const std::string& name,
                                   const Transcript& transcript);

#endif  // EXAMPLES_BROKER_DEVICES_H_
