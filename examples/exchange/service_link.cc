#include "service_link.h"

#include <stdexcept>
#include <utility>

namespace {

constexpr size_t kHeaderSize = 6;

void Append16(int number, std::string* bytes) {
  bytes->push_back(static_cast<char>(number >> 8));
  bytes->push_back(static_cast<char>(number));
}

std::string Header(const Subject& subject) {
  std::string bytes;
  Append16(static_cast<int>(subject.kind), &bytes);
  Append16(subject.component, &bytes);
  Append16(subject.id, &bytes);
  return bytes;
}

bool IsAbout(const Datagram& datagram, const Subject& subject) {
  return datagram.bytes.compare(0, kHeaderSize, Header(subject)) == 0;
}

const char* NameOf(Kind kind) {
  switch (kind) {
    case Kind::kRequest:
      return "request";
    case Kind::kAnswer:
      return "answer";
    default:
      return "report";
  }
}

}  // namespace

Subject MakeSubject(Kind kind, zorvik::protocol::UAV_COMPONENT_ID component,
                    int id, const std::string& id_name) {
  return {kind, component, id,
          id_name + " (" + NameOf(kind) + ", " +
              zorvik::protocol::UAV_COMPONENT_ID_Name(component) + ")"};
}

ServiceLink::ServiceLink(uint16_t port, Transcript transcript)
    : socket_(port), transcript_(std::move(transcript)) {}

void ServiceLink::Send(const Subject& subject,
                       const google::protobuf::Message& message) {
  if (!peer_) throw std::logic_error("no node to send " + subject.name + " to");
  std::string bytes = Header(subject);
  message.AppendToString(&bytes);
  transcript_.Sent(subject.name, bytes, message);
  socket_.Send(bytes, *peer_);
}

bool ServiceLink::TryReceive(const Subject& subject,
                             google::protobuf::Message* message,
                             std::chrono::milliseconds wait) {
  if (!HasNext(wait)) return false;
  const Datagram datagram = *std::exchange(next_, std::nullopt);
  if (!IsAbout(datagram, subject)) {
    throw std::runtime_error("something else than " + subject.name +
                             " arrived");
  }
  const char* encoded = datagram.bytes.data() + kHeaderSize;
  if (!message->ParseFromArray(
          encoded, static_cast<int>(datagram.bytes.size() - kHeaderSize))) {
    throw std::runtime_error(subject.name + " does not hold a " +
                             message->GetTypeName());
  }
  peer_ = datagram.from;
  transcript_.Received(subject.name, *message);
  return true;
}

bool ServiceLink::HasNext(std::chrono::milliseconds wait) {
  if (!next_) next_ = socket_.Receive(wait);
  return next_.has_value();
}

bool ServiceLink::IsNext(const Subject& subject,
                         std::chrono::milliseconds wait) {
  return HasNext(wait) && IsAbout(*next_, subject);
}

void ServiceLink::ThrowNothingCame(const Subject& subject) {
  throw std::runtime_error("waited for " + subject.name +
                           " and nothing came: the other node is not there, "
                           "or a datagram was lost");
}
