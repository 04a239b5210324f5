#include "support/fill.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/wrappers.pb.h>

#include <limits>
#include <string>

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

constexpr int kElements = 2;

template <typename Number>
Number Pick(Fill fill, int ordinal) {
  switch (fill) {
    case Fill::kLargest:
      return std::numeric_limits<Number>::max();
    case Fill::kLowest:
      if (std::numeric_limits<Number>::is_integer) {
        return std::numeric_limits<Number>::is_signed
                   ? std::numeric_limits<Number>::min()
                   : Number{1};
      }
      return -Number{0};
    default:
      return static_cast<Number>(ordinal);
  }
}

std::string PickString(const FieldDescriptor* field, Fill fill, int ordinal) {
  if (fill != Fill::kLargest) return "v" + std::to_string(ordinal);
  std::string text(300, 'x');  // A length of two bytes.
  if (field->type() == FieldDescriptor::TYPE_STRING) {
    return text + u8"\u00e9\u6c34\U0001f681";  // Two, three and four bytes.
  }
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  return text;
}

int UndeclaredNumber(const pb::EnumDescriptor* type, Fill fill) {
  if (fill == Fill::kLargest) return std::numeric_limits<int>::max();
  if (fill == Fill::kLowest) return std::numeric_limits<int>::min();
  int number = 1;
  while (type->FindValueByNumber(number) != nullptr) ++number;
  return number;
}

class Filler {
 public:
  explicit Filler(Fill fill) : fill_(fill) {}

  void Message(pb::Message* message) {
    if (auto* any = pb::DynamicCastToGenerated<pb::Any>(message)) {
      pb::StringValue payload;
      payload.set_value("packed");
      any->PackFrom(payload);
      return;
    }
    for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
      const FieldDescriptor* field = message->GetDescriptor()->field(i);
      for (int n = 0; n < (field->is_repeated() ? kElements : 1); ++n) {
        ++ordinal_;
        Field(message, field);
      }
    }
  }

 private:
  void Field(pb::Message* message, const FieldDescriptor* field) {
    const pb::Reflection* r = message->GetReflection();
    const bool list = field->is_repeated();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32: {
        const auto value = Pick<int32_t>(fill_, ordinal_);
        list ? r->AddInt32(message, field, value)
             : r->SetInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_UINT32: {
        const auto value = Pick<uint32_t>(fill_, ordinal_);
        list ? r->AddUInt32(message, field, value)
             : r->SetUInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_INT64:
        r->SetInt64(message, field, Pick<int64_t>(fill_, ordinal_));
        break;
      case FieldDescriptor::CPPTYPE_UINT64:
        r->SetUInt64(message, field, Pick<uint64_t>(fill_, ordinal_));
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
        r->SetFloat(message, field, Pick<float>(fill_, ordinal_));
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        r->SetDouble(message, field, Pick<double>(fill_, ordinal_));
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        r->SetBool(message, field, true);
        break;
      case FieldDescriptor::CPPTYPE_ENUM:
        r->SetEnumValue(message, field,
                        UndeclaredNumber(field->enum_type(), fill_));
        break;
      case FieldDescriptor::CPPTYPE_STRING:
        r->SetString(message, field, PickString(field, fill_, ordinal_));
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE: {
        pb::Message* record = list ? r->AddMessage(message, field)
                                   : r->MutableMessage(message, field);
        if (fill_ != Fill::kLowest) Message(record);
        break;
      }
    }
  }

  const Fill fill_;
  int ordinal_ = 0;
};

}  // namespace

void FillMessage(pb::Message* message, Fill fill) {
  Filler(fill).Message(message);
}
