// Channel envelopes whose topic type, content and nodes fit each other by the
// rules of the compiler. They are written straight into a buffer and read in
// place, and are the bytes that the protobuf runtime writes and reads.
//
//   topics::Append(request, topics::From{1}, topics::To{9}, &bytes);
//
//   topics::Receiver<UavGimbalRotateReqMessage, UavResetReqMessage>
//   receiver(9); topics::Result result = receiver.Receive(bytes, handler);
//
// A topic type whose content the vocabulary leaves open is bound to a message
// by its user, in one line, and then used as any other:
//
//   using Release =
//       topics::Topic<CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION, ReleaseRequest>;
//   topics::Append<Release>(release, topics::From{1}, topics::To{9}, &bytes);
#ifndef ZORVIK_TOPICS_H_
#define ZORVIK_TOPICS_H_

#if __cplusplus < 201703L
#error "zorvik/topics.h needs C++17, for example -std=c++17"
#else

#include <google/protobuf/any.pb.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/io/coded_stream.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "channelMessage.pb.h"
#include "zorvik/pairings.h"

namespace zorvik::topics {

using channel::channelTopicType;

// ------------------------------------------------------------------ Pairings

// Whether a message may travel under an id, or answer it: it is the one that
// the vocabulary has settled, or that is open.
template <auto id, typename Message>
constexpr bool kMayCarry = std::is_void_v<typename Id<id>::Content> ||
                           std::is_same_v<typename Id<id>::Content, Message>;
template <auto id, typename Message>
constexpr bool kMayAnswer = std::is_void_v<typename Id<id>::Answer> ||
                            std::is_same_v<typename Id<id>::Answer, Message>;

namespace internal {

template <channelTopicType type, typename Message>
struct BoundTopic {
  static_assert(!NameOf(type).empty(),
                "the channel has no topic type of this number");
  static_assert(!std::is_void_v<Message>,
                "the vocabulary leaves open what this topic type carries: bind "
                "it to a message, Topic<type, Message>");
  static_assert(std::is_void_v<Message> || kMayCarry<type, Message>,
                "the vocabulary has settled that this topic type carries "
                "another message");
  static constexpr channelTopicType kType = type;
  using Content = Message;
  using Checked = BoundTopic;
};

// Stands in for a topic that has been refused, so that one error is reported.
template <typename Message>
struct NoTopic {
  static constexpr channelTopicType kType{};
  using Content = Message;
};

// Whether the header of a message has been included.
template <typename Message, typename = size_t>
constexpr bool kIsDefined = false;
template <typename Message>
constexpr bool kIsDefined<Message, decltype(sizeof(Message))> = true;

// The only topic type in a list of ids; zero if there is none, or several.
template <auto... ids>
constexpr channelTopicType OnlyTopicType(IdList<ids...>) {
  constexpr auto number = [](auto id) {
    constexpr bool kIsTopicType =
        std::is_same_v<decltype(id), channelTopicType>;
    return kIsTopicType ? static_cast<int>(id) : 0;
  };
  const int count = (0 + ... + (number(ids) == 0 ? 0 : 1));
  return static_cast<channelTopicType>(count == 1 ? (0 + ... + number(ids))
                                                  : 0);
}

// The topic that a message names by itself, or a topic.
template <typename Message>
struct Named {
  static constexpr channelTopicType kType =
      OnlyTopicType(typename MessageFacts<Message>::CarriedBy());
  static_assert(kType != channelTopicType{},
                "the vocabulary settles no topic type for this message: name "
                "one, Topic<type, Message>");
  using Topic =
      std::conditional_t<kType == channelTopicType{}, NoTopic<Message>,
                         BoundTopic<kType, Message> >;
};
template <channelTopicType type, typename Message>
struct Named<BoundTopic<type, Message> > {
  using Topic = BoundTopic<type, Message>;
};
template <typename T>
struct Answered {
  static constexpr auto kId = Id<Named<T>::Topic::kType>::kAnswerId;
  static_assert(!std::is_same_v<decltype(kId), const std::nullptr_t>,
                "no topic type is named for the answer to this one");
};

}  // namespace internal

// A topic type and the message that it carries. What is settled needs no
// message, and allows no other one.
template <channelTopicType type, typename Message = typename Id<type>::Content>
using Topic = typename internal::BoundTopic<type, Message>::Checked;

// The topic of a message for which one is settled; a topic is its own. It has
// the members kType and Content.
template <typename T>
using TopicOf = typename internal::Named<T>::Topic;

// The topic on which the answer comes, to a message or to a topic.
template <typename T,
          typename Message = typename Id<internal::Answered<T>::kId>::Content>
using AnswerTo = Topic<internal::Answered<T>::kId, Message>;

// ------------------------------------------------------------------- Writing

// The nodes of an envelope.
struct From {
  int32_t node;
};
struct To {
  int32_t node;
};

struct Written {
  // False when there is no room, and nothing was written. An envelope of more
  // than 2 GiB never fits.
  bool fits;
  // Of the envelope in bytes, also when it does not fit.
  size_t size;
  explicit operator bool() const { return fits; }
};

namespace internal {

using Coded = google::protobuf::io::CodedOutputStream;
using google::protobuf::Any;

// Of a varint and of a field with a length. Each takes one byte.
constexpr uint8_t VarintTag(int number) {
  return static_cast<uint8_t>(number << 3);
}
constexpr uint8_t LengthTag(int number) {
  return static_cast<uint8_t>(number << 3 | 2);
}
constexpr uint8_t kTopicTypeTag =
    VarintTag(channel::channelTopicMessage::kTopicTypeFieldNumber);
constexpr uint8_t kSourceTag =
    VarintTag(channel::channelTopicMessage::kSrcNodeIdFieldNumber);
constexpr uint8_t kDestinationTag =
    VarintTag(channel::channelTopicMessage::kDstNodeIdFieldNumber);
constexpr uint8_t kDataTag =
    LengthTag(channel::channelTopicMessage::kDataFieldNumber);
constexpr uint8_t kTypeUrlTag = LengthTag(Any::kTypeUrlFieldNumber);
constexpr uint8_t kValueTag = LengthTag(Any::kValueFieldNumber);

template <typename Message>
constexpr bool kIsOfVocabulary = !MessageFacts<Message>::kTypeUrl.empty();

// The URL by which an Any names a message.
template <typename Message>
std::string_view TypeUrl() {
  if constexpr (kIsOfVocabulary<Message>) {
    return MessageFacts<Message>::kTypeUrl;
  } else {
    static const auto* const url =
        new std::string(std::string(kTypeUrlPrefix) + Message().GetTypeName());
    return *url;
  }
}

inline size_t NumberSize(int32_t number) {
  return number == 0 ? 0 : 1 + Coded::VarintSize32SignExtended(number);
}

inline size_t TextSize(size_t length) {
  return length == 0
             ? 0
             : 1 + Coded::VarintSize32(static_cast<uint32_t>(length)) + length;
}

inline uint8_t* PutNumber(uint8_t tag, int32_t number, uint8_t* at) {
  if (number == 0) return at;
  *at++ = tag;
  return Coded::WriteVarint32SignExtendedToArray(number, at);
}

inline uint8_t* PutLength(uint8_t tag, size_t length, uint8_t* at) {
  *at++ = tag;
  return Coded::WriteVarint32ToArray(static_cast<uint32_t>(length), at);
}

// The topic under which a message goes: T, or else the one that is settled.
template <typename T, typename Message>
struct Choose {
  using Chosen = TopicOf<std::conditional_t<std::is_void_v<T>, Message, T> >;
  static constexpr bool kFits =
      std::is_same_v<typename Chosen::Content, Message>;
  static_assert(kFits, "this topic carries another message");
  using Topic = std::conditional_t<kFits, Chosen, NoTopic<Message> >;
};

// An envelope that is about to be written. The content must not change
// meanwhile.
template <typename Topic>
class Letter {
 public:
  using Content = typename Topic::Content;

