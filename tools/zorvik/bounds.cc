#include "bounds.h"

#include <fnmatch.h>

#include <fstream>
#include <regex>
#include <stdexcept>

namespace pb = google::protobuf;
using pb::FieldDescriptor;

Bounds::Bounds(const std::filesystem::path& options) {
  const std::regex bound(R"((\S+) max_(?:length|size|count):(\d+))");
  std::ifstream file(options);
  if (!file) throw std::runtime_error("cannot read " + options.string());
  std::smatch parts;
  for (std::string line; std::getline(file, line);) {
    if (std::regex_match(line, parts, bound)) {
      patterns_.emplace_back(parts[1], std::stoul(parts[2]));
    }
  }
}

std::optional<size_t> Bounds::Of(const FieldDescriptor* field) const {
  std::optional<size_t> found;
  for (const auto& [pattern, bound] : patterns_) {
    if (fnmatch(pattern.c_str(), field->full_name().c_str(), 0) == 0) {
      found = bound;
    }
  }
  return found;
}

bool Bounds::Apply(pb::Message* message) const {
  message->DiscardUnknownFields();
  const pb::Reflection* r = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  r->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    const size_t entries =
        field->is_repeated() ? r->FieldSize(*message, field) : 0;
    if (entries > Of(field).value_or(entries)) return false;
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      std::string text = r->GetString(*message, field);
      if (text.size() > Of(field).value_or(text.size())) return false;
      if (field->type() == FieldDescriptor::TYPE_STRING) {
        text = text.c_str();
        for (const char* refused : {u8"\ufffe", u8"\uffff"}) {
          if (text.find(refused) != std::string::npos) return false;
        }
        r->SetString(message, field, text);
      }
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      for (size_t i = 0; i < entries; ++i) {
        if (!Apply(r->MutableRepeatedMessage(message, field, i))) return false;
      }
      if (!field->is_repeated() && !Apply(r->MutableMessage(message, field))) {
        return false;
      }
    }
  }
  return true;
}

bool Bounds::IsStrict(const std::string& error) {
  return error == "integer too large" || error == "varint overflow" ||
         error == "wrong wire type";
}
