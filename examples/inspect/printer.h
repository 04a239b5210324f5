// Messages as text for people.
#ifndef EXAMPLES_INSPECT_PRINTER_H_
#define EXAMPLES_INSPECT_PRINTER_H_

#include <iosfwd>

#include "vocabulary.h"

// Prints the fields that are set, one a line: name, value, the name that the
// value has, its unit. The payload of an Any is printed as its own message;
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
  void PrintPayload(const google::protobuf::Message& any, int indent);
  void PrintUnknown(const google::protobuf::UnknownFieldSet& fields,
                    int indent);
  void PrintMismatch(const google::protobuf::Message& message, int indent);
  std::string Scalar(const google::protobuf::Message& message,
                     const google::protobuf::FieldDescriptor* field,
                     int index) const;
  std::ostream& Line(int indent);

  Vocabulary* const vocabulary_;
  std::ostream* const out_;
};

#endif  // EXAMPLES_INSPECT_PRINTER_H_
