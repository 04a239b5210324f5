#include "fields.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <utility>

#include "text.h"

namespace pb = google::protobuf;

namespace {

std::string Scalar(const pb::Message& message, const pb::FieldDescriptor* field,
                   int index) {
  const pb::Reflection* reflection = message.GetReflection();
  if (field->cpp_type() == pb::FieldDescriptor::CPPTYPE_STRING) {
    return Escaped(index < 0
                       ? reflection->GetString(message, field)
                       : reflection->GetRepeatedString(message, field, index));
  }
  std::string text;
  pb::TextFormat::PrintFieldValueToString(message, field, index, &text);
  return text;
}

std::unique_ptr<pb::Message> Unpack(const pb::Message& message,
                                    Vocabulary* vocabulary) {
  pb::Any any;
  std::string name;
  if (!any.ParseFromString(message.SerializeAsString()) ||
      !pb::Any::ParseAnyTypeUrl(any.type_url(), &name)) {
    return nullptr;
  }
  const pb::Descriptor* type = vocabulary->FindMessage(name);
  if (type == nullptr) return nullptr;
  auto content = vocabulary->New(type);
  return content->ParseFromString(any.value()) ? std::move(content) : nullptr;
}

}  // namespace

std::string ValueAt(const pb::Message& message, const std::string& path,
                    Vocabulary* vocabulary) {
  const size_t dot = path.find('.');
  const pb::FieldDescriptor* field =
      message.GetDescriptor()->FindFieldByName(path.substr(0, dot));
  if (field == nullptr) {
    if (message.GetTypeName() != pb::Any::descriptor()->full_name()) return "";
    const auto content = Unpack(message, vocabulary);
    return content == nullptr ? "" : ValueAt(*content, path, vocabulary);
  }
  const pb::Reflection* reflection = message.GetReflection();
  const bool is_message = field->message_type() != nullptr;
  const int size = field->is_repeated()
                       ? reflection->FieldSize(message, field)
                       : !is_message || reflection->HasField(message, field);
  if (is_message != (dot != std::string::npos)) return "";
  std::string values;
  for (int i = 0; i < size; ++i) {
    const int index = field->is_repeated() ? i : -1;
    if (i > 0) values += ',';
    if (!is_message) {
      values += Scalar(message, field, index);
      continue;
    }
    values += ValueAt(
        index < 0 ? reflection->GetMessage(message, field)
                  : reflection->GetRepeatedMessage(message, field, index),
        path.substr(dot + 1), vocabulary);
  }
  return values;
}
