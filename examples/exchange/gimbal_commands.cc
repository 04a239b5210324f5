#include "gimbal_commands.h"

#include <stdexcept>
#include <string>

#include "gimbal.h"

namespace gimbal = zorvik::gimbal;
namespace topics = zorvik::topics;

namespace {

class Commander {
 public:
  Commander(const Address& gimbal, const Transcript& transcript)
      : socket_(0),
        gimbal_(gimbal),
        transcript_(transcript),
        sender_(
            kGroundNode, kGimbalNode,
            [this](auto, const std::string& bytes) {
              socket_.Send(bytes, gimbal_);
            },
            transcript) {}

  void Rotate(gimbal::eUAVGimbalRotationMode mode, int pitch, int yaw) {
    gimbal::UavGimbalRotateReqMessage request;
    request.set_seq(++seq_);
    request.set_rotationmode(mode);
    request.mutable_rotationvalue()->set_pitch(pitch);
    request.mutable_rotationvalue()->set_yaw(yaw);
    sender_.Send(request);
    if (ResultIn<RotateAnswer>() != 0) {
      throw std::runtime_error("the gimbal refused to turn");
    }
    const auto report = Receive<gimbal::UavGimbalAttitudeInformationReport>();
    transcript_.Say("sees the gimbal at pitch " +
                    std::to_string(report.attitude().pitch()) + ", yaw " +
                    std::to_string(report.attitude().yaw()));
  }

  void SetMode(gimbal::eUAVGimbalMode mode) {
    if (AskForMode(mode) != 0) {
      throw std::runtime_error("the gimbal refused a mode it should know");
    }
    const auto report = Receive<gimbal::UavGimbalSystemStateReport>();
    transcript_.Say("sees the gimbal in mode " +
                    gimbal::eUAVGimbalMode_Name(report.gimbalmode()));
  }

  // The field takes any number, and so does the parser at the other end.
  void SetUndeclaredMode(int number) {
    const uint32_t result =
        AskForMode(static_cast<gimbal::eUAVGimbalMode>(number));
    if (result == 0)
      throw std::runtime_error("the gimbal took a mode that is not declared");
    transcript_.Say("is refused with rlt " + std::to_string(result));
  }

  void SendGarbage() {
    transcript_.Say("sends three bytes of garbage");
    socket_.Send("\xff\xff\xff", gimbal_);
    ExpectSilence();
  }

  // A command for another node that arrives here all the same.
  void SendToAnotherNode() {
    gimbal::UavResetReqMessage reset;
    reset.set_seq(++seq_);
    ChannelSender(
        kGroundNode, kThrowerNode,
        [this](auto, const std::string& bytes) {
          socket_.Send(bytes, gimbal_);
        },
        transcript_)
        .Send(reset);
    ExpectSilence();
  }

  // A topic type that carries another message than the one in the envelope. The
  // typed topics do not write that, so it is packed by hand.
  void SendMismatch() {
    gimbal::UavResetReqMessage reset;
    reset.set_seq(++seq_);
    reset.set_mode(gimbal::UAV_GIMBAL_RESET_MODE_PITCH_AND_YAW);
    zorvik::channel::channelTopicMessage envelope;
    envelope.set_topic_type(
        topics::TopicOf<gimbal::UavGimbalRotateReqMessage>::kType);
    envelope.set_src_node_id(kGroundNode);
    envelope.set_dst_node_id(kGimbalNode);
    envelope.mutable_data()->PackFrom(reset);
    sender_.SendEnvelope(envelope.SerializeAsString());
    ExpectSilence();
  }

 private:
  uint32_t AskForMode(gimbal::eUAVGimbalMode mode) {
    gimbal::UavSetModeReqMessage request;
    request.set_seq(++seq_);
    request.set_mode(mode);
    sender_.Send(request);
    return ResultIn<SetModeAnswer>();
  }

  template <typename Answer>
  uint32_t ResultIn() {
    const auto answer = Receive<Answer>();
    if (answer.seq() != seq_) {
      throw std::runtime_error("the answer belongs to another request");
    }
    return answer.rlt();
  }

  // The content of the next envelope, which has to be of this topic.
  template <typename T>
  typename topics::TopicOf<T>::Content Receive() {
    const std::string topic = TopicName(topics::TopicOf<T>::kType);
    const std::optional<Datagram> datagram = socket_.Receive(kPatience);
    if (!datagram) {
      throw std::runtime_error("waited for " + topic +
                               " and nothing came: the gimbal is not there, "
                               "or a datagram was lost");
    }
    typename topics::TopicOf<T>::Content content;
    topics::Receiver<T> receiver(kGroundNode);
    const topics::Result result = receiver.Receive(
        datagram->bytes,
        [&](const auto& received, const auto&) { content = received; });
    if (result != topics::Result::kReceived) {
      throw std::runtime_error("waited for " + topic + ", got " +
                               Refusal(result, receiver.envelope()));
    }
    return content;
  }

  void ExpectSilence() {
    if (socket_.Receive(std::chrono::milliseconds(200))) {
      throw std::runtime_error("the gimbal answers what it cannot understand");
    }
  }

  UdpSocket socket_;
  const Address gimbal_;
  const Transcript transcript_;
  ChannelSender sender_;
  uint32_t seq_ = 0;
};

}  // namespace

void CommandGimbal(const Address& gimbal, const Transcript& transcript) {
  Commander commander(gimbal, transcript);
  commander.Rotate(gimbal::UAV_GIMBAL_ROTATION_MODE_RELATIVE_ANGLE, -30, 45);
  commander.SetMode(gimbal::UAV_GIMBAL_MODE_YAW_FOLLOW);
  commander.SetUndeclaredMode(7);
  commander.SendGarbage();
  commander.SendMismatch();
  commander.SendToAnotherNode();
  // The gimbal is still there.
  commander.Rotate(gimbal::UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE, 0, 0);
}
