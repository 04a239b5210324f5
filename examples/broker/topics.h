// Where things are published. The vocabulary does not name MQTT topics. This
// example's own choice:
//
//   zorvik/<aircraft>/<node>/in            envelopes for the node
//   zorvik/<aircraft>/<node>/out           envelopes from the node
//   zorvik/<aircraft>/<node>/state         its last state, retained
//   zorvik/<aircraft>/<node>/register      zorvik.access.payloadReqMessage
//   zorvik/<aircraft>/<node>/registered    zorvik.access.payloadRspMessage
//   zorvik/<aircraft>/<node>/heartbeat     zorvik.access.heartbeatMessage
//
// An envelope is a zorvik.channel.channelTopicMessage, and so is a state.
// A node is named by its node id. A subscription to + in the place of the node
// covers all of them.
#ifndef EXAMPLES_BROKER_TOPICS_H_
#define EXAMPLES_BROKER_TOPICS_H_

#include <string>

inline std::string TopicOf(const std::string& aircraft, const std::string& node,
                           const std::string& what) {
  return "zorvik/" + aircraft + "/" + node + "/" + what;
}

inline std::string TopicOf(const std::string& aircraft, int node,
                           const std::string& what) {
  return TopicOf(aircraft, std::to_string(node), what);
}

#endif  // EXAMPLES_BROKER_TOPICS_H_
