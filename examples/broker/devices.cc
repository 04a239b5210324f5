#include "devices.h"

#include <array>
#include <stdexcept>

#include "gimbal.h"
#include "nodes.h"
#include "throwerMessage.pb.h"
#include "tracerMessage.pb.h"

namespace channel = zorvik::channel;
namespace protocol = zorvik::protocol;

namespace {

// The gimbal of the exchange without a broker.
class GimbalDevice : public Device {
 public:
  explicit GimbalDevice(const Transcript& transcript) : gimbal_(transcript) {}
  void Handle(const std::string& envelope, ChannelSender* sender) override {
    gimbal_.Handle(envelope, sender);
  }

 private:
  Gimbal gimbal_;
};

// Unpacks the one command that a device knows. False, with a line that says
// why, for anything else.
bool UnpackCommand(const std::string& bytes, int node,
                   channel::channelTopicType topic,
                   google::protobuf::Message* command,
                   const Transcript& transcript) {
  channel::channelTopicMessage envelope;
  std::string reason = "bytes that are no envelope";
  if (envelope.ParseFromString(bytes)) {
    if (envelope.dst_node_id() != node) {
      reason = "an envelope for node " + std::to_string(envelope.dst_node_id());
    } else if (envelope.topic_type() != topic) {
      reason = TopicName(envelope.topic_type()) + ", not for this node";
    } else if (UnpackTopic(envelope, command, &reason)) {
      return true;
    }
  }
  transcript.Say("ignores " + reason);
  return false;
}

// This example's own choice: eight channels, counted from 0, each with two
// loads at first; in the words of the status one bit for each channel, lowest
// first, which is set while the channel has a load; and a status after each
// command.
class Thrower : public Device {
 public:
  explicit Thrower(const Transcript& transcript) : transcript_(transcript) {
    status_.set_type("example thrower");
    status_.set_multi_channel_num(kChannels);
    status_.set_channel_valid_state((1U << kChannels) - 1);
    status_.set_current_channel_state((1U << kChannels) - 1);
    loads_.fill(2);
  }

  void Handle(const std::string& envelope, ChannelSender* sender) override {
    protocol::throwActionMessage action;
    if (!UnpackCommand(envelope, kThrowerNode,
                       channel::CHANNEL_TOPIC_TYPE_THROWER_ACTION, &action,
                       transcript_)) {
      return;
    }
    const uint32_t index = action.channel_index_active();
    if (index < kChannels && loads_[index] > 0) {
      --loads_[index];
      transcript_.Say("releases a load of channel " + std::to_string(index) +
                      ", which has " + std::to_string(loads_[index]) + " left");
      if (loads_[index] == 0) {
        status_.set_current_channel_state(status_.current_channel_state() &
                                          ~(1U << index));
      }
    } else {
      transcript_.Say("has no load in channel " + std::to_string(index));
    }
    sender->Send(channel::CHANNEL_TOPIC_TYPE_THROWER_STATUS, status_);
  }

 private:
  static constexpr uint32_t kChannels = 8;
  const Transcript transcript_;
  protocol::throwerStatusMessage status_;
  std::array<int, kChannels> loads_;
};

// Answers each change of its work mode and measures one frame in it. This
// example's own choice: rlt 0 in the answer is success.
class Tracer : public Device {
 public:
  explicit Tracer(const Transcript& transcript) : transcript_(transcript) {}

  void Handle(const std::string& envelope, ChannelSender* sender) override {
    protocol::TracerWorkModeControlMessage command;
    if (!UnpackCommand(envelope, kTracerNode,
                       channel::CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL,
                       &command, transcript_)) {
      return;
    }
    protocol::TracerWorkModeControlRspMessage answer;
    answer.set_seq(command.seq());
    sender->Send(channel::CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL_RSP,
                 answer);

    protocol::tracerMeasureInfoMessage frame;
    frame.set_framenum(++frames_);
    frame.set_workmode(command.workmode());
    protocol::singleTargetInfo* target = frame.add_tarinfo();
    target->set_tnum(1);
    target->set_tname("example target");
    frame.set_tarnum(static_cast<uint32_t>(frame.tarinfo_size()));
    sender->Send(channel::CHANNEL_TOPIC_TYPE_TRACER_MEASURE_INFO, frame);
  }

 private:
  const Transcript transcript_;
  uint32_t frames_ = 0;
};

}  // namespace

Payload MakePayload(const std::string& name, const Transcript& transcript) {
  if (name == "gimbal") {
    return {name, kGimbalNode, zorvik::access::PAYLOAD_GIMBAL,
            channel::CHANNEL_TOPIC_TYPE_GIMBAL_ATTITUDE_INFO,
            std::make_unique<GimbalDevice>(transcript)};
  }
  if (name == "thrower") {
    return {name, kThrowerNode, zorvik::access::PAYLOAD_THROWER,
            channel::CHANNEL_TOPIC_TYPE_THROWER_STATUS,
            std::make_unique<Thrower>(transcript)};
  }
  if (name == "tracer") {
    return {name, kTracerNode, zorvik::access::PAYLOAD_TRACER,
            channel::CHANNEL_TOPIC_TYPE_TRACER_MEASURE_INFO,
            std::make_unique<Tracer>(transcript)};
  }
  throw std::runtime_error("no payload is called " + name);
}
