#include "check.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/arena.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::util::MessageDifferencer;

std::unique_ptr<pb::Message> Copy(const pb::Message& message) {
  std::unique_ptr<pb::Message> copy(message.New());
  copy->CopyFrom(message);
  return copy;
}

// Whether the messages are the same but for what a form cannot tell apart: a
// NaN from another NaN and, where the caller says so, a zero from none.
bool AreSame(const pb::Message& a, const pb::Message& b,
             MessageDifferencer::MessageFieldComparison absence) {
  pb::util::DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  MessageDifferencer differencer;
  differencer.set_field_comparator(&comparator);
  differencer.set_message_field_comparison(absence);
  return differencer.Compare(a, b);
}

// Drops the unknown fields in payloads, payloads of payloads included. False
// when a payload is malformed, is none of the library's messages or is named
// otherwise than this library does it.
bool KeepKnownPayloads(pb::Message* message) {
  message->DiscardUnknownFields();
  std::vector<const pb::FieldDescriptor*> fields;
  message->GetReflection()->ListFields(*message, &fields);
  for (const pb::FieldDescriptor* field : fields) {
    if (field->message_type() != pb::Any::descriptor()) continue;
    auto* any = static_cast<pb::Any*>(
        message->GetReflection()->MutableMessage(message, field));
    std::string name;
    if (!pb::Any::ParseAnyTypeUrl(any->type_url(), &name)) return false;
    const pb::Descriptor* type =
        pb::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    if (type == nullptr || name.rfind("zorvik.", 0) != 0 ||
        any->type_url() != "type.googleapis.com/" + name) {
      return false;
    }
    const std::unique_ptr<pb::Message> payload(
        pb::MessageFactory::generated_factory()->GetPrototype(type)->New());
    if (!any->UnpackTo(payload.get()) || !KeepKnownPayloads(payload.get())) {
      return false;
    }
    any->set_value(payload->SerializeAsString());
    Pass("known content", *payload);
  }
  return true;
}

// One input of how many gets the costly checks.
size_t SampleInterval() {
  const char* value = std::getenv("FUZZ_SAMPLE_INTERVAL");
  if (value == nullptr) return 1;
  char* end = nullptr;
  const unsigned long interval = std::strtoul(value, &end, 10);
  if (*end != '\0' || interval == 0) {
    std::fprintf(stderr, "FUZZ_SAMPLE_INTERVAL is not a positive number: %s\n",
                 value);
    std::exit(2);
  }
  return interval;
}

// The types of messages that passed each check.
using Passed = std::map<std::string, std::set<const pb::Descriptor*>>;

Passed& PassedChecks();

void PrintPassed() {
  std::string by_all;
  std::string by_some;
  for (const auto& [name, types] : PassedChecks()) {
    (types.size() == Messages().size() ? by_all : by_some) += ' ' + name;
  }
  std::fprintf(stderr, "all messages passed:%s. some passed:%s.\n",
               by_all.c_str(), by_some.c_str());
}

Passed& PassedChecks() {
  static auto* passed = [] {
    std::atexit(PrintPassed);
    return new Passed();
  }();
  return *passed;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Invalid UTF-8 would be logged at every turn.
  pb::SetLogHandler(nullptr);
  return 0;
}

void Require(bool condition, const char* what, const pb::Message& message) {
  if (condition) return;
  std::fprintf(stderr, "%s fails: %s\n%s\n", message.GetTypeName().c_str(),
               what, message.DebugString().c_str());
  std::abort();
}

void RequireSame(const std::string& bytes, const std::string& expected,
                 const char* what, const pb::Message& message) {
  Require(bytes == expected, what, message);
}

void CheckRefusal(const std::function<bool(pb::Message*)>& unpack,
                  pb::Message* other, const pb::Message& envelope) {
  Require(!unpack(other), "refusal", envelope);
  Require(other->ByteSizeLong() == 0, "untouched message", envelope);
}

void Pass(const char* check, const pb::Message& message) {
  PassedChecks()[check].insert(message.GetDescriptor());
}

bool IsSampled(std::string_view input) {
  static const size_t interval = SampleInterval();
  return std::hash<std::string_view>()(input) % interval == 0;
}

void CheckBytes(const pb::Message& message) {
  const std::string bytes = message.SerializeAsString();
  Require(message.ByteSizeLong() == bytes.size(), "size", message);
  const std::unique_ptr<pb::Message> parsed(message.New());
  Require(parsed->ParseFromString(bytes), "parsing again", message);
  Require(parsed->SerializeAsString() == bytes, "writing again", message);

  Require(Copy(message)->SerializeAsString() == bytes, "copy", message);
  pb::Arena arena;
  pb::Message* on_arena = message.New(&arena);
  on_arena->CopyFrom(message);
  Require(on_arena->SerializeAsString() == bytes, "copy on an arena", message);

  // Encodings one after the other read as a merge of their messages.
  on_arena->MergeFrom(message);
  Require(parsed->ParseFromString(bytes + bytes), "parsing twice", message);
  Require(parsed->SerializeAsString() == on_arena->SerializeAsString(), "merge",
          message);
  Pass("bytes", message);
}

void CheckFields(const pb::Message& message) {
  const std::unique_ptr<pb::Message> parsed(message.New());
  Require(parsed->ParseFromString(message.SerializeAsString()) &&
              AreSame(*parsed, message, MessageDifferencer::EQUAL),
          "round trip", message);
  // What logs show: it looks into payloads and unknown fields.
  Require(message.DebugString().empty() == (message.ByteSizeLong() == 0),
          "text for people", message);
  Pass("fields", message);
}

void CheckText(const pb::Message& known, const std::string& appended) {
  std::string text;
  Require(pb::TextFormat::PrintToString(known, &text), "printing", known);
  const std::unique_ptr<pb::Message> parsed(known.New());
  Require(pb::TextFormat::ParseFromString(text + appended, parsed.get()),
          "reading text", known);
  Require(AreSame(*parsed, known, MessageDifferencer::EQUAL), "text", known);
  Pass("text", known);
}

void CheckJson(const pb::Message& known) {
  const std::unique_ptr<pb::Message> plain = Copy(known);
  // A payload of an unknown type or of another prefix has no JSON form, and the
  // runtime's own types have special ones. On a malformed payload the runtime's
  // converter may never come to an end, see docs/security.md.
  if (!KeepKnownPayloads(plain.get())) return;
  std::string json;
  Require(pb::util::MessageToJsonString(*plain, &json).ok(), "writing JSON",
          known);
  const std::unique_ptr<pb::Message> parsed(known.New());
  Require(pb::util::JsonStringToMessage(json, parsed.get()).ok(),
          "reading JSON", known);
  // JSON's zero has no sign, so negative zero comes back as nothing.
  Require(AreSame(*parsed, *plain, MessageDifferencer::EQUIVALENT), "JSON",
          known);
  Pass("JSON", known);
}

void CheckRefused(pb::Message* message) {
  Require(message->SerializeAsString().size() == message->ByteSizeLong(),
          "size after a fault", *message);
  message->Clear();
  Require(message->SerializeAsString().empty(), "clearing after a fault",
          *message);
  Pass("malformed", *message);
}

void CheckForms(const pb::Message& message, bool sampled) {
  CheckBytes(message);
  if (!sampled) return;
  CheckFields(message);
  const std::unique_ptr<pb::Message> known = Copy(message);
  known->DiscardUnknownFields();
  CheckText(*known);
  CheckJson(*known);
}
