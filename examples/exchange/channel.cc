#include "channel.h"

namespace channel = zorvik::channel;

void ChannelSender::Send(channel::channelTopicType topic,
                         const google::protobuf::Message& payload) {
  envelope_.set_topic_type(topic);
  envelope_.mutable_data()->PackFrom(payload);
  envelope_.SerializeToString(&bytes_);
  transcript_.Sent(TopicName(topic), bytes_, envelope_);
  transport_(topic, bytes_);
}

std::string TopicName(int topic_type) {
  // topic_type may hold any number; the enum's test tells whether it is
  // declared.
  const std::string number = std::to_string(topic_type);
  if (!channel::channelTopicType_IsValid(topic_type)) {
    return "topic type " + number;
  }
  return channel::channelTopicType_Name(topic_type) + " (" + number + ")";
}

bool UnpackTopic(const channel::channelTopicMessage& envelope,
                 google::protobuf::Message* payload, std::string* reason) {
  std::string type_name;
  if (!google::protobuf::Any::ParseAnyTypeUrl(envelope.data().type_url(),
                                              &type_name)) {
    type_name = "nothing";
  }
  const std::string topic = TopicName(envelope.topic_type());
  if (type_name != payload->GetTypeName()) {
    *reason =
        topic + " carries " + payload->GetTypeName() + ", not " + type_name;
    return false;
  }
  if (!envelope.data().UnpackTo(payload)) {
    *reason = topic + " holds a malformed " + type_name;
    return false;
  }
  return true;
}
