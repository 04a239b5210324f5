#include "wire.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/wrappers.pb.h>

#include <cstdint>
#include <utility>

namespace pb = google::protobuf;

namespace {

using Field = pb::FieldDescriptor;

// Asks the runtime, which refuses strings that are not UTF-8 and logs that.
bool IsUtf8(const std::string& text) {
  const pb::LogSilencer silencer;
  pb::StringValue field;
  field.set_value(text);
  return pb::StringValue().ParseFromString(field.SerializeAsString());
}

// Reads through an encoding from front to back. Throws the first Fault.
class Walk {
 public:
  Walk(const std::string& bytes, const Vocabulary& vocabulary)
      : bytes_(bytes), vocabulary_(vocabulary) {}

  // Reads the fields of a message up to the end, or up to the end of the group
  // that they are in. The type is null where it is unknown.
  void Message(size_t end, const pb::Descriptor* type, int group = 0) {
    if (depth_++ > kDeepest) throw Fault{position_, "nested too deep"};
    while (position_ < end) {
      const size_t start = position_;
      const uint64_t tag = Varint(end);
      const auto number = static_cast<int>(tag >> 3);
      if (number == 0 || tag > UINT32_MAX) {
        throw Fault{start, "a tag without a valid field number"};
      }
      const Field* field =
          type == nullptr ? nullptr : type->FindFieldByNumber(number);
      const int wire_type = tag & 7;
      if (wire_type == 4 && number == group) {
        --depth_;
        return;
      }
      Value(start, end, number, wire_type, field);
    }
    if (group != 0) {
      throw Fault{end, "group " + std::to_string(group) + " is not closed"};
    }
    --depth_;
  }

 private:
  void Value(size_t start, size_t end, int number, int wire_type,
             const Field* field) {
    const std::string name = field == nullptr
                                 ? "field " + std::to_string(number)
                                 : "field " + std::to_string(number) + " (" +
                                       field->full_name() + ")";
    switch (wire_type) {
      case 0:
        Varint(end);
        return;
      case 1:
        return Skip(8, start, end, name);
      case 2: {
        const uint64_t length = Varint(end);
        const size_t content = position_;
        Skip(length, start, end, name);
        if (field != nullptr) Content(field, content, position_);
        return;
      }
      case 3:
        return Message(end, nullptr, number);
      case 4:
        throw Fault{start, name + " ends a group that is not open"};
      case 5:
        return Skip(4, start, end, name);
      default:
        throw Fault{start, name + " has wire type " +
                               std::to_string(wire_type) +
                               ", which does not exist"};
    }
  }

  // What a length-delimited field holds.
  void Content(const Field* field, size_t start, size_t end) {
    position_ = start;
    const pb::Descriptor* type = field->message_type();
    if (type != nullptr) {
      content_ = {0, 0};
      Message(end, type);
      if (type->full_name() == pb::Any::descriptor()->full_name()) {
        AnyContent(start, end);
      }
    } else if (field->full_name() == "google.protobuf.Any.value") {
      content_ = {start, end};
    } else if (field->type() == Field::TYPE_STRING) {
      if (!IsUtf8(bytes_.substr(start, end - start))) {
        throw Fault{start, field->full_name() + " is not UTF-8"};
      }
    } else if (field->is_packable()) {
      Packed(field, start, end);
    }
    position_ = end;
  }

  void Packed(const Field* field, size_t start, size_t end) {
    size_t size = 0;
    switch (field->type()) {
      case Field::TYPE_DOUBLE:
      case Field::TYPE_FIXED64:
      case Field::TYPE_SFIXED64:
        size = 8;
        break;
      case Field::TYPE_FLOAT:
      case Field::TYPE_FIXED32:
      case Field::TYPE_SFIXED32:
        size = 4;
        break;
      default:
        while (position_ < end) Varint(end);
        return;
    }
    if ((end - start) % size != 0) {
      throw Fault{start, field->full_name() + " ends inside a number"};
    }
  }

  // The message inside an Any, which itself was read already.
  void AnyContent(size_t start, size_t end) {
    pb::Any any;
    std::string name;
    if (!any.ParseFromArray(&bytes_[start], static_cast<int>(end - start)) ||
        !pb::Any::ParseAnyTypeUrl(any.type_url(), &name)) {
      return;
    }
    const pb::Descriptor* type = vocabulary_.FindMessage(name);
    if (type == nullptr) return;
    position_ = content_.first;
    if (++contents_ > kDeepest) throw Fault{position_, "packed too deep"};
    const int depth = std::exchange(depth_, 0);
    Message(content_.second, type);
    depth_ = depth;
    --contents_;
  }

  uint64_t Varint(size_t end) {
    const size_t start = position_;
    uint64_t number = 0;
    for (int shift = 0; shift < 70; shift += 7) {
      if (position_ == end) throw Fault{start, "the end is inside a number"};
      const auto byte = static_cast<unsigned char>(bytes_[position_++]);
      number |= static_cast<uint64_t>(byte & 0x7f) << shift;
      if (byte < 0x80) return number;
    }
    throw Fault{start, "a number of more than ten bytes"};
  }

  void Skip(uint64_t length, size_t start, size_t end,
            const std::string& name) {
    if (length > end - position_) {
      throw Fault{start, name + " needs " + std::to_string(length) +
                             " bytes, and " + std::to_string(end - position_) +
                             " are left"};
    }
    position_ += length;
  }

  const std::string& bytes_;
  const Vocabulary& vocabulary_;
  size_t position_ = 0;
  std::pair<size_t, size_t> content_;  // Of the Any that was read last.
  int depth_ = 0;     // Of messages and groups; a content starts anew.
  int contents_ = 0;  // In contents.
};

}  // namespace

std::optional<Fault> FindFault(const std::string& bytes,
                               const pb::Descriptor* type,
                               const Vocabulary& vocabulary) {
  try {
    Walk(bytes, vocabulary).Message(bytes.size(), type);
    return std::nullopt;
  } catch (const Fault& fault) {
    return fault;
  }
}
