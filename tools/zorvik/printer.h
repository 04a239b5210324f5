// Messages as text for people.
#ifndef TOOLS_ZORVIK_PRINTER_H_
#define TOOLS_ZORVIK_PRINTER_H_

#include <iosfwd>

#include "vocabulary.h"

// Prints the fields that are set, one a line: name, value, the name that the
// value has, its unit. The content of an Any is printed as its own message;
// unknown fields follow the known ones.
class Printer {
 public:
  Printer(Vocabulary* vocabulary, std::ostream* out)
      : vocabulary_(vocabulary), out_(out) {}

  void Print(const google::protobuf::Message& message, int indent);

 private:
  void PrintField(const google::protobuf::Message& message,
                  const google::protobuf::FieldDescriptor* field, int index,
                  int indent);
  void PrintContent(const google::protobuf::Message& any, int indent);
  void PrintUnknown(const google::protobuf::UnknownFieldSet& fields,
                    int indent);
  void PrintMismatch(const google::protobuf::Message& message, int indent);
  std::string Scalar(const google::protobuf::Message& message,
                     const google::protobuf::FieldDescriptor* field,
                     int index) const;
  std::ostream& Line(int indent);

  Vocabulary* const vocabulary_;
  std::ostream* const out_;
  int contents_ = 0;  // Around the present message.
};

#endif  // TOOLS_ZORVIK_PRINTER_H_
