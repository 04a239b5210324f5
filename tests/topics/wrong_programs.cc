// With WRONG at 0 this is a program. Any other number makes it one that must
// not compile; below the number is what the compiler has to say about it.
#include "accessMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "zorvik/topics.h"

namespace topics = zorvik::topics;
using namespace zorvik::channel;
using namespace zorvik::gimbal;

std::string bytes;
const topics::From from{1};
const topics::To to{9};

struct Handler {
  void operator()(const UavResetReqMessage&, const topics::Envelope&) {}
};

int main() {
#if WRONG == 0
  topics::Append(UavResetReqMessage(), from, to, &bytes);
  topics::Append<
      topics::Topic<CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, UavGimbalRspMessage>>(
      UavGimbalRspMessage(), from, to, &bytes);
  topics::Receiver<UavResetReqMessage> receiver(9);
  return receiver.Receive(bytes, Handler()) == topics::Result::kReceived;
#elif WRONG == 1
  // the vocabulary settles no topic type for this message: name one,
  // Topic<type, Message>
  topics::Append(UavGimbalRspMessage(), from, to, &bytes);
#elif WRONG == 2
  // this topic carries another message
  topics::Append<topics::Topic<CHANNEL_TOPIC_TYPE_THROWER_ACTION>>(
      UavGimbalRspMessage(), from, to, &bytes);
#elif WRONG == 3
  // the vocabulary has settled that this topic type carries another message
  using Wrong =
      topics::Topic<CHANNEL_TOPIC_TYPE_THROWER_ACTION, UavGimbalRspMessage>;
#elif WRONG == 4
  // the vocabulary leaves open what this topic type carries: bind it to a
  // message, Topic<type, Message>
  using Wrong = topics::Topic<CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION>;
#elif WRONG == 5
  // the channel has no topic type of this number
  using Wrong = topics::Topic<channelTopicType{10418}, UavGimbalRspMessage>;
#elif WRONG == 6
  // channelTopicType
  using Wrong = topics::Topic<zorvik::access::PAYLOAD_TOPIC_HEARTBEAT,
                              UavGimbalRspMessage>;
#elif WRONG == 7
  // no topic type is named for the answer to this one
  using Wrong = topics::AnswerTo<UavGimbalSystemStateReport>;
#elif WRONG == 8
  // the handler has no overload for the content of one of the topics
  topics::Receiver<UavResetReqMessage, UavSetModeReqMessage> receiver(9);
  return receiver.Receive(bytes, Handler()) == topics::Result::kReceived;
#elif WRONG == 9
  // no matching function for call to
  topics::Append(UavResetReqMessage(), to, from, &bytes);
#elif WRONG == 10
  // this topic carries another message
  topics::Envelope envelope;
  UavResetReqMessage reset;
  return envelope.Read<UavSetModeReqMessage>(&reset) ==
         topics::Result::kReceived;
#elif WRONG == 11
  // two topics of this receiver have the same topic type
  using Release =
      topics::Topic<CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, UavGimbalRspMessage>;
  using Other =
      topics::Topic<CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, UavResetReqMessage>;
  topics::Receiver<Release, Other> receiver(9);
#elif WRONG == 12
  // include the header of each message that is received
  topics::Receiver<zorvik::protocol::throwActionMessage> receiver(9);
#endif
}
