// The channel envelope as a receiver uses it: parse it, look at the topic type,
// check the payload's type name, unpack the payload.
#include "channelMessage.pb.h"
#include "check.h"
#include "support/schemas.h"
#include "support/topics.h"

namespace {

namespace pb = google::protobuf;
using zorvik::channel::channelTopicMessage;

// The type that a receiver takes from this envelope, or null.
const pb::Descriptor* PayloadType(const channelTopicMessage& envelope) {
  if (!zorvik::channel::channelTopicType_IsValid(envelope.topic_type())) {
    return nullptr;
  }
  std::string name;
  if (!pb::Any::ParseAnyTypeUrl(envelope.data().type_url(), &name)) {
    return nullptr;
  }
  const auto carried = CarriedMessages().find(envelope.topic_type());
  if (carried != CarriedMessages().end() && carried->second != name) {
    return nullptr;
  }
  const pb::Descriptor* type =
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
  const bool ours = type != nullptr && name.rfind("zorvik.", 0) == 0;
  return ours ? type : nullptr;
}

// A receiver that skips the check is refused by the type name alone.
template <typename Other>
void CheckOther(const channelTopicMessage& envelope) {
  std::string name;
  if (pb::Any::ParseAnyTypeUrl(envelope.data().type_url(), &name) &&
      name == Other::descriptor()->full_name()) {
    return;
  }
  Other other;
  CheckRefusal([&](auto* message) { return envelope.data().UnpackTo(message); },
               &other, envelope);
}

void Receive(const channelTopicMessage& envelope, bool sampled) {
  CheckOther<zorvik::channel::checkMessage>(envelope);
  CheckOther<channelTopicMessage>(envelope);
  const pb::Descriptor* type = PayloadType(envelope);
  if (type == nullptr) return;

  const std::unique_ptr<pb::Message> payload = NewMessage(type);
  const std::unique_ptr<pb::Message> direct = NewMessage(type);
  const bool unpacked = envelope.data().UnpackTo(payload.get());
  Require(unpacked == direct->ParseFromString(envelope.data().value()),
          "unpacking as parsing", envelope);
  if (!unpacked) return;
  CheckForms(*payload, sampled);

  // The receiver sends it on.
  channelTopicMessage sent = envelope;
  sent.mutable_data()->PackFrom(*payload);
  channelTopicMessage received;
  Require(received.ParseFromString(sent.SerializeAsString()), "sending on",
          sent);
  Require(received.topic_type() == envelope.topic_type() &&
              received.data().UnpackTo(direct.get()) &&
              direct->SerializeAsString() == payload->SerializeAsString(),
          "receiving again", received);
  Pass("content", *payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  channelTopicMessage envelope;
  if (envelope.ParseFromArray(data, static_cast<int>(size))) {
    const bool sampled = IsSampled({reinterpret_cast<const char*>(data), size});
    CheckForms(envelope, sampled);
    Receive(envelope, sampled);
  }
  return 0;
}
