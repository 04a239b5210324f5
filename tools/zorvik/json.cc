#include "json.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/type_resolver_util.h>
#include <google/protobuf/wrappers.pb.h>

#include <sstream>
#include <stdexcept>
#include <vector>

#include "text.h"

namespace pb = google::protobuf;

namespace {

constexpr char kPrefix[] = "type.googleapis.com";

// Takes type URLs with any prefix: only the name behind it counts.
class AnyPrefix : public pb::util::TypeResolver {
 public:
  explicit AnyPrefix(pb::util::TypeResolver* resolver) : resolver_(resolver) {}

  pb::util::Status ResolveMessageType(const std::string& url,
                                      pb::Type* type) override {
    return resolver_->ResolveMessageType(
        kPrefix + ('/' + url.substr(url.rfind('/') + 1)), type);
  }
  pb::util::Status ResolveEnumType(const std::string& url,
                                   pb::Enum* type) override {
    return resolver_->ResolveEnumType(url, type);
  }

 private:
  const std::unique_ptr<pb::util::TypeResolver> resolver_;
};

// Brings contents, and those inside them, into the form in which the runtime
// writes messages: each field once, in the order of the numbers. Clears those
// that it cannot read.
void Normalise(pb::Message* message, Vocabulary* vocabulary) {
  const pb::Reflection* reflection = message->GetReflection();
  if (message->GetTypeName() == pb::Any::descriptor()->full_name()) {
    pb::Any any;
    std::string name;
    any.ParseFromString(message->SerializeAsString());
    if (!pb::Any::ParseAnyTypeUrl(any.type_url(), &name)) name.clear();
    const pb::Descriptor* type = vocabulary->FindMessage(name);
    const auto content = type == nullptr ? nullptr : vocabulary->New(type);
    if (content == nullptr || !content->ParseFromString(any.value())) {
      message->Clear();
      return;
    }
    Normalise(content.get(), vocabulary);
    any.set_value(content->SerializeAsString());
    message->ParseFromString(any.SerializeAsString());
    return;
  }
  std::vector<const pb::FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const pb::FieldDescriptor* field : fields) {
    if (field->message_type() == nullptr) continue;
    if (!field->is_repeated()) {
      Normalise(reflection->MutableMessage(message, field), vocabulary);
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(*message, field); ++i) {
      Normalise(reflection->MutableRepeatedMessage(message, field, i),
                vocabulary);
    }
  }
}

}  // namespace

Json::Json(Vocabulary* vocabulary, Names names)
    : vocabulary_(vocabulary),
      names_(names),
      resolver_(new AnyPrefix(pb::util::NewTypeResolverForDescriptorPool(
          kPrefix, vocabulary->pool()))) {}

std::string Json::Url(const pb::Descriptor* type) const {
  return kPrefix + ('/' + type->full_name());
}

std::string Json::Of(const pb::Message& message) const {
  const auto copy = vocabulary_->New(message.GetDescriptor());
  copy->CopyFrom(message);
  Normalise(copy.get(), vocabulary_);
  pb::util::JsonPrintOptions options;
  options.preserve_proto_field_names = names_ == Names::kSchema;
  std::string json;
  const auto status = pb::util::BinaryToJsonString(
      resolver_.get(), Url(message.GetDescriptor()), copy->SerializeAsString(),
      &json, options);
  if (!status.ok()) throw std::runtime_error(status.ToString());
  return json;
}

std::string Json::Encode(const std::string& json,
                         const pb::Descriptor* type) const {
  std::string bytes;
  const auto status =
      pb::util::JsonToBinaryString(resolver_.get(), Url(type), json, &bytes);
  if (!status.ok()) {
    throw std::runtime_error(ReasonOf(std::string(status.message())));
  }
  const auto message = vocabulary_->New(type);
  if (!message->ParseFromString(bytes)) {
    throw std::runtime_error("a text is not UTF-8, or it is nested too deep");
  }
  Normalise(message.get(), vocabulary_);
  return message->SerializeAsString();
}

std::string ReasonOf(const std::string& error) {
  std::istringstream lines(error);
  std::string reason, text, caret;
  std::getline(lines, reason);
  std::getline(lines, text);
  std::getline(lines, caret);
  const size_t at = caret.find('^');
  if (at < text.size()) reason += " At: " + text.substr(at);
  return Escaped(reason);
}

std::string Quoted(const std::string& text) {
  pb::StringValue value;
  value.set_value(IsText(text) ? text : Escaped(text));
  std::string json;
  pb::util::MessageToJsonString(value, &json);
  return json;
}
