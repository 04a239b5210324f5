#include "printer.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>

#include <iomanip>
#include <ostream>
#include <sstream>
#include <vector>

#include "text.h"
#include "wire.h"

namespace pb = google::protobuf;

namespace {

bool IsAny(const pb::Descriptor* type) {
  return type != nullptr &&
         type->full_name() == pb::Any::descriptor()->full_name();
}

// An Any of the descriptor set as one of the runtime's.
pb::Any ToAny(const pb::Message& message) {
  pb::Any any;
  any.ParseFromString(message.SerializeAsString());
  return any;
}

std::string ContentName(const pb::Any& any) {
  std::string name;
  return pb::Any::ParseAnyTypeUrl(any.type_url(), &name) ? name : "";
}

}  // namespace

Content ContentOf(const pb::Message& message, const Vocabulary& vocabulary) {
  const pb::Descriptor* type = message.GetDescriptor();
  const pb::Reflection* reflection = message.GetReflection();
  Content content;
  bool has_any = false;
  std::string found = "nothing";
  const pb::EnumValueDescriptor* id = nullptr;
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::FieldDescriptor* field = type->field(i);
    if (field->is_repeated()) continue;
    if (IsAny(field->message_type())) {
      has_any = true;
      const pb::Any any = ToAny(reflection->GetMessage(message, field));
      content.type = ContentName(any);
      if (!content.type.empty()) {
        found = Escaped(content.type);
      } else if (!any.type_url().empty()) {
        found = "the type URL \"" + Escaped(any.type_url()) +
                "\", which has no name behind a \"/\"";
      }
    } else if (field->type() == pb::FieldDescriptor::TYPE_INT32 &&
               vocabulary.EnumOf(field) != nullptr) {
      id = vocabulary.EnumOf(field)->FindValueByNumber(
          reflection->GetInt32(message, field));
    }
  }
  if (!has_any || id == nullptr) return content;
  content.id = id->name();
  const std::string carried = vocabulary.CarriedBy(id);
  if (!carried.empty() && content.type != carried) {
    content.mismatch = id->name() + " carries " + carried + ", not " + found;
  }
  return content;
}

void Printer::Print(const pb::Message& message, int indent) {
  std::vector<const pb::FieldDescriptor*> fields;
  const pb::Reflection* reflection = message.GetReflection();
  reflection->ListFields(message, &fields);
  for (const pb::FieldDescriptor* field : fields) {
    if (!field->is_repeated()) {
      PrintField(message, field, -1, indent);
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
      PrintField(message, field, i, indent);
    }
  }
  PrintUnknown(reflection->GetUnknownFields(message), indent);
  const std::string mismatch = ContentOf(message, *vocabulary_).mismatch;
  if (!mismatch.empty()) Warn(indent, mismatch);
}

void Printer::PrintField(const pb::Message& message,
                         const pb::FieldDescriptor* field, int index,
                         int indent) {
  std::ostream& line = Line(indent)
                       << (options_.colours ? "\x1b[36m" : "") << field->name();
  if (index >= 0) line << '[' << index << ']';
  if (options_.colours) line << "\x1b[0m";
  if (field->message_type() == nullptr) {
    line << ": " << Scalar(message, field, index) << '\n';
    return;
  }
  const pb::Reflection* reflection = message.GetReflection();
  const pb::Message& child =
      index < 0 ? reflection->GetMessage(message, field)
                : reflection->GetRepeatedMessage(message, field, index);
  if (IsAny(field->message_type())) {
    PrintContent(child, indent);
  } else {
    line << ": " << field->message_type()->full_name() << '\n';
    Print(child, indent + 1);
  }
}

