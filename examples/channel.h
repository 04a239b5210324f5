// The channel envelope: one datagram holds one channelTopicMessage and no more.
#ifndef EXAMPLES_CHANNEL_H_
#define EXAMPLES_CHANNEL_H_

#include <google/protobuf/message.h>

#include <string>

#include "channelMessage.pb.h"
#include "transcript.h"
#include "udp_socket.h"

// Sends topics from one node to another.
class ChannelSender {
 public:
  ChannelSender(int node_id, int peer_id, UdpSocket* socket, Address peer,
                const Transcript& transcript)
      : node_id_(node_id),
        peer_id_(peer_id),
        socket_(socket),
        peer_(peer),
        transcript_(transcript) {}

  void Send(zorvik::channel::channelTopicType topic,
            const google::protobuf::Message& payload);

 private:
  const int node_id_;
  const int peer_id_;
  UdpSocket* const socket_;
  const Address peer_;
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
