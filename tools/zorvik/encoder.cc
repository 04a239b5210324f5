#include "encoder.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include <memory>
#include <stdexcept>
#include <utility>

#include "text.h"
#include "wire.h"

namespace pb = google::protobuf;

namespace {

constexpr char kUrlPrefix[] = "type.googleapis.com/";

pb::Struct StructOf(const std::string& json) {
  pb::Struct object;
  const auto status = pb::util::JsonStringToMessage(json, &object);
  if (!status.ok()) {
    throw std::runtime_error("no JSON object: " +
                             ReasonOf(std::string(status.message())));
  }
  return object;
}

std::string JsonOf(const pb::Struct& object) {
  std::string json;
  pb::util::MessageToJsonString(object, &json);
  return json;
}

// A member of an object, or nothing.
const pb::Value* Find(const pb::Struct& object, const std::string& name) {
  const auto found = object.fields().find(name);
  return found == object.fields().end() ? nullptr : &found->second;
}

// Of the schemas' names or those of JSON.
const pb::Value* Find(const pb::Struct& object,
                      const pb::FieldDescriptor* field) {
  const pb::Value* value = Find(object, field->name());
  return value != nullptr ? value : Find(object, field->json_name());
}

// The first fault of a text.
class Collector : public pb::io::ErrorCollector {
 public:
  void AddError(int line, int column, const std::string& message) override {
    if (!fault_.empty()) return;
    if (line >= 0) {
      fault_ = "line " + std::to_string(line + 1) + ", column " +
               std::to_string(column + 1) + ": ";
    }
    fault_ += Escaped(message);
  }
  const std::string& fault() const { return fault_; }

 private:
  std::string fault_;
};

// In an envelope of JSON, completes what the vocabulary knows: the number of a
// topic type, and the type of its content.
void Complete(pb::Struct* object, const pb::Descriptor* type,
              const Vocabulary& vocabulary) {
  const pb::FieldDescriptor *topic = nullptr, *data = nullptr;
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::FieldDescriptor* field = type->field(i);
    const pb::Descriptor* inner = field->message_type();
    if (inner != nullptr &&
        inner->full_name() == pb::Any::descriptor()->full_name()) {
      data = field;
    } else if (field->type() == pb::FieldDescriptor::TYPE_INT32 &&
               vocabulary.EnumOf(field) != nullptr) {
      topic = field;
    }
  }
  if (topic == nullptr || data == nullptr) return;
  const pb::Value* named = Find(*object, topic);
  if (named == nullptr) return;
  pb::Value number = *named;
  if (named->kind_case() == pb::Value::kStringValue) {
    number.set_number_value(
        vocabulary.MeantTopic(named->string_value()).number());
    object->mutable_fields()->erase(topic->json_name());
    (*object->mutable_fields())[topic->name()] = number;
  }
  const pb::Value* content = Find(*object, data);
  const pb::EnumValueDescriptor* id =
      vocabulary.EnumOf(topic)->FindValueByNumber(
          static_cast<int>(number.number_value()));
  if (content == nullptr || !content->has_struct_value() || id == nullptr ||
      Find(content->struct_value(), "@type") != nullptr ||
      vocabulary.CarriedBy(id).empty()) {
    return;
  }
  pb::Value completed = *content;
  (*completed.mutable_struct_value()->mutable_fields())["@type"]
      .set_string_value(kUrlPrefix + vocabulary.CarriedBy(id));
  object->mutable_fields()->erase(data->json_name());
  (*object->mutable_fields())[data->name()] = completed;
}

}  // namespace

Encoder::Encoder(EncoderOptions options, Vocabulary* vocabulary)
    : options_(options), vocabulary_(vocabulary), json_(vocabulary) {}

std::string Encoder::FromJson(const std::string& json) const {
  pb::Struct object = StructOf(json);
  const pb::Value* inner = Find(object, "message");
  if (Find(object, "place") == nullptr) {  // Not what decode printed.
    const std::string before = JsonOf(object);
    if (options_.envelope == nullptr) {
      Complete(&object, options_.type, *vocabulary_);
    }
    // What was not completed is taken as it is written, with all its digits.
    const std::string after = JsonOf(object);
    return Packed(json_.Encode(after == before ? json : after, options_.type));
  }
  if (inner == nullptr || !inner->has_struct_value()) {
    throw std::runtime_error("there is no message in what decode printed");
  }
  const pb::Value* name = Find(object, "type");
  const pb::Descriptor* type = name == nullptr
                                   ? options_.type
                                   : vocabulary_->Meant(name->string_value());
  if (const pb::Value* raw = Find(object, "raw")) {
    const std::string bytes = FromHex(raw->string_value()).bytes;
    const auto message = vocabulary_->New(type);
    message->ParseFromString(SalvageFrom(bytes, type, *vocabulary_).good);
    if (pb::util::MessageDifferencer::Equals(StructOf(json_.Of(*message)),
                                             inner->struct_value())) {
      return Packed(bytes);
    }
  }
  pb::Struct changed = inner->struct_value();
  Complete(&changed, type, *vocabulary_);
  return Packed(json_.Encode(JsonOf(changed), type));
}

std::string Encoder::FromText(const std::string& text) const {
  const auto message = vocabulary_->New(options_.type);
  const AnyFinder finder;
  Collector collector;
  pb::TextFormat::Parser parser;
  parser.SetFinder(&finder);
  parser.RecordErrorsTo(&collector);
  parser.SetRecursionLimit(kDeepest);
  if (!parser.ParseFromString(text, message.get())) {
    throw std::runtime_error(collector.fault());
  }
  return Packed(message->SerializeAsString());
}

std::string Encoder::Packed(const std::string& bytes) const {
  if (options_.envelope == nullptr) return bytes;
  pb::Any any;
  any.set_type_url(kUrlPrefix + options_.type->full_name());
  any.set_value(bytes);
  const auto envelope = vocabulary_->New(options_.envelope);
  const pb::Reflection* reflection = envelope->GetReflection();
  const auto field = [&](const char* name) {
    return options_.envelope->FindFieldByName(name);
  };
  reflection->SetInt32(envelope.get(), field("topic_type"), options_.topic);
  reflection->SetInt32(envelope.get(), field("src_node_id"), options_.source);
  reflection->SetInt32(envelope.get(), field("dst_node_id"),
                       options_.destination);
  reflection->MutableMessage(envelope.get(), field("data"))
      ->ParseFromString(any.SerializeAsString());
  return envelope->SerializeAsString();
}
