// Carries the messages that have no envelope in the vocabulary.
//
// The schemas number the components, services, topics and reports but leave
// open how a number travels beside its message. This example's own choice: a
// header of three 16-bit numbers, most significant byte first, and then the
// encoded message.
//
//   kind | component (UAV_COMPONENT_ID) | service, topic or report id | message
#ifndef EXAMPLES_EXCHANGE_SERVICE_LINK_H_
#define EXAMPLES_EXCHANGE_SERVICE_LINK_H_

#include <google/protobuf/generated_enum_reflection.h>
#include <google/protobuf/message.h>

#include <chrono>
#include <optional>
#include <string>

#include "nodes.h"
#include "transcript.h"
#include "uavComponentID.pb.h"
#include "udp_socket.h"

// Tells a service id from a topic id of the same number, and the request of a
// service from its answer.
enum class Kind { kRequest = 1, kAnswer = 2, kReport = 3 };

// What a message is about.
struct Subject {
  Kind kind;
  int component;
  int id;
  std::string name;  // For people: the names of kind, component and id.
};

Subject MakeSubject(Kind kind, zorvik::protocol::UAV_COMPONENT_ID component,
                    int id, const std::string& id_name);

// Id is an enum of service, topic or report ids.
template <typename Id>
Subject On(Kind kind, zorvik::protocol::UAV_COMPONENT_ID component, Id id) {
  const google::protobuf::EnumValueDescriptor* value =
      google::protobuf::GetEnumDescriptor<Id>()->FindValueByNumber(id);
  return MakeSubject(kind, component, id,
                     value == nullptr ? std::string() : value->name());
}

template <typename Id>
Subject Request(zorvik::protocol::UAV_COMPONENT_ID component, Id id) {
  return On(Kind::kRequest, component, id);
}

template <typename Id>
Subject Answer(zorvik::protocol::UAV_COMPONENT_ID component, Id id) {
  return On(Kind::kAnswer, component, id);
}

template <typename Id>
Subject Report(zorvik::protocol::UAV_COMPONENT_ID component, Id id) {
  return On(Kind::kReport, component, id);
}

// One end of the link between two nodes. What does not arrive in time, or is
// not what the exchange needs next, throws std::runtime_error.
class ServiceLink {
 public:
  ServiceLink(uint16_t port, Transcript transcript);

  // Sends to the given node, or to the sender of the last datagram.
  void Connect(const Address& peer) { peer_ = peer; }
  void Send(const Subject& subject, const google::protobuf::Message& message);

  // Whether the next datagram, which has to come in time, is about exactly this
  // subject. It stays the next one.
  bool IsNext(const Subject& subject,
              std::chrono::milliseconds wait = kPatience);

  // Waits for a message about exactly this subject.
  template <typename Message>
  Message Expect(const Subject& subject,
                 std::chrono::milliseconds wait = kPatience) {
    Message message;
    if (!TryReceive(subject, &message, wait)) ThrowNothingCame(subject);
    return message;
  }

  // The same, but false when nothing comes at all.
  bool TryReceive(const Subject& subject, google::protobuf::Message* message,
                  std::chrono::milliseconds wait);

  const UdpSocket& socket() const { return socket_; }
  const Transcript& transcript() const { return transcript_; }

 private:
  [[noreturn]] static void ThrowNothingCame(const Subject& subject);

  // The next datagram, or none when the time is over.
  bool HasNext(std::chrono::milliseconds wait);

  UdpSocket socket_;
  Transcript transcript_;
  std::optional<Address> peer_;
  std::optional<Datagram> next_;
};

#endif  // EXAMPLES_EXCHANGE_SERVICE_LINK_H_
