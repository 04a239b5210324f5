// The channel envelope: what is sent is one channelTopicMessage and no more.
#ifndef EXAMPLES_CHANNEL_H_
#define EXAMPLES_CHANNEL_H_

#include <google/protobuf/message.h>

#include <functional>
#include <string>

#include "channelMessage.pb.h"
#include "transcript.h"

// Sends topics from one node to another.
class ChannelSender {
 public:
  // Takes the bytes of an envelope where they have to go.
  using Transport = std::function<void(zorvik::channel::channelTopicType topic,
                                       const std::string& bytes)>;

  ChannelSender(int node_id, int peer_id, Transport transport,
                const Transcript& transcript)
      : node_id_(node_id),
        peer_id_(peer_id),
        transport_(std::move(transport)),
        transcript_(transcript) {}

  void Send(zorvik::channel::channelTopicType topic,
            const google::protobuf::Message& payload);

 private:
  const int node_id_;
  const int peer_id_;
  const Transport transport_;
  const Transcript transcript_;
};

// A topic type for people: its name, if it has one, and its number.
std::string TopicName(int topic_type);

// Unpacks the payload that a topic type carries. False, with a reason, when
// the envelope holds another message or none. UnpackTo alone would not tell
// which: compare the type name first.
bool UnpackTopic(const zorvik::channel::channelTopicMessage& envelope,
                 google::protobuf::Message* payload, std::string* reason);

#endif  // EXAMPLES_CHANNEL_H_
