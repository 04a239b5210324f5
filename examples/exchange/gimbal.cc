#include "gimbal.h"

namespace gimbal = zorvik::gimbal;
namespace topics = zorvik::topics;

namespace {

// This example's own choice: the numbers of the result code rlt.
enum Result : uint32_t { kDone = 0, kUnknownMode = 1 };

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
  const topics::Result result = receiver_.Receive(
      datagram,
      topics::Overloads{[&](const gimbal::UavGimbalRotateReqMessage& request,
                            const auto&) { Rotate(request, sender); },
                        [&](const gimbal::UavSetModeReqMessage& request,
                            const auto&) { SetMode(request, sender); }});
  if (result != topics::Result::kReceived) {
    transcript_.Say("ignores " + Refusal(result, receiver_.envelope()));
  }
}

void Gimbal::Rotate(const gimbal::UavGimbalRotateReqMessage& request,
                    ChannelSender* sender) {
  // The parser keeps any number in an enum field. A rotation by speed would
  // need a clock, which this gimbal does not have.
  const int mode = request.rotationmode();
  if (mode != gimbal::UAV_GIMBAL_ROTATION_MODE_RELATIVE_ANGLE &&
      mode != gimbal::UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE) {
    sender->Send<RotateAnswer>(AnswerTo(request.seq(), kUnknownMode));
    return;
  }
  Turn(request, attitude_.mutable_attitude());
  sender->Send<RotateAnswer>(AnswerTo(request.seq(), kDone));
  sender->Send(attitude_);
}

void Gimbal::SetMode(const gimbal::UavSetModeReqMessage& request,
                     ChannelSender* sender) {
  if (!gimbal::eUAVGimbalMode_IsValid(request.mode())) {
    transcript_.Say("refuses mode " + std::to_string(request.mode()) +
                    ", which eUAVGimbalMode does not declare");
    sender->Send<SetModeAnswer>(AnswerTo(request.seq(), kUnknownMode));
    return;
  }
  state_.set_gimbalmode(request.mode());
  sender->Send<SetModeAnswer>(AnswerTo(request.seq(), kDone));
  sender->Send(state_);
}
