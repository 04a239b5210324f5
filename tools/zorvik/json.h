// Messages as JSON, contents of envelopes included, and back.
#ifndef TOOLS_ZORVIK_JSON_H_
#define TOOLS_ZORVIK_JSON_H_

#include <google/protobuf/message.h>
#include <google/protobuf/util/type_resolver.h>

#include <memory>
#include <string>

#include "vocabulary.h"

class Json {
 public:
  // Of the fields: as in the schemas, or as the standard has them.
  enum class Names { kSchema, kJson };
  explicit Json(Vocabulary* vocabulary, Names names = Names::kSchema);

  // The standard JSON form. A content of unknown type is left out, and unknown
  // fields are.
  std::string Of(const google::protobuf::Message& message) const;

  // The bytes of a message in that form, or with the names that JSON has by
  // default. Throws std::runtime_error.
  std::string Encode(const std::string& json,
                     const google::protobuf::Descriptor* type) const;

 private:
  std::string Url(const google::protobuf::Descriptor* type) const;

  Vocabulary* const vocabulary_;
  const Names names_;
  std::unique_ptr<google::protobuf::util::TypeResolver> resolver_;
};

// What the runtime says of a text that is no JSON, in one line: its reason, and
// what stands where its caret points.
std::string ReasonOf(const std::string& error);

// Text as a JSON string, quotes included.
std::string Quoted(const std::string& text);

#endif  // TOOLS_ZORVIK_JSON_H_
