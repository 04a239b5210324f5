// A simulated gimbal: it answers commands and keeps an attitude.
#ifndef EXAMPLES_EXCHANGE_GIMBAL_H_
#define EXAMPLES_EXCHANGE_GIMBAL_H_

#include <cstdint>
#include <string>

#include "channel.h"
#include "gimbalMessage.pb.h"

class Gimbal {
 public:
  explicit Gimbal(const Transcript& transcript) : transcript_(transcript) {}

  // Handles one datagram. Answers requests through the sender; says in one line
  // why it ignores anything else.
  void Handle(const std::string& datagram, ChannelSender* sender);

 private:
  void Rotate(ChannelSender* sender);
  void SetMode(ChannelSender* sender);
  void Refuse(const std::string& reason) const;

  const Transcript transcript_;
  zorvik::channel::channelTopicMessage envelope_;  // The one being handled.
  zorvik::gimbal::UavGimbalAttitudeInformationReport attitude_;
  zorvik::gimbal::UavGimbalSystemStateReport state_;
};

#endif  // EXAMPLES_EXCHANGE_GIMBAL_H_
