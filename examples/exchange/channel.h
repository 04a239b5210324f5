// The channel envelope: what is sent is one channelTopicMessage and no more.
#ifndef EXAMPLES_EXCHANGE_CHANNEL_H_
#define EXAMPLES_EXCHANGE_CHANNEL_H_

#include <functional>
#include <string>

#include "transcript.h"
#include "zorvik/topics.h"

// Sends topics from one node to another.
class ChannelSender {
 public:
  // Takes the bytes of an envelope where they have to go.
  using Transport = std::function<void(zorvik::channel::channelTopicType topic,
                                       const std::string& bytes)>;

  ChannelSender(int node_id, int peer_id, Transport transport,
                const Transcript& transcript)
      : from_{node_id},
        to_{peer_id},
        transport_(std::move(transport)),
        transcript_(transcript) {}

  // Sends a message under its topic type; one for which none is settled needs
  // its topic, Send<Topic>(message).
  template <typename T = void, typename Message>
  void Send(const Message& content) {
    bytes_.clear();
    zorvik::topics::Append<T>(content, from_, to_, &bytes_);
    SendEnvelope(bytes_);
  }

  // Sends an envelope as it is.
  void SendEnvelope(const std::string& bytes);

 private:
  const zorvik::topics::From from_;
  const zorvik::topics::To to_;
  const Transport transport_;
  const Transcript transcript_;
  std::string bytes_;  // Kept, so that a topic takes no memory.
};

// A topic type for people: its name, if it has one, and its number.
std::string TopicName(int topic_type);

// What a receiver ignores, and why.
std::string Refusal(zorvik::topics::Result result,
                    const zorvik::topics::Envelope& envelope);

#endif  // EXAMPLES_EXCHANGE_CHANNEL_H_
