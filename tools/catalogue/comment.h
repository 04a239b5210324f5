// The comments of the schemas: words, and tags with facts that programs use.
// This is the only reader of the tags; CONTRIBUTING.md describes their grammar.
#ifndef TOOLS_CATALOGUE_COMMENT_H_
#define TOOLS_CATALOGUE_COMMENT_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <utility>
#include <vector>

namespace catalogue {

struct Tag {
  std::string name;
  std::string value;
  int line;  // In the schema, from 1.
};

struct Comment {
  std::string words;  // Line breaks as in the schema.
  std::vector<Tag> tags;
  int line = 0;  // Of the element that it belongs to, from 1.

  // The value of a tag that is there at most once. Empty when it is not there.
  std::string Value(const std::string& tag) const;
  // The values of a tag that may be there several times.
  std::vector<std::string> Values(const std::string& tag) const;
};

// What is wrong in a schema.
class Faults {
 public:
  void Add(const google::protobuf::FileDescriptor* file, int line,
           const std::string& what);
  bool empty() const { return texts_.empty(); }
  // One line a fault, "file:line: what".
  std::string Text() const;

 private:
  std::vector<std::string> texts_;
};

// Takes the comment in front of an element apart. The path is the one by which
// the compiler's source information names the element. A comment without words,
// anything that looks like a tag and is not one, and tags in a comment that
// belongs to no element are faults.
Comment ReadComment(const google::protobuf::FileDescriptor* file,
                    const std::vector<int>& path, Faults* faults);

}  // namespace catalogue

#endif  // TOOLS_CATALOGUE_COMMENT_H_
