// Looks for ids, enums, values, messages and fields by numbers, names and
// words.
#ifndef TOOLS_ZORVIK_SEARCH_H_
#define TOOLS_ZORVIK_SEARCH_H_

#include <google/protobuf/message.h>

#include <optional>
#include <string>
#include <vector>

#include "vocabulary.h"

struct Hit {
  std::string kind;  // "topic type", "value", "message", ...
  std::string name;  // Full name.
  std::optional<int> number;
  const google::protobuf::Message* entry;  // Of the catalogue.
  int score = 0;
};

// What all words of the query match: a number, also in hexadecimal, or a part
// of a name, in the spelling of C++, of a type URL or of the schemas. The best
// come first.
std::vector<Hit> Search(const Vocabulary& vocabulary, const std::string& query);

#endif  // TOOLS_ZORVIK_SEARCH_H_
