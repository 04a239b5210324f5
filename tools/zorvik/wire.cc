#include "wire.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wrappers.pb.h>

#include <cstdint>
#include <set>
#include <utility>

#include "text.h"

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

constexpr size_t kMostFaults = 10;

bool IsAny(const pb::Descriptor* type) {
  return type != nullptr &&
         type->full_name() == pb::Any::descriptor()->full_name();
}

// Reads through an encoding from front to back. Throws the first Fault, or,
// when it has to salvage, records faults and keeps what is good. Where it keeps
// something there is a string for it, and null otherwise.
class Walk {
 public:
  Walk(const std::string& bytes, const Vocabulary& vocabulary)
      : bytes_(bytes), vocabulary_(vocabulary) {}

  // All bytes, as a message of that type.
  void All(const pb::Descriptor* type, std::string* good) {
    Whole(bytes_.size(), type, good);
  }

  void Record(const Fault& fault) {
    if (faults_.size() < kMostFaults) faults_.push_back(fault);
  }
  const std::vector<Fault>& faults() const { return faults_; }

 private:
  void Whole(size_t end, const pb::Descriptor* type, std::string* good) {
    IsAny(type) ? AnyMessage(type, end, good) : Message(end, type, good);
  }

  // Reads the fields of a message up to the end, or up to the end of the group
  // that they are in. The type is null where it is unknown.
  void Message(size_t end, const pb::Descriptor* type, std::string* good,
               int group = 0) {
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
      if (wire_type == 2) {
        Delimited(start, end, number, field, good);
        continue;
      }
      Value(start, end, number, wire_type, field);
      Keep(start, good);
    }
    if (group != 0) {
      throw Fault{end, "group " + std::to_string(group) + " is not closed"};
    }
    --depth_;
  }

  static std::string NameOf(int number, const Field* field) {
    const std::string name = "field " + std::to_string(number);
    return field == nullptr ? name : name + " (" + field->full_name() + ")";
  }

  // Everything that was read since the start.
  void Keep(size_t start, std::string* good) {
    if (good != nullptr) good->append(bytes_, start, position_ - start);
  }

  void Value(size_t start, size_t end, int number, int wire_type,
             const Field* field) {
    const std::string name = NameOf(number, field);
    switch (wire_type) {
      case 0:
        Varint(end);
        return;
      case 1:
        return Skip(8, start, end, name);
      case 3:
        return Message(end, nullptr, nullptr, number);
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

  void Delimited(size_t start, size_t end, int number, const Field* field,
                 std::string* good) {
    const uint64_t length = Varint(end);
    const size_t content = position_;
    std::optional<Fault> cut;
    try {
      Skip(length, start, end, NameOf(number, field));
    } catch (const Fault& fault) {
      if (good == nullptr || field == nullptr) throw;
      cut = fault;
      position_ = end;
    }
    const size_t last = position_;
    const int depth = depth_, contents = contents_;
    std::string inner;
    bool whole = !cut;
    try {
      if (field != nullptr) {
        Content(field, content, last, good == nullptr ? nullptr : &inner);
      }
    } catch (const Fault& fault) {
      if (good == nullptr) throw;
      if (!cut) Record(fault);
      whole = false;
      depth_ = depth;
      contents_ = contents;
      position_ = last;
    }
    const bool is_message =
        field != nullptr && field->message_type() != nullptr;
    if (is_message && good != nullptr) {
      Append(number, inner, good);
    } else if (whole) {
      Keep(start, good);
    }
    if (cut) throw *cut;
  }

  static void Append(int number, const std::string& value, std::string* good) {
    pb::io::StringOutputStream stream(good);
    pb::io::CodedOutputStream coded(&stream);
    coded.WriteTag(static_cast<uint32_t>(number) << 3 | 2);
    coded.WriteVarint32(static_cast<uint32_t>(value.size()));
    coded.WriteString(value);
  }

  // What a length-delimited field holds.
  void Content(const Field* field, size_t start, size_t end,
               std::string* good) {
    position_ = start;
    const pb::Descriptor* type = field->message_type();
    if (type != nullptr) {
      Whole(end, type, good);
    } else if (field->full_name() == "google.protobuf.Any.value") {
      content_ = {start, end};
    } else if (field->type() == Field::TYPE_STRING) {
      const std::string text = bytes_.substr(start, end - start);
      if (!IsUtf8(text)) {
        throw Fault{start,
                    field->full_name() +
                        " is not UTF-8: " + Escaped(text.substr(0, 40)) +
                        (text.size() > 40 ? "..." : ""),
                    field->full_name()};
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

  // An Any and, when all of it was read, the message inside. When it goes on
  // too far, its value is the last that there is.
  void AnyMessage(const pb::Descriptor* type, size_t end, std::string* good) {
    const size_t start = position_;
    content_ = {0, 0};
    std::optional<Fault> cut;
    try {
      Message(end, type, good);
    } catch (const Fault& fault) {
      if (good == nullptr) throw;
      cut = fault;
    }
    pb::Any any;
    std::string name;
    const bool readable =
        good == nullptr
            ? any.ParseFromArray(&bytes_[start], static_cast<int>(end - start))
            : any.ParseFromString(*good);
    const pb::Descriptor* inside =
        readable && pb::Any::ParseAnyTypeUrl(any.type_url(), &name)
            ? vocabulary_.FindMessage(name)
            : nullptr;
    std::string kept;
    if (inside != nullptr) {
      position_ = content_.first;
      if (++contents_ > kDeepest) {
        any.clear_value();
        if (good != nullptr) *good = any.SerializeAsString();
        throw Fault{position_, "packed too deep"};
      }
      const int depth = std::exchange(depth_, 0);
      try {
        Whole(content_.second, inside, good == nullptr ? nullptr : &kept);
      } catch (const Fault& fault) {
        if (good == nullptr) throw;
        if (!cut) Record(fault);
      }
      depth_ = depth;
      --contents_;
      if (good != nullptr) {
        any.set_value(kept);
        *good = any.SerializeAsString();
      }
    }
    if (cut) throw *cut;
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
  std::vector<Fault> faults_;
};

}  // namespace

std::optional<Fault> FindFault(const std::string& bytes,
                               const pb::Descriptor* type,
                               const Vocabulary& vocabulary) {
  try {
    Walk(bytes, vocabulary).All(type, nullptr);
    return std::nullopt;
  } catch (const Fault& fault) {
    return fault;
  }
}

bool Repeats(const std::string& bytes, const pb::Descriptor* type) {
  pb::UnknownFieldSet fields;
  if (!fields.ParseFromString(bytes)) return false;
  std::set<int> seen;
  for (int i = 0; i < fields.field_count(); ++i) {
    const Field* field = type->FindFieldByNumber(fields.field(i).number());
    if (field != nullptr && !field->is_repeated() &&
        !seen.insert(field->number()).second) {
      return true;
    }
  }
  return false;
}

Salvage SalvageFrom(const std::string& bytes, const pb::Descriptor* type,
                    const Vocabulary& vocabulary) {
  Salvage salvage;
  Walk walk(bytes, vocabulary);
  try {
    walk.All(type, &salvage.good);
  } catch (const Fault& fault) {
    walk.Record(fault);
  }
  salvage.faults = walk.faults();
  return salvage;
}
