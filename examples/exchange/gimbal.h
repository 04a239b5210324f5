// A simulated gimbal: it answers commands and keeps an attitude.
#ifndef EXAMPLES_EXCHANGE_GIMBAL_H_
#define EXAMPLES_EXCHANGE_GIMBAL_H_

#include <string>

#include "channel.h"
#include "gimbalMessage.pb.h"
#include "nodes.h"

// This example's own choice: UavGimbalRspMessage is the content of the topic
// types of answers. The vocabulary leaves it open.
using RotateAnswer =
    zorvik::topics::AnswerTo<zorvik::gimbal::UavGimbalRotateReqMessage,
                             zorvik::gimbal::UavGimbalRspMessage>;
using SetModeAnswer =
    zorvik::topics::AnswerTo<zorvik::gimbal::UavSetModeReqMessage,
                             zorvik::gimbal::UavGimbalRspMessage>;

class Gimbal {
 public:
  explicit Gimbal(const Transcript& transcript) : transcript_(transcript) {}

  // Handles one datagram. Answers requests through the sender; says in one line
  // why it ignores anything else.
  void Handle(const std::string& datagram, ChannelSender* sender);

 private:
  void Rotate(const zorvik::gimbal::UavGimbalRotateReqMessage& request,
              ChannelSender* sender);
  void SetMode(const zorvik::gimbal::UavSetModeReqMessage& request,
               ChannelSender* sender);

  const Transcript transcript_;
  zorvik::topics::Receiver<zorvik::gimbal::UavGimbalRotateReqMessage,
                           zorvik::gimbal::UavSetModeReqMessage>
      receiver_{kGimbalNode};
  zorvik::gimbal::UavGimbalAttitudeInformationReport attitude_;
  zorvik::gimbal::UavGimbalSystemStateReport state_;
};

#endif  // EXAMPLES_EXCHANGE_GIMBAL_H_
