// Where things are published. The vocabulary does not name MQTT topics. This
// example's own choice:
//
//   zorvik/<aircraft>/<node>/in            envelopes for the node
//   zorvik/<aircraft>/<node>/out           envelopes from the node
//   zorvik/<aircraft>/<node>/state         its last state, retained
//   zorvik/<aircraft>/<node>/register      zorvik.access.payloadReqMessage
//   zorvik/<aircraft>/<node>/registered    zorvik.access.payloadRspMessage
//   zorvik/<aircraft>/<node>/heartbeat     zorvik.access.heartbeatMessage
//   zorvik/<aircraft>/<node>/online        zorvik.access.payloadInfo, retained
//
// An envelope is a zorvik.channel.channelTopicMessage, and so is a state. What
// is online has is_online 1; what is not, has 0.
//
// A node is named by its node id. A subscription to + in the place of the node
// covers all of them. A broker can see to it that a node publishes under its
// own id alone; messages that name their sender have to name the same node.
#ifndef EXAMPLES_BROKER_TOPICS_H_
#define EXAMPLES_BROKER_TOPICS_H_

#include <charconv>
#include <string>

inline std::string TopicOf(const std::string& aircraft, const std::string& node,
                           const std::string& what) {
  return "zorvik/" + aircraft + "/" + node + "/" + what;
}

inline std::string TopicOf(const std::string& aircraft, int node,
                           const std::string& what) {
  return TopicOf(aircraft, std::to_string(node), what);
}

struct Place {
  int node = 0;  // 0 when the topic names none.
  std::string what;
};

inline Place PlaceOf(const std::string& topic) {
  const size_t end = topic.rfind('/');
  if (end == std::string::npos) return {};
  Place place{0, topic.substr(end + 1)};
  const size_t begin = topic.rfind('/', end == 0 ? 0 : end - 1) + 1;
  if (std::from_chars(&topic[begin], &topic[end], place.node).ptr !=
      &topic[end]) {
    place.node = 0;
  }
  return place;
}

#endif  // EXAMPLES_BROKER_TOPICS_H_
