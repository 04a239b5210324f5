// The byte vectors that all languages share. tests/vectors/README.md describes
// their form.
#ifndef TESTS_SUPPORT_WIRE_VECTORS_H_
#define TESTS_SUPPORT_WIRE_VECTORS_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/struct.pb.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

// One vector, read from JSON.
class WireVector {
 public:
  explicit WireVector(const google::protobuf::Struct& fields)
      : fields_(fields.fields()) {}

  bool Has(const std::string& key) const { return fields_.contains(key); }
  std::string Text(const std::string& key) const {
    return fields_.at(key).string_value();
  }
  double Number(const std::string& key) const {
    return fields_.at(key).number_value();
  }
  std::vector<std::string> List(const std::string& key) const;
  std::set<std::string> Keys() const;

 private:
  google::protobuf::Map<std::string, google::protobuf::Value> fields_;
};

// Calls back with each vector and the message that it is of. Throws
// std::runtime_error when a schema that declares messages has none.
void ForEachVector(
    const std::filesystem::path& folder,
    const std::function<void(const WireVector&,
                             const google::protobuf::Descriptor*)>& use);

// The message that a text describes. Throws std::runtime_error when it
// describes none.
std::unique_ptr<google::protobuf::Message> FromText(
    const google::protobuf::Descriptor* type, const std::string& text);

#endif  // TESTS_SUPPORT_WIRE_VECTORS_H_
