// The comments of schemas, and the tags in them. CONTRIBUTING.md describes the
// grammar.
#ifndef TESTS_SUPPORT_SCHEMA_COMMENTS_H_
#define TESTS_SUPPORT_SCHEMA_COMMENTS_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

// What is wrong with the comments of a file: one line for each element without
// a comment, and for each tag that is unknown, stands where it means nothing
// or names something that the file's pool does not have. The pool must hold
// source information.
std::vector<std::string> CommentFaults(
    const google::protobuf::FileDescriptor* file);

#endif  // TESTS_SUPPORT_SCHEMA_COMMENTS_H_
