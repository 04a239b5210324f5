#include "parcel.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>

#include <stdexcept>
#include <utility>

#include "printer.h"
#include "text.h"

namespace pb = google::protobuf;

namespace {

constexpr size_t kHeaderSize = 6;
constexpr char kEnvelopeType[] = "zorvik.channel.channelTopicMessage";
constexpr char kUrlPrefix[] = "type.googleapis.com/";

// What carries the first messages of a node is open. This is the choice of this
// program and of the examples: each under the id that names its step, and the
// answer under the same.
struct Choice {
  const char *id, *request, *answer;
};
constexpr Choice kChoices[] = {
    {"zorvik.discovery.SERVICE_ID_DISCOVERY_BROADCAST",
     "zorvik.discovery.addrDiscovery", "zorvik.discovery.addrServer"},
    {"zorvik.handshake.SERVICE_ID_HS_APPLY",
     "zorvik.handshake.handShakeMessage",
     "zorvik.handshake.handShakeRspMessage"}};

int Word(const std::string& bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]) << 8 |
         static_cast<unsigned char>(bytes[at + 1]);
}

Subject SubjectOfFrame(const std::string& bytes) {
  return {static_cast<Role>(Word(bytes, 0)), Word(bytes, 2), Word(bytes, 4)};
}

}  // namespace

Post::Post(Vocabulary* vocabulary) : vocabulary_(vocabulary) {
  for (const catalogue::Id& id : vocabulary->catalogue().ids()) {
    by_name_[id.name()] = &id;
  }
  for (const catalogue::Id& id : vocabulary->catalogue().ids()) {
    if (id.kind() == "component") continue;
    // A topic and a report may share a number; a settled one comes first.
    const catalogue::Id*& known = ids_[SubjectOf(id)];
    if (known == nullptr || !known->settled()) known = &id;
    if (id.kind() == "service") {
      Subject answer = SubjectOf(id);
      answer.role = Role::kAnswer;
      ids_[answer] = &id;
    }
  }
  const auto pair = [&](const Subject& request, const Subject& answer,
                        const std::string& type) {
    const pb::Descriptor* message = vocabulary->FindMessage(type);
    answered_[request] = {answer, message};
    answers_[answer] = message;
  };
  for (const catalogue::Id& id : vocabulary->catalogue().ids()) {
    if (!id.has_answer()) continue;
    Subject answer = SubjectOf(id);
    answer.role = Role::kAnswer;
    if (!id.answer().id().empty()) answer = SubjectOf(IdOf(id.answer().id()));
    pair(SubjectOf(id), answer, id.answer().message());
  }
  for (const Choice& choice : kChoices) {
    const Subject request = SubjectOf(IdOf(choice.id));
    const Subject answer{Role::kAnswer, request.component, request.number};
    chosen_[request] = vocabulary->FindMessage(choice.request);
    chosen_[answer] = vocabulary->FindMessage(choice.answer);
    pair(request, answer, choice.answer);
  }
}

const catalogue::Id& Post::IdOf(const std::string& name) const {
  const auto found = by_name_.find(name);
  if (found == by_name_.end()) {
    throw std::runtime_error("the catalogue has no id " + name);
  }
  return *found->second;
}

const catalogue::Id& Post::Meant(const std::string& name) const {
  for (const catalogue::Id& id : vocabulary_->catalogue().ids()) {
    const std::string last = id.name().substr(id.name().rfind('.') + 1);
    if (id.kind() != "component" && (id.name() == name || last == name)) {
      return id;
    }
  }
  return vocabulary_->MeantTopic(name);
}

std::unique_ptr<pb::Message> Post::New(const std::string& name) const {
  const pb::Descriptor* type = vocabulary_->FindMessage(name);
  if (type == nullptr) throw std::runtime_error("there is no message " + name);
  return vocabulary_->New(type);
}

int Post::ComponentOf(const catalogue::Id& id) const {
  const auto found = by_name_.find(id.component());
  return found == by_name_.end() ? 0 : found->second->number();
}

