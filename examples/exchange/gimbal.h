// A gimbal that exists on paper only: it answers commands and keeps an
// attitude.
#ifndef EXAMPLES_EXCHANGE_GIMBAL_H_
#define EXAMPLES_EXCHANGE_GIMBAL_H_

#include <cstdint>
#include <string>

#include "channel.h"
#include "gimbalMessage.pb.h"

class Gimbal {
 public:
  explicit Gimbal(const Transcript& transcript) : transcript_(transcript) {}

  // Handles one datagram. Answers through the sender what asks for an answer;
  // says in one line what it makes nothing of.
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
