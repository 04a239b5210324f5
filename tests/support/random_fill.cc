#include "support/random_fill.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

constexpr int kDeepest = 3;

class RandomFiller {
 public:
  explicit RandomFiller(std::mt19937_64* random) : random_(*random) {}

  void Message(pb::Message* message, int depth) {
    if (auto* any = pb::DynamicCastToGenerated<pb::Any>(message)) {
      const std::vector<const pb::Descriptor*> types = Messages();
      const auto payload = NewMessage(types[Below(types.size())]);
      if (depth < kDeepest) Message(payload.get(), depth + 1);
      any->PackFrom(*payload);
      return;
    }
    for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
      const FieldDescriptor* field = message->GetDescriptor()->field(i);
      const uint64_t count = field->is_repeated() ? Below(4) : Below(4) != 0;
      for (uint64_t n = 0; n < count; ++n) Field(message, field, depth);
    }
  }

 private:
  // The standard's distributions differ from library to library.
  uint64_t Below(uint64_t limit) { return random_() % limit; }

  template <typename Number>
  Number Integer() {
    using Limits = std::numeric_limits<Number>;
    switch (Below(6)) {
      case 0:
        return 0;
      case 1:
        return Limits::max();
      case 2:
        return Limits::min();
      case 3:
        return static_cast<Number>(-1);
      default:  // As many small numbers as large ones.
        return static_cast<Number>(random_() >> Below(64));
    }
  }

  template <typename Number, typename Bits>
  Number Float() {
    using Limits = std::numeric_limits<Number>;
    const Number edges[] = {std::nextafter(Limits::max(), Number{0}),
                            Limits::min(),
                            Limits::denorm_min(),
                            Limits::infinity(),
                            -Limits::infinity(),
                            Limits::quiet_NaN(),
                            Number{0},
                            static_cast<Number>(0.1)};
    if (Below(4) == 0) return edges[Below(std::size(edges))];
    if (Below(64) == 0) return -Number{0};
    const Bits bits = static_cast<Bits>(random_());
    Number value;
    std::memcpy(&value, &bits, sizeof value);
    return std::isfinite(value) ? value : Number{1};
  }

  int EnumNumber(const pb::EnumDescriptor* type) {
    if (Below(2) == 0) return Integer<int32_t>();
    return type->value(static_cast<int>(Below(type->value_count())))->number();
  }

  std::string Bytes() {
    std::string bytes(Below(8) == 0 ? 300 : Below(12), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random_());
    return bytes;
  }

  // Characters that writers of UTF-8 and of JSON treat in a way of their own.
  std::string Text() {
    const std::string characters[] = {std::string(1, '\0'),
                                      "\"",
                                      "\\",
                                      "/",
                                      "<",
                                      "\n",
                                      "\x1f",
                                      "\x7f",
                                      u8"\u0080",
                                      u8"\u00e9",
                                      u8"\u07ff",
                                      u8"\u0800",
                                      u8"\u2028",
                                      u8"\u6c34",
                                      u8"\ud7ff",
                                      u8"\ue000",
                                      u8"\ufeff",
                                      u8"\uffff",
                                      u8"\U0001f681",
                                      u8"\U0010ffff"};
    std::string text;
    for (uint64_t left = Below(8) == 0 ? 300 : Below(12); left > 0; --left) {
      text += Below(2) == 0 ? std::string(1, static_cast<char>('a' + Below(26)))
                            : characters[Below(std::size(characters))];
    }
    return text;
  }

  void Field(pb::Message* message, const FieldDescriptor* field, int depth) {
    const pb::Reflection* r = message->GetReflection();
    const bool list = field->is_repeated();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32: {
        const auto value = Integer<int32_t>();
        list ? r->AddInt32(message, field, value)
             : r->SetInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_UINT32: {
        const auto value = Integer<uint32_t>();
        list ? r->AddUInt32(message, field, value)
             : r->SetUInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_INT64:
        r->SetInt64(message, field, Integer<int64_t>());
        break;
      case FieldDescriptor::CPPTYPE_UINT64:
        r->SetUInt64(message, field, Integer<uint64_t>());
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
        r->SetFloat(message, field, Float<float, uint32_t>());
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        r->SetDouble(message, field, Float<double, uint64_t>());
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        r->SetBool(message, field, Below(2) == 1);
        break;
      case FieldDescriptor::CPPTYPE_ENUM:
        r->SetEnumValue(message, field, EnumNumber(field->enum_type()));
        break;
      case FieldDescriptor::CPPTYPE_STRING:
        r->SetString(
            message, field,
            field->type() == FieldDescriptor::TYPE_STRING ? Text() : Bytes());
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        Message(list ? r->AddMessage(message, field)
                     : r->MutableMessage(message, field),
                depth);
        break;
    }
  }

  std::mt19937_64& random_;
};

}  // namespace

void FillRandomly(pb::Message* message, std::mt19937_64* random) {
  RandomFiller(random).Message(message, 0);
}