Subject Post::SubjectOf(const catalogue::Id& id) const {
  if (id.kind() == "topic type") return {Role::kTopicType, 0, id.number()};
  return {id.kind() == "service" ? Role::kRequest : Role::kReport,
          ComponentOf(id), id.number()};
}

const catalogue::Id* Post::Find(const Subject& subject) const {
  const auto found = ids_.find(subject);
  return found == ids_.end() ? nullptr : found->second;
}

const pb::Descriptor* Post::TypeOf(const Subject& subject) const {
  const auto chosen = chosen_.find(subject);
  if (chosen != chosen_.end()) return chosen->second;
  if (subject.role == Role::kAnswer) {
    const auto answer = answers_.find(subject);
    return answer == answers_.end() ? nullptr : answer->second;
  }
  const catalogue::Id* id = Find(subject);
  return id == nullptr ? nullptr : vocabulary_->FindMessage(id->carries());
}

std::optional<Answering> Post::AnswerTo(const Subject& subject) const {
  const auto found = answered_.find(subject);
  if (found == answered_.end()) return std::nullopt;
  return found->second;
}

bool Post::IsFrame(const std::string& bytes) const {
  return bytes.size() >= kHeaderSize && bytes[0] == 0 &&
         Find(SubjectOfFrame(bytes)) != nullptr;
}

std::optional<Parcel> Post::Open(const std::string& bytes, Fault* fault) const {
  Parcel parcel;
  if (!bytes.empty() && bytes[0] == 0) {
    if (bytes.size() < kHeaderSize) {
      *fault = {bytes.size(), "neither an envelope nor a frame"};
      return std::nullopt;
    }
    parcel.subject = SubjectOfFrame(bytes);
    parcel.type = TypeOf(parcel.subject);
    parcel.bytes = bytes.substr(kHeaderSize);
  } else {
    const auto envelope =
        vocabulary_->New(vocabulary_->FindMessage(kEnvelopeType));
    if (!envelope->ParseFromString(bytes)) {
      *fault = FindFault(bytes, envelope->GetDescriptor(), *vocabulary_)
                   .value_or(Fault{0, "cannot be parsed"});
      return std::nullopt;
    }
    parcel.subject.number = static_cast<int>(Number(*envelope, "topic_type"));
    parcel.from = static_cast<int>(Number(*envelope, "src_node_id"));
    parcel.to = static_cast<int>(Number(*envelope, "dst_node_id"));
    const Content content = ContentOf(*envelope, *vocabulary_);
    parcel.mismatch = content.mismatch;
    pb::Any any;
    any.ParseFromString(
        envelope->GetReflection()
            ->GetMessage(*envelope,
                         envelope->GetDescriptor()->FindFieldByName("data"))
            .SerializeAsString());
    std::string name;
    if (pb::Any::ParseAnyTypeUrl(any.type_url(), &name)) {
      parcel.type = vocabulary_->FindMessage(name);
    }
    parcel.bytes = any.value();
  }
  parcel.id = Find(parcel.subject);
  if (parcel.type == nullptr) return parcel;
  parcel.fault = FindFault(parcel.bytes, parcel.type, *vocabulary_);
  if (!parcel.fault) {
    parcel.message = vocabulary_->New(parcel.type);
    if (!parcel.message->ParseFromString(parcel.bytes)) {
      parcel.message = nullptr;
      parcel.fault = Fault{0, "cannot be parsed"};
    }
  }
  return parcel;
}

std::string Post::Pack(const Subject& subject, int from, int to,
                       const pb::Message& message) const {
  return Pack(subject, from, to, message.GetTypeName(),
              message.SerializeAsString());
}