  Letter(const Content& content, From from, To to)
      : content_(content),
        from_(from.node),
        to_(to.node),
        value_(content.ByteSizeLong()),
        data_(TextSize(TypeUrl<Content>().size()) + TextSize(value_)) {}

  size_t Size() const {
    return NumberSize(Topic::kType) + NumberSize(from_) + NumberSize(to_) +
           TextSize(data_);
  }

  // Most writers have room to spare, which shows without the exact size.
  bool FitsInto(size_t room) const {
    constexpr size_t kMostBeforeData = 4 * (1 + 10);
    return data_ < INT_MAX - kMostBeforeData &&
           (data_ + kMostBeforeData <= room || Size() <= room);
  }

  // Returns where it ends.
  uint8_t* WriteTo(uint8_t* at) const {
    at = PutNumber(kTopicTypeTag, Topic::kType, at);
    at = PutNumber(kSourceTag, from_, at);
    at = PutNumber(kDestinationTag, to_, at);
    at = PutLength(kDataTag, data_, at);
    const std::string_view url = TypeUrl<Content>();
    at = PutLength(kTypeUrlTag, url.size(), at);
    std::memcpy(at, url.data(), url.size());
    at += url.size();
    if (value_ == 0) return at;
    at = PutLength(kValueTag, value_, at);
    if constexpr (kIsOfVocabulary<Content>) {
      // The runtime's own call looks first how maps are to be ordered, and the
      // vocabulary has none.
      google::protobuf::io::EpsCopyOutputStream end(
          at, static_cast<int>(value_), /*deterministic=*/false);
      return content_._InternalSerialize(at, &end);
    } else {
      return content_.SerializeWithCachedSizesToArray(at);
    }
  }

