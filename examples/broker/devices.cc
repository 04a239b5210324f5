#include "devices.h"

#include <array>

#include "gimbal.h"
#include "nodes.h"
#include "throwerMessage.pb.h"
#include "tracerMessage.pb.h"

namespace protocol = zorvik::protocol;
namespace topics = zorvik::topics;

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
    const topics::Result result = receiver_.Receive(
        envelope, [&](const protocol::throwActionMessage& action, const auto&) {
          Release(action.channel_index_active());
          sender->Send(status_);
        });
    if (result != topics::Result::kReceived) {
      transcript_.Say("ignores " + Refusal(result, receiver_.envelope()));
    }
  }

 private:
  void Release(uint32_t index) {
    if (index >= kChannels || loads_[index] == 0) {
      transcript_.Say("has no load in channel " + std::to_string(index));
      return;
    }
    --loads_[index];
    transcript_.Say("releases a load of channel " + std::to_string(index) +
                    ", which has " + std::to_string(loads_[index]) + " left");
    if (loads_[index] == 0) {
      status_.set_current_channel_state(status_.current_channel_state() &
                                        ~(1U << index));
    }
  }

  static constexpr uint32_t kChannels = 8;
  const Transcript transcript_;
  topics::Receiver<protocol::throwActionMessage> receiver_{kThrowerNode};
  protocol::throwerStatusMessage status_;
  std::array<int, kChannels> loads_;
};

// Answers each change of its work mode and measures one frame in it. This
// example's own choice: rlt 0 in the answer is success.
class Tracer : public Device {
 public:
  explicit Tracer(const Transcript& transcript) : transcript_(transcript) {}

  void Handle(const std::string& envelope, ChannelSender* sender) override {
    const topics::Result result = receiver_.Receive(
        envelope, [&](const protocol::TracerWorkModeControlMessage& command,
                      const auto&) { ChangeMode(command, sender); });
    if (result != topics::Result::kReceived) {
      transcript_.Say("ignores " + Refusal(result, receiver_.envelope()));
    }
  }

 private:
  void ChangeMode(const protocol::TracerWorkModeControlMessage& command,
                  ChannelSender* sender) {
    protocol::TracerWorkModeControlRspMessage answer;
    answer.set_seq(command.seq());
    sender->Send(answer);

    protocol::tracerMeasureInfoMessage frame;
    frame.set_framenum(++frames_);
    frame.set_workmode(command.workmode());
    protocol::singleTargetInfo* target = frame.add_tarinfo();
    target->set_tnum(1);
    target->set_tname("example target");
    frame.set_tarnum(static_cast<uint32_t>(frame.tarinfo_size()));
    sender->Send(frame);
  }

  const Transcript transcript_;
  topics::Receiver<protocol::TracerWorkModeControlMessage> receiver_{
      kTracerNode};
  uint32_t frames_ = 0;
};

}  // namespace

std::optional<Payload> MakePayload(const std::string& name,
                                   const Transcript& transcript) {
  if (name == "gimbal") {
    return Payload{
        name, kGimbalNode, zorvik::access::PAYLOAD_GIMBAL,
        topics::TopicOf<
            zorvik::gimbal::UavGimbalAttitudeInformationReport>::kType,
        std::make_unique<GimbalDevice>(transcript)};
  }
  if (name == "thrower") {
    return Payload{name, kThrowerNode, zorvik::access::PAYLOAD_THROWER,
                   topics::TopicOf<protocol::throwerStatusMessage>::kType,
                   std::make_unique<Thrower>(transcript)};
  }
  if (name == "tracer") {
    return Payload{name, kTracerNode, zorvik::access::PAYLOAD_TRACER,
                   topics::TopicOf<protocol::tracerMeasureInfoMessage>::kType,
                   std::make_unique<Tracer>(transcript)};
  }
  return std::nullopt;
}
