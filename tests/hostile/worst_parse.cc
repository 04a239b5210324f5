#include "hostile/worst_parse.h"

#include <google/protobuf/unknown_field_set.h>

#include <algorithm>

#include "hostile/heap_meter.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

std::string Encoded(const pb::UnknownFieldSet& fields) {
  std::string bytes;
  fields.SerializeToString(&bytes);
  return bytes;
}

std::string Delimited(int number, const std::string& content) {
  pb::UnknownFieldSet fields;
  fields.AddLengthDelimited(number, content);
  return Encoded(fields);
}

std::string Varint(int number) {
  pb::UnknownFieldSet fields;
  fields.AddVarint(number, 1);
  return Encoded(fields);
}

std::string Group(int number, const std::string& content) {
  pb::UnknownFieldSet fields;
  fields.AddGroup(number)->ParseFromString(content);
  return Encoded(fields);
}

std::string Repeated(const std::string& content, size_t times) {
  std::string bytes;
  bytes.reserve(content.size() * times);
  for (size_t i = 0; i < times; ++i) bytes += content;
  return bytes;
}

// Texts that cost one object, one object with a block of its own (the string
// class keeps up to 15 bytes in place), and the report that this is no UTF-8.
std::vector<std::string> Texts() { return {"x", std::string(16, 'x'), "\xff"}; }

class Attacker {
 public:
  explicit Attacker(const pb::Descriptor* type) : type_(type) {}

  ParseMemory Worst(size_t max_length) const {
    ParseMemory worst;
    for (const std::string& piece : Pieces()) {
      // Lists grow by doubling: they cost most just after they have grown.
      for (size_t times = 1; times * piece.size() <= max_length;
           times = times == 1 ? 2 : 2 * times - 1) {
        Try(piece, times, &worst);
      }
    }
    for (const std::string& piece : Packed(max_length)) Try(piece, 1, &worst);
    return worst;
  }

 private:
  void Try(const std::string& piece, size_t times, ParseMemory* worst) const {
    const std::string bytes = Repeated(piece, times);
    const std::unique_ptr<pb::Message> message = NewMessage(type_);
    const HeapMeter meter;
    (void)message->ParseFromString(bytes);
    const double factor = (static_cast<double>(meter.peak()) - kFixedPart) /
                          static_cast<double>(bytes.size());
    if (factor > worst->factor) *worst = {factor, piece};
  }

  // The pieces of input that make this message take memory.
  std::vector<std::string> Pieces() const {
    std::vector<std::string> pieces;
    const int unknown = UnknownNumber();
    pieces.push_back(Varint(unknown));
    pieces.push_back(Delimited(unknown, ""));
    for (const std::string& text : Texts()) {
      pieces.push_back(Delimited(unknown, text));
    }
    // Groups in groups, the innermost empty or not, and one that does not end.
    pieces.push_back(Group(unknown, "").substr(0, 1));
    for (std::string inside : {std::string(), Varint(1), Delimited(1, "")}) {
      for (int depth : {1, 2, 4, 16, 64}) {
        std::string group = inside;
        for (int i = 1; i < depth; ++i) group = Group(1, group);
        pieces.push_back(Group(unknown, group));
      }
    }
    for (int i = 0; i < type_->field_count(); ++i) {
      const FieldDescriptor* field = type_->field(i);
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
        for (const std::string& text : Texts()) {
          pieces.push_back(Delimited(field->number(), text));
        }
      } else if (field->message_type() != nullptr) {
        pieces.push_back(Delimited(field->number(), ""));
        pieces.push_back(
            Delimited(field->number(),
                      Attacker(field->message_type()).CostliestContent()));
      } else if (field->is_repeated()) {
        pieces.push_back(Varint(field->number()));
      }
    }
    return pieces;
  }

  // Lists of numbers in one go, each as long as the limit allows and just past
  // the growth of the list before.
  std::vector<std::string> Packed(size_t max_length) const {
    std::vector<std::string> pieces;
    for (int i = 0; i < type_->field_count(); ++i) {
      const FieldDescriptor* field = type_->field(i);
      if (!field->is_packed()) continue;
      for (size_t count = 1; count + 6 <= max_length;
           count = count == 1 ? 2 : 2 * count - 1) {
        pieces.push_back(
            Delimited(field->number(), std::string(count, '\x01')));
      }
    }
    return pieces;
  }

  // The content that makes an element of a list take the most memory per byte:
  // takes in each piece that raises it.
  std::string CostliestContent() const {
    std::string content;
    double cost = PerByteAsElement(content);
    for (bool better = true; better;) {
      better = false;
      for (const std::string& piece : Pieces()) {
        const double with_piece = PerByteAsElement(content + piece);
        if (with_piece <= cost * 1.001) continue;
        content += piece;
        cost = with_piece;
        better = true;
      }
    }
    return content;
  }

  // The cost of one object with this content as an element of a list: the
  // object, what it takes, and three pointers where the list has just grown.
  double PerByteAsElement(const std::string& content) const {
    const HeapMeter meter;
    const std::unique_ptr<pb::Message> element = NewMessage(type_);
    if (!element->ParseFromString(content)) return 0;
    return (meter.peak() + 3.0 * sizeof(void*)) /
           static_cast<double>(Delimited(1, content).size());
  }

  // A number of one byte, if there is one, that the message does not know.
  int UnknownNumber() const {
    int number = 1;
    while (type_->FindFieldByNumber(number) != nullptr) ++number;
    return number;
  }

  const pb::Descriptor* const type_;
};

}  // namespace

ParseMemory WorstParse(const pb::Descriptor* type, size_t max_length) {
  return Attacker(type).Worst(max_length);
}