 private:
  const Content& content_;
  const int32_t from_;
  const int32_t to_;
  // Lengths of the content and of the field data.
  const size_t value_;
  const size_t data_;
};

}  // namespace internal

// Writes an envelope into a buffer. A message whose topic type is settled goes
// under that one; any other needs its topic, Write<Topic>(...).
template <typename T = void, typename Message>
[[nodiscard]] Written Write(const Message& content, From from, To to,
                            void* buffer, size_t size) {
  using Topic = typename internal::Choose<T, Message>::Topic;
  const internal::Letter<Topic> letter(content, from, to);
  if (!letter.FitsInto(size)) return {false, letter.Size()};
  uint8_t* const begin = static_cast<uint8_t*>(buffer);
  return {true, static_cast<size_t>(letter.WriteTo(begin) - begin)};
}

// The same at the end of a string. It allocates only while the string grows.
template <typename T = void, typename Message>
Written Append(const Message& content, From from, To to, std::string* bytes) {
  using Topic = typename internal::Choose<T, Message>::Topic;
  const internal::Letter<Topic> letter(content, from, to);
  const size_t size = letter.Size();
  if (!letter.FitsInto(size)) return {false, size};
  const size_t old_size = bytes->size();
  bytes->resize(old_size + size);
  letter.WriteTo(reinterpret_cast<uint8_t*>(&(*bytes)[old_size]));
  return {true, size};
}

// ------------------------------------------------------------------- Reading

enum class Result {
  kReceived,
  kTooLong,
  kNoEnvelope,
  kOtherNode,
  kUnknownTopic,
  kNoContent,
  kOtherContent,
  kMalformedContent,
};

// For logs.
constexpr std::string_view TextOf(Result result) {
  switch (result) {
    case Result::kReceived:
      return "received";
    case Result::kTooLong:
      return "longer than the receiver allows";
    case Result::kNoEnvelope:
      return "no envelope";
    case Result::kOtherNode:
      return "for another node";
    case Result::kUnknownTopic:
      return "of a topic type that the receiver does not know";
    case Result::kNoContent:
      return "without content";
    case Result::kOtherContent:
      return "with content of another type than the topic's";
    case Result::kMalformedContent:
      return "with malformed content";
  }
  return {};
}

// Bytes of the caller's, from a string or any other memory.
struct Bytes {
  Bytes(const void* begin, size_t length)
      : data(static_cast<const uint8_t*>(begin)), size(length) {}
  Bytes(std::string_view text) : Bytes(text.data(), text.size()) {}
  Bytes(const std::string& text) : Bytes(text.data(), text.size()) {}