std::string Post::Pack(const Subject& subject, int from, int to,
                       const std::string& type,
                       const std::string& bytes) const {
  if (subject.role != Role::kTopicType) {
    std::string frame;
    for (const int number :
         {static_cast<int>(subject.role), subject.component, subject.number}) {
      frame += static_cast<char>(number >> 8);
      frame += static_cast<char>(number);
    }
    return frame + bytes;
  }
  const auto envelope =
      vocabulary_->New(vocabulary_->FindMessage(kEnvelopeType));
  Set(envelope.get(), "topic_type", subject.number);
  Set(envelope.get(), "src_node_id", from);
  Set(envelope.get(), "dst_node_id", to);
  pb::Any any;
  any.set_type_url(kUrlPrefix + type);
  any.set_value(bytes);
  envelope->GetReflection()
      ->MutableMessage(envelope.get(),
                       envelope->GetDescriptor()->FindFieldByName("data"))
      ->ParseFromString(any.SerializeAsString());
  return envelope->SerializeAsString();
}

std::string Post::NameOf(const Subject& subject) const {
  const catalogue::Id* id = Find(subject);
  if (id == nullptr) {
    return subject.role == Role::kTopicType
               ? "topic type " + std::to_string(subject.number)
               : "id " + std::to_string(subject.number) + " of component " +
                     std::to_string(subject.component);
  }
  const std::string name = id->name().substr(id->name().rfind('.') + 1);
  return subject.role == Role::kAnswer ? name + ", answer"
                                       : vocabulary_->Brief(name);
}

std::string Value(const pb::Message& message, const std::string& field) {
  const auto* descriptor = message.GetDescriptor()->FindFieldByName(field);
  if (descriptor == nullptr || descriptor->is_repeated()) return "";
  std::string text;
  pb::TextFormat::PrintFieldValueToString(message, descriptor, -1, &text);
  return text;
}

int64_t Number(const pb::Message& message, const std::string& field) {
  using Field = pb::FieldDescriptor;
  const Field* descriptor = message.GetDescriptor()->FindFieldByName(field);
  const pb::Reflection* reflection = message.GetReflection();
  if (descriptor == nullptr || descriptor->is_repeated()) return 0;
  switch (descriptor->cpp_type()) {
    case Field::CPPTYPE_INT32:
      return reflection->GetInt32(message, descriptor);
    case Field::CPPTYPE_UINT32:
      return reflection->GetUInt32(message, descriptor);
    case Field::CPPTYPE_INT64:
      return reflection->GetInt64(message, descriptor);
    case Field::CPPTYPE_UINT64:
      return static_cast<int64_t>(reflection->GetUInt64(message, descriptor));
    case Field::CPPTYPE_ENUM:
      return reflection->GetEnumValue(message, descriptor);
    default:
      return 0;
  }
}

void Set(pb::Message* message, const std::string& field, int64_t number) {
  using Field = pb::FieldDescriptor;
  const Field* descriptor = message->GetDescriptor()->FindFieldByName(field);
  const pb::Reflection* reflection = message->GetReflection();
  if (descriptor == nullptr || descriptor->is_repeated()) return;
  switch (descriptor->cpp_type()) {
    case Field::CPPTYPE_INT32:
      return reflection->SetInt32(message, descriptor,
                                  static_cast<int32_t>(number));
    case Field::CPPTYPE_UINT32:
      return reflection->SetUInt32(message, descriptor,
                                   static_cast<uint32_t>(number));
    case Field::CPPTYPE_INT64:
      return reflection->SetInt64(message, descriptor, number);
    case Field::CPPTYPE_UINT64:
      return reflection->SetUInt64(message, descriptor,
                                   static_cast<uint64_t>(number));
    case Field::CPPTYPE_ENUM:
      return reflection->SetEnumValue(message, descriptor,
                                      static_cast<int>(number));
    default:
      return;
  }
}

void Set(pb::Message* message, const std::string& field,
         const std::string& text) {
  const auto* descriptor = message->GetDescriptor()->FindFieldByName(field);
  if (descriptor != nullptr && !descriptor->is_repeated() &&
      descriptor->cpp_type() == pb::FieldDescriptor::CPPTYPE_STRING) {
    message->GetReflection()->SetString(message, descriptor, text);
  }
}
