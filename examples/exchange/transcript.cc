#include "transcript.h"

#include <google/protobuf/util/json_util.h>

#include <iomanip>
#include <iostream>
#include <sstream>

namespace {

constexpr size_t kShownBytes = 96;

std::string Hex(const std::string& bytes) {
  std::ostringstream hex;
  hex << std::hex << std::setfill('0');
  for (size_t i = 0; i < bytes.size() && i < kShownBytes; ++i) {
    hex << (i == 0 ? "" : " ") << std::setw(2)
        << static_cast<int>(static_cast<unsigned char>(bytes[i]));
  }
  if (bytes.size() > kShownBytes) hex << " ...";
  return hex.str();
}

std::string Shortened(const std::string& text) {
  constexpr size_t kShown = 240;
  return text.size() <= kShown ? text : text.substr(0, kShown) + " ...";
}

}  // namespace

void Transcript::Say(const std::string& text) const {
  // One write per line: two programs share the terminal.
  std::cout << "[" + node_ + "] " + text + "\n" << std::flush;
}

void Transcript::Sent(const std::string& subject, const std::string& bytes,
                      const google::protobuf::Message& message) const {
  Say("sends " + subject + "\n    " + std::to_string(bytes.size()) +
      " bytes: " + Hex(bytes) + "\n    " + Shortened(Json(message)));
}

std::string Json(const google::protobuf::Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string json;
  const auto status =
      google::protobuf::util::MessageToJsonString(message, &json, options);
  return status.ok() ? json : "(" + status.ToString() + ")";
}