  const uint8_t* data;
  size_t size;
};

namespace internal {

struct Fields {
  int32_t topic_type = 0;
  int32_t source = 0;
  int32_t destination = 0;
  std::string_view type_url;
  std::string_view value;
};

// Takes the plain form of an envelope apart: each field at most once, in the
// order of their numbers, and no other ones. The runtime writes no other form.
class PlainReader {
 public:
  explicit PlainReader(Bytes bytes)
      : at_(bytes.data), end_(bytes.data + bytes.size) {}

  // False for any other form, be it an envelope or not.
  bool Read(Fields* fields) {
    if (!ReadNumber(kTopicTypeTag, &fields->topic_type) ||
        !ReadNumber(kSourceTag, &fields->source) ||
        !ReadNumber(kDestinationTag, &fields->destination)) {
      return false;
    }
    if (Skip(kDataTag)) {
      size_t length;
      if (!ReadLength(&length) || length != Left() ||
          !ReadText(kTypeUrlTag, &fields->type_url) ||
          !ReadText(kValueTag, &fields->value)) {
        return false;
      }
    }
    return Left() == 0;
  }

 private:
  size_t Left() const { return static_cast<size_t>(end_ - at_); }

  bool Skip(uint8_t tag) {
    if (at_ == end_ || *at_ != tag) return false;
    ++at_;
    return true;
  }

  bool ReadVarint(int longest, uint64_t* number) {
    *number = 0;
    for (int i = 0; i < longest && at_ != end_; ++i) {
      const uint8_t byte = *at_++;
      *number |= static_cast<uint64_t>(byte & 0x7f) << (7 * i);
      if (byte < 0x80) return true;
    }
    return false;
  }

  // A field that is not there is zero.
  bool ReadNumber(uint8_t tag, int32_t* number) {
    uint64_t read;
    if (!Skip(tag)) return true;
    if (!ReadVarint(10, &read)) return false;
    *number = static_cast<int32_t>(static_cast<uint32_t>(read));
    return true;
  }

  bool ReadLength(size_t* length) {
    uint64_t read;
    if (!ReadVarint(5, &read) || read > Left()) return false;
    *length = static_cast<size_t>(read);
    return true;
  }

  bool ReadText(uint8_t tag, std::string_view* text) {
    size_t length;
    if (!Skip(tag)) return true;
    if (!ReadLength(&length)) return false;
    *text = {reinterpret_cast<const char*>(at_), length};
    at_ += length;
    return true;
  }

  const uint8_t* at_;
  const uint8_t* end_;
};

inline bool IsAscii(std::string_view text) {
  uint64_t seen = 0;
  for (; text.size() >= sizeof(seen); text.remove_prefix(sizeof(seen))) {
    uint64_t word;
    std::memcpy(&word, text.data(), sizeof(word));
    seen |= word;
  }
  for (const char byte : text) seen |= static_cast<uint8_t>(byte) & 0x80u;
  return (seen & 0x8080808080808080u) == 0;
}

// The full name of a message in a type URL, empty where there is none.
inline std::string_view NameIn(std::string_view type_url) {
  const size_t slash = type_url.rfind('/');
  return slash == type_url.npos ? std::string_view()
                                : type_url.substr(slash + 1);
}

}  // namespace internal

// A view of an encoded envelope. It refers to the bytes, which have to outlive
// it, and copies and allocates nothing if they have the form that the runtime
// writes. Any other form is parsed by the runtime into an object of its own.
// Keep one for all envelopes.
class Envelope {
 public:
  Envelope() = default;
  Envelope(const Envelope&) = delete;
  Envelope& operator=(const Envelope&) = delete;

