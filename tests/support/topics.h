// All topics that are settled, and what the protobuf runtime makes of the
// envelope of one: the measure for zorvik/topics.h.
#ifndef TESTS_SUPPORT_TOPICS_H_
#define TESTS_SUPPORT_TOPICS_H_

#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "throwerMessage.pb.h"
#include "tracerMessage.pb.h"
#include "zorvik/topics.h"

template <typename Use, int... offsets>
void ForEachSettledTopicAmong(const Use& use,
                              std::integer_sequence<int, offsets...>) {
  namespace topics = zorvik::topics;
  const auto use_settled = [&use](auto number) {
    constexpr topics::channelTopicType kType{decltype(number)::value};
    if constexpr (!std::is_void_v<typename topics::Id<kType>::Content>) {
      use(topics::Topic<kType>());
    }
    return true;
  };
  // Compilers limit the length of expressions, and not that of lists.
  const bool used[] = {
      use_settled(std::integral_constant<int, 10000 + offsets>())...};
  (void)used;
}

// Calls use(Topic<...>()) for each topic type whose content is settled. Topic
// types have numbers from 10000 on.
template <typename Use>
void ForEachSettledTopic(const Use& use) {
  ForEachSettledTopicAmong(use, std::make_integer_sequence<int, 1000>());
}

// Full names of the messages that settled topic types carry.
inline const std::map<int, std::string>& CarriedMessages() {
  static const auto* const carried = [] {
    auto* const names = new std::map<int, std::string>;
    ForEachSettledTopic([names](auto topic) {
      using Topic = decltype(topic);
      (*names)[Topic::kType] = Topic::Content::descriptor()->full_name();
    });
    return names;
  }();
  return *carried;
}

template <typename Topic>
std::string WriteByRuntime(const typename Topic::Content& content,
                           int32_t source, int32_t destination) {
  zorvik::channel::channelTopicMessage envelope;
  envelope.set_topic_type(Topic::kType);
  envelope.set_src_node_id(source);
  envelope.set_dst_node_id(destination);
  envelope.mutable_data()->PackFrom(content);
  return envelope.SerializeAsString();
}

// Reads the content of a topic from an envelope that was parsed.
template <typename Topic>
zorvik::topics::Result ReadByRuntime(
    const zorvik::channel::channelTopicMessage& envelope,
    typename Topic::Content* content) {
  using zorvik::topics::Result;
  const google::protobuf::Any& data = envelope.data();
  if (envelope.topic_type() != Topic::kType) return Result::kUnknownTopic;
  if (data.type_url().empty() && data.value().empty()) {
    return Result::kNoContent;
  }
  if (!data.Is<typename Topic::Content>()) return Result::kOtherContent;
  return data.UnpackTo(content) ? Result::kReceived : Result::kMalformedContent;
}

#endif  // TESTS_SUPPORT_TOPICS_H_
