#include "fill.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/wrappers.pb.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

// Fills messages with what a source gives.
template <typename Source>
class Filler {
 public:
  explicit Filler(Source source) : source_(std::move(source)) {}

  void Fill(pb::Message* message, int depth = 0) {
    if (message->GetTypeName() == pb::Any::descriptor()->full_name()) {
      const std::unique_ptr<pb::Message> content = source_.ForAny();
      if (depth < kDeepest) Fill(content.get(), depth + 1);
      pb::Any any;
      any.PackFrom(*content);
      message->ParseFromString(any.SerializeAsString());
      return;
    }
    for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
      const FieldDescriptor* field = message->GetDescriptor()->field(i);
      for (uint64_t n = source_.Count(field); n > 0; --n) {
        Set(message, field, depth);
      }
    }
  }

 private:
  static constexpr int kDeepest = 3;

  void Set(pb::Message* message, const FieldDescriptor* field, int depth) {
    const pb::Reflection* r = message->GetReflection();
    const bool list = field->is_repeated();
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32: {
        const auto value = source_.template Get<int32_t>();
        list ? r->AddInt32(message, field, value)
             : r->SetInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_UINT32: {
        const auto value = source_.template Get<uint32_t>();
        list ? r->AddUInt32(message, field, value)
             : r->SetUInt32(message, field, value);
        break;
      }
      case FieldDescriptor::CPPTYPE_INT64:
        r->SetInt64(message, field, source_.template Get<int64_t>());
        break;
      case FieldDescriptor::CPPTYPE_UINT64:
        r->SetUInt64(message, field, source_.template Get<uint64_t>());
        break;
      case FieldDescriptor::CPPTYPE_FLOAT:
        r->SetFloat(message, field, source_.template Get<float>());
        break;
      case FieldDescriptor::CPPTYPE_DOUBLE:
        r->SetDouble(message, field, source_.template Get<double>());
        break;
      case FieldDescriptor::CPPTYPE_BOOL:
        r->SetBool(message, field, source_.Bool());
        break;
      case FieldDescriptor::CPPTYPE_ENUM:
        r->SetEnumValue(message, field, source_.Enum(field->enum_type()));
        break;
      case FieldDescriptor::CPPTYPE_STRING:
        r->SetString(
            message, field,
            source_.String(field->type() == FieldDescriptor::TYPE_STRING));
        break;
      case FieldDescriptor::CPPTYPE_MESSAGE: {
        pb::Message* record = list ? r->AddMessage(message, field)
                                   : r->MutableMessage(message, field);
        if (source_.FillsRecords()) Fill(record, depth);
        break;
      }
    }
  }

  Source source_;
};

// Numbers that differ from field to field, or are at a limit.
class Pattern {
 public:
  explicit Pattern(Fill fill) : fill_(fill) {}

  std::unique_ptr<pb::Message> ForAny() {
    return std::make_unique<pb::StringValue>();
  }
  int Count(const FieldDescriptor* field) {
    return field->is_repeated() ? 2 : 1;
  }
  bool FillsRecords() { return fill_ != Fill::kLowest; }
  bool Bool() { return true; }

  template <typename Number>
  Number Get() {
    using Limits = std::numeric_limits<Number>;
    switch (fill_) {
      case Fill::kLargest:
        return Limits::max();
      case Fill::kLowest:
        if (!Limits::is_integer) return -Number{0};
        return Limits::is_signed ? Limits::min() : Number{1};
      default:
        return static_cast<Number>(++ordinal_);
    }
  }

  std::string String(bool is_text) {
    if (fill_ != Fill::kLargest) return "v" + std::to_string(++ordinal_);
    std::string text(300, 'x');  // A length of two bytes.
    // Characters of two, three and four bytes.
    if (is_text) return text + u8"\u00e9\u6c34\U0001f681";
    for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
    return text;
  }

  // One that is not declared.
  int Enum(const pb::EnumDescriptor* type) {
    if (fill_ != Fill::kSmall) return Get<int>();
    int number = 1;
    while (type->FindValueByNumber(number) != nullptr) ++number;
    return number;
  }

 private:
  const Fill fill_;
  int ordinal_ = 0;
};

class Random {
 public:
  Random(std::mt19937_64* random, const Contents& contents)
      : random_(*random), contents_(contents) {}

  std::unique_ptr<pb::Message> ForAny() { return contents_(random_()); }
  uint64_t Count(const FieldDescriptor* field) {
    return field->is_repeated() ? Below(4) : Below(4) != 0;
  }
  bool FillsRecords() { return true; }
  bool Bool() { return Below(2) == 1; }

  template <typename Number>
  Number Get() {
    using Limits = std::numeric_limits<Number>;
    if constexpr (Limits::is_integer) {
      const Number edges[] = {0, Limits::max(), Limits::min(),
                              static_cast<Number>(-1)};
      const uint64_t edge = Below(6);
      // As many small numbers as large ones.
      return edge < 4 ? edges[edge]
                      : static_cast<Number>(random_() >> Below(64));
    } else {
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
      const uint64_t bits = random_();
      Number value;
      std::memcpy(&value, &bits, sizeof value);
      return std::isfinite(value) ? value : Number{1};
    }
  }

  int Enum(const pb::EnumDescriptor* type) {
    if (Below(2) == 0) return Get<int>();
    return type->value(static_cast<int>(Below(type->value_count())))->number();
  }

  std::string String(bool is_text) {
    std::string bytes;
    for (uint64_t left = Below(8) == 0 ? 300 : Below(12); left > 0; --left) {
      bytes += is_text ? Character() : std::string(1, char(random_()));
    }
    return bytes;
  }

 private:
  // The standard's distributions differ from library to library.
  uint64_t Below(uint64_t limit) { return random_() % limit; }

  // Half of them are treated in a way of their own by writers of UTF-8 or JSON.
  std::string Character() {
    if (Below(2) == 0) return std::string(1, char('a' + Below(26)));
    // The empty one stands for the character zero.
    const char* const characters[] = {
        "",         "\"",       "\\",           "/",
        "<",        "\n",       "\x1f",         "\x7f",
        u8"\u0080", u8"\u00e9", u8"\u07ff",     u8"\u0800",
        u8"\u2028", u8"\u6c34", u8"\ud7ff",     u8"\ue000",
        u8"\ufeff", u8"\uffff", u8"\U0001f681", u8"\U0010ffff"};
    const char* const chosen = characters[Below(std::size(characters))];
    return {chosen, *chosen == '\0' ? 1 : std::strlen(chosen)};
  }

  std::mt19937_64& random_;
  const Contents& contents_;
};

}  // namespace

void FillMessage(pb::Message* message, Fill fill) {
  Filler<Pattern>(Pattern(fill)).Fill(message);
}

void FillRandomly(pb::Message* message, std::mt19937_64* random,
                  const Contents& contents) {
  Filler<Random>(Random(random, contents)).Fill(message);
}