  // False when the bytes are no envelope; the view is then empty. The content
  // is not looked into.
  [[nodiscard]] bool Open(Bytes bytes) { return OpenFor<>(bytes); }

  // Any number may arrive: NameOf() tells whether it is declared.
  channelTopicType topic_type() const {
    return static_cast<channelTopicType>(fields_.topic_type);
  }
  int32_t source() const { return fields_.source; }
  int32_t destination() const { return fields_.destination; }
  // The full name of the message in it, empty where none is named.
  std::string_view type_name() const {
    return internal::NameIn(fields_.type_url);
  }
  // The encoded message.
  std::string_view value() const { return fields_.value; }

  // Reads the content of a topic into an object. With another result than
  // kReceived do not use what is in the object. It leaves the comparison of the
  // destination to its caller.
  template <typename T = void, typename Message>
  [[nodiscard]] Result Read(Message* content) const {
    using Topic = typename internal::Choose<T, Message>::Topic;
    if (topic_type() != Topic::kType) return Result::kUnknownTopic;
    if (fields_.type_url.empty() && fields_.value.empty()) {
      return Result::kNoContent;
    }
    const std::string_view url = internal::TypeUrl<Message>();
    if (fields_.type_url.data() != url.data() && fields_.type_url != url &&
        type_name() != internal::NameIn(url)) {
      return Result::kOtherContent;
    }
    const int size = static_cast<int>(fields_.value.size());
    // The vocabulary has no required fields, for which parsing would look.
    const bool parsed =
        internal::kIsOfVocabulary<Message>
            ? content->ParsePartialFromArray(fields_.value.data(), size)
            : content->ParseFromArray(fields_.value.data(), size);
    return parsed ? Result::kReceived : Result::kMalformedContent;
  }

 private:
  template <typename... Ts>
  friend class Receiver;

  // The same. The URLs of these topics are recognised, and not compared again.
  template <typename... Topics>
  bool OpenFor(Bytes bytes) {
    fields_ = {};
    if (bytes.size > INT_MAX) return false;
    // The runtime refuses a URL that is not UTF-8.
    if (internal::PlainReader(bytes).Read(&fields_) &&
        ((Recognise<Topics>() || ...) || internal::IsAscii(fields_.type_url))) {
      return true;
    }
    fields_ = {};
    if (!parsed_.ParseFromArray(bytes.data, static_cast<int>(bytes.size))) {
      return false;
    }
    fields_ = {parsed_.topic_type(), parsed_.src_node_id(),
               parsed_.dst_node_id(), parsed_.data().type_url(),
               parsed_.data().value()};
    return true;
  }

  template <typename Topic>
  bool Recognise() {
    const std::string_view url = internal::TypeUrl<typename Topic::Content>();
    if (topic_type() != Topic::kType || fields_.type_url != url) return false;
    fields_.type_url = url;
    return true;
  }

  internal::Fields fields_;
  channel::channelTopicMessage parsed_;
};

namespace internal {

constexpr bool AllDiffer(std::initializer_list<channelTopicType> types) {
  for (auto one = types.begin(); one != types.end(); ++one) {
    for (auto other = types.begin(); other != one; ++other) {
      if (*one == *other) return false;
    }
  }
  return true;
}

// A content that is kept from one envelope to the next.
template <typename Message, bool kHasRecords>
class Kept {
 public:
  Message* ForNext(size_t) { return &content_; }

 private:
  Message content_;
};

// Parsing frees the records within a message and makes new ones. On an arena it
// leaves them behind; emptying that before it is full spares the heap.
template <typename Message>
class Kept<Message, true> {
 public:
  // The size is that of the encoded content.
  Message* ForNext(size_t size) {
    if (used_ >= sizeof(block_)) {
      arena_.Reset();
      content_ = Create();
      used_ = 0;
    }
    used_ += kRecords + size;
    return content_;
  }

