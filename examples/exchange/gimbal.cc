#include "gimbal.h"

#include "nodes.h"

namespace channel = zorvik::channel;
namespace gimbal = zorvik::gimbal;

namespace {

// This example's own choice: the numbers of the result code rlt.
enum Result : uint32_t { kDone = 0, kUnknownMode = 1 };

// This example's own choice: UavGimbalRspMessage is the content of the topic
// types of answers. The vocabulary leaves it open.
gimbal::UavGimbalRspMessage AnswerTo(uint32_t seq, Result result) {
  gimbal::UavGimbalRspMessage answer;
  answer.set_seq(seq);
  answer.set_rlt(result);
  return answer;
}

// This example's own choice: angles are in degrees.
void Turn(const gimbal::UavGimbalRotateReqMessage& request,
          gimbal::GimbalAttitude3d* attitude) {
  const gimbal::GimbalAttitude3d& value = request.rotationvalue();
  if (request.rotationmode() ==
      gimbal::UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE) {
    *attitude = value;
    return;
  }
  attitude->set_pitch(attitude->pitch() + value.pitch());
  attitude->set_roll(attitude->roll() + value.roll());
  attitude->set_yaw(attitude->yaw() + value.yaw());
}

}  // namespace

void Gimbal::Handle(const std::string& datagram, ChannelSender* sender) {
  if (!envelope_.ParseFromString(datagram)) {
    Refuse("a datagram of " + std::to_string(datagram.size()) +
           " bytes that is no envelope");
    return;
  }
  if (envelope_.dst_node_id() != kGimbalNode) {
    Refuse("an envelope for node " + std::to_string(envelope_.dst_node_id()));
    return;
  }
  switch (envelope_.topic_type()) {
    case channel::CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE:
      return Rotate(sender);
    case channel::CHANNEL_TOPIC_TYPE_GIMBAL_SET_MODE:
      return SetMode(sender);
    default:
      Refuse(TopicName(envelope_.topic_type()) +
             ", which is not for this node");
  }
}

void Gimbal::Rotate(ChannelSender* sender) {
  gimbal::UavGimbalRotateReqMessage request;
  std::string reason;
  if (!UnpackTopic(envelope_, &request, &reason)) return Refuse(reason);
  // The parser keeps any number in an enum field. A rotation by speed would
  // need a clock, which this gimbal does not have.
  const int mode = request.rotationmode();
  if (mode != gimbal::UAV_GIMBAL_ROTATION_MODE_RELATIVE_ANGLE &&
      mode != gimbal::UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE) {
    sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP,
                 AnswerTo(request.seq(), kUnknownMode));
    return;
  }
  Turn(request, attitude_.mutable_attitude());
  sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP,
               AnswerTo(request.seq(), kDone));
  sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_ATTITUDE_INFO, attitude_);
}

void Gimbal::SetMode(ChannelSender* sender) {
  gimbal::UavSetModeReqMessage request;
  std::string reason;
  if (!UnpackTopic(envelope_, &request, &reason)) return Refuse(reason);
  if (!gimbal::eUAVGimbalMode_IsValid(request.mode())) {
    transcript_.Say("refuses mode " + std::to_string(request.mode()) +
                    ", which eUAVGimbalMode does not declare");
    sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_SET_MODE_RSP,
                 AnswerTo(request.seq(), kUnknownMode));
    return;
  }
  state_.set_gimbalmode(request.mode());
  sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_SET_MODE_RSP,
               AnswerTo(request.seq(), kDone));
  sender->Send(channel::CHANNEL_TOPIC_TYPE_GIMBAL_SYSTEM_INFO, state_);
}

void Gimbal::Refuse(const std::string& reason) const {
  transcript_.Say("ignores " + reason);
}
