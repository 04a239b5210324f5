#include "transcript.h"

#include <google/protobuf/util/json_util.h>

#include <iomanip>
#include <iostream>
#include <sstream>

namespace {

bool tell_all = false;

const char* NameOf(Stage stage) {
  switch (stage) {
    case Stage::kAddress:
      return "Address";
    case Stage::kHandshake:
      return "Handshake";
    case Stage::kRegistration:
      return "Registration";
    case Stage::kClock:
      return "Clock";
    case Stage::kCommands:
      return "Commands";
    case Stage::kTelemetry:
      return "Telemetry";
    case Stage::kFile:
      return "File transfer";
    case Stage::kLog:
      return "Log";
  }
  return "";
}

std::string Hex(const std::string& bytes) {
  constexpr size_t kShown = 46;
  const size_t shown =
      tell_all || bytes.size() <= kShown ? bytes.size() : kShown;
  std::ostringstream hex;
  hex << std::hex << std::setfill('0');
  for (size_t i = 0; i < shown; ++i) {
    hex << (i == 0 ? "" : " ") << std::setw(2)
        << static_cast<int>(static_cast<unsigned char>(bytes[i]));
  }
  if (shown < bytes.size()) hex << " ...";
  return hex.str();
}

std::string Shortened(const std::string& text) {
  constexpr size_t kShown = 280;
  return tell_all || text.size() <= kShown ? text
                                           : text.substr(0, kShown) + " ...";
}

}  // namespace

void Transcript::TellAll() { tell_all = true; }

void Transcript::Begin(Stage stage) const {
  Say("--- " + std::to_string(static_cast<int>(stage)) + ". " + NameOf(stage) +
      " ---");
}

void Transcript::Say(const std::string& text) const {
  // One write per line: two programs share the terminal.
  std::cout << "[" + node_ + "] " + text + "\n" << std::flush;
}

void Transcript::Sent(const std::string& subject, const std::string& bytes,
                      const google::protobuf::Message& message) const {
  Say("sends " + subject + "\n    " + std::to_string(bytes.size()) +
      " bytes: " + Hex(bytes) + "\n    " + Shortened(Json(message)));
}

void Transcript::Received(const std::string& subject,
                          const google::protobuf::Message& message) const {
  if (tell_all) Say("received " + subject + ": " + message.GetTypeName());
}

std::string Json(const google::protobuf::Message& message) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string json;
  const auto status =
      google::protobuf::util::MessageToJsonString(message, &json, options);
  return status.ok() ? json : "(" + status.ToString() + ")";
}