 private:
  using Arena = google::protobuf::Arena;
  Message* Create() { return Arena::CreateMessage<Message>(&arena_); }

  // More than the records of a settled content take. What hostile bytes add to
  // them is in proportion to those.
  static constexpr size_t kRecords = 256;
  alignas(8) char block_[8192];
  Arena arena_{block_, sizeof(block_)};
  Message* content_ = Create();
  size_t used_ = 0;
};

}  // namespace internal

// Reads the envelopes that a node gets, each into an object that is kept for
// its topic. The topics are given as messages where they are settled, and else
// as Topic<type, Message>. Keep one for all envelopes, and not on a small
// stack: it holds 8 KiB for each topic whose message has a field of a message
// type.
template <typename... Ts>
class Receiver {
  static_assert((internal::kIsDefined<typename TopicOf<Ts>::Content> && ...),
                "include the header of each message that is received");
  static_assert(internal::AllDiffer({TopicOf<Ts>::kType...}),
                "two topics of this receiver have the same topic type");

 public:
  explicit Receiver(int32_t node) : node_(node), every_node_(node) {}

  // Takes envelopes for this node id as well: the one by which the system
  // addresses every node, if it has one.
  void set_every_node(int32_t node) { every_node_ = node; }
  // Refuses more bytes than these. At first 64 KiB, more than any datagram.
  void set_longest(size_t size) { longest_ = size; }

  // Calls handler(content, envelope) if there is an envelope for this node, of
  // one of the topics, with the content of that topic. Both arguments are valid
  // during the call.
  template <typename Handler>
  [[nodiscard]] Result Receive(Bytes bytes, Handler&& handler) {
    static_assert(
        (std::is_invocable_v<Handler&, const ContentOf<Ts>&, const Envelope&> &&
         ...),
        "the handler has no overload for the content of one of the topics");
    if (bytes.size > longest_) return Result::kTooLong;
    if (!envelope_.OpenFor<TopicOf<Ts>...>(bytes)) return Result::kNoEnvelope;
    const int32_t destination = envelope_.destination();
    if (destination != node_ && destination != every_node_) {
      return Result::kOtherNode;
    }
    Result result = Result::kUnknownTopic;
    (void)(Try<Ts>(handler, &result) || ...);
    return result;
  }

  // What was received last, for logs: valid as long as its bytes are.
  const Envelope& envelope() const { return envelope_; }

 private:
  template <typename T>
  using ContentOf = typename TopicOf<T>::Content;

  // A type for each topic: several may carry the same message.
  template <typename T>
  struct Kept
      : internal::Kept<ContentOf<T>, MessageFacts<ContentOf<T> >::kHasRecords> {
  };

  // Whether it is an envelope of this topic.
  template <typename T, typename Handler>
  bool Try(Handler& handler, Result* result) {
    using Topic = TopicOf<T>;
    if (envelope_.topic_type() != Topic::kType) return false;
    ContentOf<T>* const content =
        std::get<Kept<T> >(kept_).ForNext(envelope_.value().size());
    *result = envelope_.Read<Topic>(content);
    if (*result == Result::kReceived) {
      handler(static_cast<const ContentOf<T>&>(*content),
              static_cast<const Envelope&>(envelope_));
    }
    return true;
  }

  int32_t node_;
  int32_t every_node_;
  size_t longest_ = 64 * 1024;
  Envelope envelope_;
  std::tuple<Kept<Ts>...> kept_;
};

// A handler made of lambdas, one for each content.
template <typename... Lambdas>
struct Overloads : Lambdas... {
  using Lambdas::operator()...;
};
template <typename... Lambdas>
Overloads(Lambdas...) -> Overloads<Lambdas...>;

}  // namespace zorvik::topics

#endif  // __cplusplus
#endif  // ZORVIK_TOPICS_H_
