// Messages as text for people.
#ifndef TOOLS_ZORVIK_PRINTER_H_
#define TOOLS_ZORVIK_PRINTER_H_

#include <cstddef>
#include <iosfwd>
#include <string>

#include "vocabulary.h"

// The id of an envelope by name, the type of its content, and a sentence when
// the content is not the message that the id carries. Each is empty when there
// is none.
struct Content {
  std::string id;
  std::string type;
  std::string mismatch;
};
Content ContentOf(const google::protobuf::Message& message,
                  const Vocabulary& vocabulary);

struct PrintOptions {
  size_t most_bytes = 64;  // That are shown of a field of bytes.
  bool colours = false;
};

// Prints the fields that are set, one a line: name, value, the name that the
// value has, its unit. The content of an Any is printed as its own message;
// unknown fields follow the known ones.
class Printer {
 public:
  Printer(Vocabulary* vocabulary, std::ostream* out, PrintOptions options = {})
      : vocabulary_(vocabulary), out_(out), options_(options) {}

  void Print(const google::protobuf::Message& message, int indent);
  // A remark on a line of its own.
  void Warn(int indent, const std::string& what);

 private:
  void PrintField(const google::protobuf::Message& message,
                  const google::protobuf::FieldDescriptor* field, int index,
                  int indent);
  void PrintContent(const google::protobuf::Message& any, int indent);
  void PrintUnknown(const google::protobuf::UnknownFieldSet& fields,
                    int indent);
  std::string Scalar(const google::protobuf::Message& message,
                     const google::protobuf::FieldDescriptor* field,
                     int index) const;
  std::string Hex(const std::string& bytes) const;
  std::ostream& Line(int indent);

  Vocabulary* const vocabulary_;
  std::ostream* const out_;
  const PrintOptions options_;
  int contents_ = 0;  // Around the present message.
};

#endif  // TOOLS_ZORVIK_PRINTER_H_
