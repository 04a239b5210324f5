// A plugin that links the library. Built twice, so that a host can load two.
#include <google/protobuf/any.pb.h>

#include <memory>

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"

using zorvik::channel::channelTopicMessage;
using zorvik::gimbal::UavGimbalRotateReqMessage;

extern "C" google::protobuf::Message* MakeEnvelope() {
  UavGimbalRotateReqMessage request;
  request.set_seq(7);
  auto envelope = std::make_unique<channelTopicMessage>();
  envelope->mutable_data()->PackFrom(request);
  return envelope.release();
}

// Takes what any plugin made. Compares the class, the descriptor and the names
// on the wire: all of them are the same in every plugin.
extern "C" bool TakeEnvelope(google::protobuf::Message* message) {
  const std::unique_ptr<google::protobuf::Message> owned(message);
  const auto* envelope = dynamic_cast<channelTopicMessage*>(message);
  UavGimbalRotateReqMessage request;
  return envelope != nullptr &&
         message->GetDescriptor() == channelTopicMessage::descriptor() &&
         envelope->data().UnpackTo(&request) && request.seq() == 7;
}