std::string Printer::Scalar(const pb::Message& message,
                            const pb::FieldDescriptor* field, int index) const {
  const pb::Reflection* reflection = message.GetReflection();
  if (field->type() == pb::FieldDescriptor::TYPE_BYTES) {
    return Hex(index < 0
                   ? reflection->GetString(message, field)
                   : reflection->GetRepeatedString(message, field, index));
  }
  std::string text;
  const pb::EnumDescriptor* enum_type = vocabulary_->EnumOf(field);
  if (enum_type == nullptr) {
    pb::TextFormat::PrintFieldValueToString(message, field, index, &text);
    const std::string unit = vocabulary_->UnitOf(field);
    return unit.empty() ? text : text + " " + unit;
  }
  int number = 0;
  if (field->enum_type() != nullptr) {
    number = index < 0
                 ? reflection->GetEnumValue(message, field)
                 : reflection->GetRepeatedEnumValue(message, field, index);
    text = std::to_string(number);
  } else {
    pb::TextFormat::PrintFieldValueToString(message, field, index, &text);
    number = static_cast<int>(std::stoll(text));
  }
  const pb::EnumValueDescriptor* value = enum_type->FindValueByNumber(number);
  return text + (value != nullptr
                     ? " " + value->name()
                     : " (not declared in " + enum_type->full_name() + ")");
}

void Printer::PrintContent(const pb::Message& message, int indent) {
  const pb::Any any = ToAny(message);
  const std::string name = ContentName(any);
  const pb::Descriptor* type = vocabulary_->FindMessage(name);
  std::string problem;
  if (type == nullptr) {
    problem = name.empty() ? "without a type" : "which the schemas do not have";
  } else if (contents_ == kDeepest) {
    problem = "packed too deep";
  } else {
    const auto content = vocabulary_->New(type);
    if (content->ParseFromString(any.value())) {
      *out_ << ": " << Escaped(name) << '\n';
      ++contents_;
      Print(*content, indent + 1);
      --contents_;
    } else {
      problem = "malformed";
    }
  }
  if (!problem.empty()) {
    *out_ << ": " << (name.empty() ? "content" : Escaped(name)) << ", "
          << problem << '\n';
    Line(indent + 1) << "value: " << Hex(any.value()) << '\n';
  }
  PrintUnknown(message.GetReflection()->GetUnknownFields(message), indent + 1);
}

void Printer::PrintUnknown(const pb::UnknownFieldSet& fields, int indent) {
  for (int i = 0; i < fields.field_count(); ++i) {
    const pb::UnknownField& field = fields.field(i);
    std::ostream& line = Line(indent) << "unknown field " << field.number();
    switch (field.type()) {
      case pb::UnknownField::TYPE_VARINT:
        line << ", varint: " << field.varint() << '\n';
        break;
      case pb::UnknownField::TYPE_FIXED32:
        line << ", 32 bits: 0x" << std::hex << field.fixed32() << std::dec
             << '\n';
        break;
      case pb::UnknownField::TYPE_FIXED64:
        line << ", 64 bits: 0x" << std::hex << field.fixed64() << std::dec
             << '\n';
        break;
      case pb::UnknownField::TYPE_LENGTH_DELIMITED:
        line << ", " << field.length_delimited().size()
             << " bytes: " << Hex(field.length_delimited()) << '\n';
        break;
      case pb::UnknownField::TYPE_GROUP:
        line << ", group\n";
        PrintUnknown(field.group(), indent + 1);
        break;
    }
  }
}

std::string Printer::Hex(const std::string& bytes) const {
  if (bytes.empty()) return "(empty)";
  std::ostringstream hex;
  hex << std::hex << std::setfill('0');
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i == options_.most_bytes) {
      hex << std::dec << " ... and " << bytes.size() - i << " bytes more";
      break;
    }
    hex << (i == 0 ? "" : " ") << std::setw(2)
        << static_cast<int>(static_cast<unsigned char>(bytes[i]));
  }
  return hex.str();
}

void Printer::Warn(int indent, const std::string& what) {
  Line(indent) << (options_.colours ? "\x1b[31m! " : "! ") << what
               << (options_.colours ? "\x1b[0m\n" : "\n");
}

std::ostream& Printer::Line(int indent) {
  return *out_ << std::string(2 * indent, ' ');
}
