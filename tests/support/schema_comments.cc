#include "support/schema_comments.h"

#include <google/protobuf/descriptor.pb.h>

#include <set>
#include <sstream>

namespace {

namespace pb = google::protobuf;

class Checker {
 public:
  explicit Checker(const pb::FileDescriptor* file) : file_(file) {}

  std::vector<std::string> Check() {
    CheckHead();
    for (int i = 0; i < file_->enum_type_count(); ++i) {
      const pb::EnumDescriptor* type = file_->enum_type(i);
      Check(type);
      for (int v = 0; v < type->value_count(); ++v) Check(type->value(v));
    }
    for (int i = 0; i < file_->message_type_count(); ++i) {
      const pb::Descriptor* type = file_->message_type(i);
      Check(type);
      for (int f = 0; f < type->field_count(); ++f) Check(type->field(f));
    }
    return std::move(faults_);
  }

 private:
  // The comment of the file itself stands at its syntax statement.
  void CheckHead() {
    pb::SourceLocation location;
    const std::vector<int> path = {pb::FileDescriptorProto::kSyntaxFieldNumber};
    if (!file_->GetSourceLocation(path, &location) ||
        location.leading_comments.empty()) {
      faults_.push_back(file_->name() + ": no comment before syntax");
    }
  }

  template <typename Element>
  void Check(const Element* element) {
    pb::SourceLocation location;
    if (!element->GetSourceLocation(&location)) {
      Fault(element, "no source information");
      return;
    }
    bool prose = false;
    std::set<std::string> tags;
    std::istringstream comment(location.leading_comments);
    for (std::string line; std::getline(comment, line);) {
      line.erase(0, line.find_first_not_of(' '));
      if (line.rfind('@', 0) == 0) {
        CheckTag(element, line, &tags);
        continue;
      }
      prose |= !line.empty();
      if (line.find('@') != std::string::npos) {
        Fault(element, "a tag that does not start its line: " + line);
      }
      if (!line.empty() && !tags.empty()) {
        Fault(element, "text behind a tag: " + line);
      }
    }
    if (!prose) Fault(element, "no comment");
    if (tags.count("answer") > tags.count("carries")) {
      Fault(element, "@answer without @carries");
    }
  }

  template <typename Element>
  void CheckTag(const Element* element, const std::string& line,
                std::set<std::string>* tags) {
    const size_t blank = line.find(' ');
    const std::string tag = line.substr(1, blank - 1);
    const std::string value =
        blank == std::string::npos ? "" : line.substr(blank + 1);
    if (value.empty() || value.front() == ' ' || value.back() == ' ') {
      Fault(element, "a tag without a value: " + line);
    } else if (!tags->insert(tag).second && tag != "open") {
      Fault(element, "a tag that stands twice: " + line);
    } else if (!IsKnown(element, tag, value)) {
      Fault(element, "a tag that is unknown here: " + line);
    }
  }

  // Tags that make sense at any element.
  static bool IsKnownAnywhere(const std::string& tag) { return tag == "open"; }

  bool IsKnown(const pb::FieldDescriptor* field, const std::string& tag,
               const std::string& value) const {
    using Field = pb::FieldDescriptor;
    const Field::CppType type = field->cpp_type();
    if (tag == "enum") {
      return (type == Field::CPPTYPE_INT32 || type == Field::CPPTYPE_UINT32) &&
             file_->pool()->FindEnumTypeByName(value) != nullptr;
    }
    if (tag == "unit") {
      return type != Field::CPPTYPE_BOOL && type != Field::CPPTYPE_ENUM &&
             type != Field::CPPTYPE_STRING && type != Field::CPPTYPE_MESSAGE;
    }
    return IsKnownAnywhere(tag);
  }

  bool IsKnown(const pb::EnumValueDescriptor*, const std::string& tag,
               const std::string& value) const {
    if (tag == "carries" || tag == "answer") {
      return file_->pool()->FindMessageTypeByName(value) != nullptr;
    }
    return IsKnownAnywhere(tag);
  }

  bool IsKnown(const void*, const std::string& tag, const std::string&) const {
    return IsKnownAnywhere(tag);
  }

  template <typename Element>
  void Fault(const Element* element, const std::string& what) {
    faults_.push_back(element->full_name() + ": " + what);
  }

  const pb::FileDescriptor* const file_;
  std::vector<std::string> faults_;
};

}  // namespace

std::vector<std::string> CommentFaults(const pb::FileDescriptor* file) {
  return Checker(file).Check();
}
