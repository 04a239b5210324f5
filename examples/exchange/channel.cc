#include "channel.h"

namespace topics = zorvik::topics;

void ChannelSender::SendEnvelope(const std::string& bytes) {
  // The transcript shows all of it, and for that it is parsed.
  zorvik::channel::channelTopicMessage envelope;
  envelope.ParseFromString(bytes);
  const topics::channelTopicType topic{envelope.topic_type()};
  transcript_.Sent(TopicName(topic), bytes, envelope);
  transport_(topic, bytes);
}

std::string TopicName(int topic_type) {
  const std::string number = std::to_string(topic_type);
  const std::string_view name =
      topics::NameOf(topics::channelTopicType{topic_type});
  if (name.empty()) return "topic type " + number;
  return std::string(name) + " (" + number + ")";
}

std::string Refusal(topics::Result result, const topics::Envelope& envelope) {
  const std::string why(topics::TextOf(result));
  if (result == topics::Result::kNoEnvelope ||
      result == topics::Result::kTooLong) {
    return "bytes, " + why;
  }
  return TopicName(envelope.topic_type()) + " to node " +
         std::to_string(envelope.destination()) + ", " + why;
}
