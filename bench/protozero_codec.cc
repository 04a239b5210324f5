// protozero: no objects, the program walks the fields. Reads and writes the
// library's bytes.
#include <cstring>
#include <protozero/pbf_reader.hpp>
#include <protozero/pbf_writer.hpp>

#include "codec.h"

namespace {

using google::protobuf::Any;
using protozero::pbf_reader;
using protozero::pbf_writer;
using records::Record;
using EnvelopeMessage = sample::Envelope::M;
using StreamMessage = sample::Stream::M;

// protozero writes what it is told to; zero is not written in proto3.
template <bool kZigzag, typename Value>
void Add(pbf_writer* to, uint32_t field, const Value& value) {
  if constexpr (records::kIsText<Value>) {
    if (!value.empty()) to->add_bytes(field, value.data(), value.size());
  } else if constexpr (std::is_same_v<Value, float>) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    if (bits != 0) to->add_float(field, value);
  } else if (value != 0) {
    if constexpr (kZigzag) {
      to->add_sint32(field, value);
    } else if constexpr (std::is_signed_v<Value>) {
      to->add_int64(field, value);
    } else {
      to->add_uint64(field, value);
    }
  }
}

template <bool kZigzag, typename Value>
void Get(pbf_reader* from, Value* value) {
  if constexpr (records::kIsText<Value>) {
    const protozero::data_view view = from->get_view();
    *value = {view.data(), view.size()};
  } else if constexpr (std::is_same_v<Value, float>) {
    *value = from->get_float();
  } else if constexpr (kZigzag) {
    *value = from->get_sint32();
  } else if constexpr (std::is_signed_v<Value>) {
    *value = static_cast<Value>(from->get_int64());
  } else {
    *value = static_cast<Value>(from->get_uint64());
  }
}

template <typename Value>
constexpr bool kIsScalar =
    std::is_arithmetic_v<Value> || records::kIsText<Value>;

template <typename Message>
void Write(const Record<Message>& from, pbf_writer* to) {
  records::ForEachField(
      from, [to](auto field, const auto& value) __attribute__((always_inline)) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (kIsScalar<Value>) {
          Add<field.kZigzag>(to, field.kNumber, value);
        } else if constexpr (records::kIsRepeated<Value>) {
          for (const auto& record : value) {
            pbf_writer within(*to, field.kNumber);
            Write(record, &within);
          }
        } else {
          pbf_writer within(*to, field.kNumber);
          Write(value, &within);
        }
      });
}

template <typename Message>
void Read(pbf_reader from, Record<Message>* to);

// Gives the fields that are not in the layout to other. Inlined like a loop
// that is written for one message.
template <typename Message, typename Other>
[[gnu::flatten]] void Read(pbf_reader from, Record<Message>* to, Other other) {
  while (from.next()) {
    const bool known =
        records::ForField<0,
                          std::tuple_size_v<typename Record<Message>::Fields>>(
            *to, static_cast<int>(from.tag()),
            [&from](auto field, auto& value) __attribute__((always_inline)) {
              using Value = std::decay_t<decltype(value)>;
              if constexpr (kIsScalar<Value>) {
                Get<field.kZigzag>(&from, &value);
              } else if constexpr (records::kIsRepeated<Value>) {
                Read(from.get_message(), &value.emplace_back());
              } else {
                Read(from.get_message(), &value);
              }
            });
    if (!known) other(&from);
  }
}

template <typename Message>
void Read(pbf_reader from, Record<Message>* to) {
  Read(from, to, [](pbf_reader* unknown) { unknown->skip(); });
}

void Write(const sample::Envelope& from, pbf_writer* to) {
  Write<EnvelopeMessage>(from, to);
  pbf_writer data(*to, EnvelopeMessage::kDataFieldNumber);
  Add<false>(&data, Any::kTypeUrlFieldNumber, kRotateTypeUrl);
  pbf_writer value(data, Any::kValueFieldNumber);
  Write(from.rotate, &value);
}

void Read(pbf_reader from, sample::Envelope* to) {
  to->rotate = {};
  std::string_view type_url;
  pbf_reader value;
  Read(from, to, [&](pbf_reader* field) {
    if (field->tag() != EnvelopeMessage::kDataFieldNumber) return field->skip();
    for (pbf_reader data = field->get_message(); data.next();) {
      if (data.tag() == Any::kTypeUrlFieldNumber) {
        Get<false>(&data, &type_url);
      } else if (data.tag() == Any::kValueFieldNumber) {
        value = data.get_message();
      } else {
        data.skip();
      }
    }
  });
  if (type_url == kRotateTypeUrl) Read(value, &to->rotate);
}

void Write(const sample::Stream& from, pbf_writer* to) {
  Write<StreamMessage>(from, to);
  Add<false>(to, StreamMessage::kDataFieldNumber, from.data);
}

void Read(pbf_reader from, sample::Stream* to) {
  to->data = {};
  Read(from, to, [to](pbf_reader* field) {
    if (field->tag() != StreamMessage::kDataFieldNumber) return field->skip();
    Get<false>(field, &to->data);
  });
}

class ProtozeroCodec {
 public:
  static constexpr const char* kName = "protozero";

  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    bytes_.clear();
    pbf_writer writer(bytes_);
    Write(sample, &writer);
    return bytes_;
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    records::ForEachField(*sample, [](auto, auto& value) {
      if constexpr (records::kIsRepeated<std::decay_t<decltype(value)>>) {
        value.clear();  // It keeps its memory.
      } else {
        value = {};
      }
    });
    try {
      Read(pbf_reader(bytes), sample);
    } catch (const protozero::exception&) {
      return false;
    }
    return true;
  }

 private:
  std::string bytes_;
};

}  // namespace

void RegisterProtozero() { Register<ProtozeroCodec>(); }
