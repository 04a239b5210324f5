// The bounds of an implementation that keeps fields in arrays of a fixed size.
#ifndef TOOLS_ZORVIK_BOUNDS_H_
#define TOOLS_ZORVIK_BOUNDS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class Bounds {
 public:
  // Of an options file of nanopb. Throws std::runtime_error.
  explicit Bounds(const std::filesystem::path& options);

  // The most bytes or entries of a field.
  std::optional<size_t> Of(
      const google::protobuf::FieldDescriptor* field) const;

  // Makes of the message what nanopb has: no unknown fields, and texts up to
  // the first zero byte. False when nanopb has to refuse it: something is
  // beyond its bound, or a text has a character that it takes for invalid
  // UTF-8.
  bool Apply(google::protobuf::Message* message) const;

  // Whether nanopb may say so of bytes that are read, but that nobody writes.
  static bool IsStrict(const std::string& error);

 private:
  std::vector<std::pair<std::string, size_t>> patterns_;
};

#endif  // TOOLS_ZORVIK_BOUNDS_H_
