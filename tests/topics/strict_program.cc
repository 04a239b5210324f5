// Uses everything of zorvik/topics.h, compiled as its strictest users do.
#include "gimbalMessage.pb.h"
#include "zorvik/topics.h"
#include "zorvik/version.h"

namespace topics = zorvik::topics;
using zorvik::gimbal::UavGimbalRspMessage;
using zorvik::gimbal::UavResetReqMessage;

using ResetAnswer = topics::AnswerTo<UavResetReqMessage, UavGimbalRspMessage>;

int main() {
  char buffer[256];
  UavResetReqMessage reset;
  reset.set_seq(7);
  const topics::Written written = topics::Write(
      reset, topics::From{1}, topics::To{9}, buffer, sizeof(buffer));

  std::string answers;
  topics::Receiver<UavResetReqMessage, ResetAnswer> receiver(9);
  receiver.set_every_node(999);
  receiver.set_longest(sizeof(buffer));
  const topics::Result result = receiver.Receive(
      {buffer, written.size},
      topics::Overloads{
          [&](const UavResetReqMessage& request, const topics::Envelope& from) {
            UavGimbalRspMessage answer;
            answer.set_seq(request.seq());
            topics::Append<ResetAnswer>(answer, topics::From{9},
                                        topics::To{from.source()}, &answers);
          },
          [](const UavGimbalRspMessage&, const topics::Envelope&) {}});

  topics::Envelope envelope;
  UavGimbalRspMessage answer;
  const bool answered =
      written && envelope.Open(answers) &&
      envelope.Read<ResetAnswer>(&answer) == topics::Result::kReceived &&
      answer.seq() == 7 && envelope.destination() == 1 &&
      !topics::NameOf(envelope.topic_type()).empty() &&
      !topics::TextOf(result).empty();
  return answered && zorvik::kVersionMajor == 2 ? 0 : 1;
}
