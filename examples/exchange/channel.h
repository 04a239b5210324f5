// The channel envelope: what is sent is one channelTopicMessage and no more.
#ifndef EXAMPLES_EXCHANGE_CHANNEL_H_
#define EXAMPLES_EXCHANGE_CHANNEL_H_

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
      : transport_(std::move(transport)), transcript_(transcript) {
    // Builds the schema's descriptors now and not with the first topic.
    zorvik::channel::channelTopicMessage::descriptor();
    envelope_.set_src_node_id(node_id);
    envelope_.set_dst_node_id(peer_id);
  }

  void Send(zorvik::channel::channelTopicType topic,
            const google::protobuf::Message& payload);

 private:
  const Transport transport_;
  const Transcript transcript_;
  // Kept, so that a topic needs no memory that the last one did not.
  zorvik::channel::channelTopicMessage envelope_;
  std::string bytes_;
};

// A topic type for people: its name, if it has one, and its number.
std::string TopicName(int topic_type);

// Unpacks the content of a topic type. False, with a reason, when the envelope
// holds another message or none. UnpackTo alone would not tell
// which: compare the type name first.
bool UnpackTopic(const zorvik::channel::channelTopicMessage& envelope,
                 google::protobuf::Message* payload, std::string* reason);

#endif  // EXAMPLES_EXCHANGE_CHANNEL_H_
