#include "interop/compare.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>
#include <set>

#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::internal::WireFormatLite;
using Reports = std::vector<std::string>;

// The field of `bytes` that the byte at `position` belongs to.
std::string FieldAt(const pb::Descriptor* type, const std::string& bytes,
                    size_t position) {
  pb::io::CodedInputStream input(reinterpret_cast<const uint8_t*>(bytes.data()),
                                 static_cast<int>(bytes.size()));
  while (const uint32_t tag = input.ReadTag()) {
    const int number = WireFormatLite::GetTagFieldNumber(tag);
    if (!WireFormatLite::SkipField(&input, tag)) break;
    if (static_cast<size_t>(input.CurrentPosition()) <= position) continue;
    const pb::FieldDescriptor* field = type->FindFieldByNumber(number);
    return field ? field->name() : "unknown field " + std::to_string(number);
  }
  return "(end)";
}

// What differs between two messages: a field with both values, or nothing.
std::string Difference(const pb::Message& ours, const pb::Message& theirs) {
  std::string report;
  pb::util::MessageDifferencer differencer;
  pb::util::DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  differencer.set_field_comparator(&comparator);
  differencer.ReportDifferencesToString(&report);
  differencer.Compare(ours, theirs);
  return report;
}

void CompareBytes(const std::string& head, const pb::Message& message,
                  const std::string& theirs, Reports* reports) {
  const std::string ours = Encode(message);
  if (ours == theirs) return;
  const pb::Descriptor* type = message.GetDescriptor();
  const std::unique_ptr<pb::Message> parsed = NewMessage(type);
  std::string field;
  if (!parsed->ParseFromString(theirs)) {
    field = "not readable";
  } else {
    field = Difference(message, *parsed);
  }
  if (field.empty()) {
    const size_t common =
        std::mismatch(ours.begin(), ours.end(), theirs.begin(), theirs.end())
            .first -
        ours.begin();
    field = "equal, but written differently at " +
            FieldAt(type, common < ours.size() ? ours : theirs, common) + '\n';
  }
  reports->push_back(head + field + "  ours:   " + ToHex(ours) +
                     "\n  theirs: " + ToHex(theirs) + '\n');
}

// Compares names and kinds; the values are compared as those of the message.
std::string JsonDifference(const std::string& path, const pb::Value& ours,
                           const pb::Value& theirs) {
  if (ours.kind_case() != theirs.kind_case()) return path + ": another kind";
  if (ours.has_list_value()) {
    const auto& our_items = ours.list_value().values();
    const auto& their_items = theirs.list_value().values();
    if (our_items.size() != their_items.size()) return path + ": another size";
    for (int i = 0; i < our_items.size(); ++i) {
      const std::string difference = JsonDifference(
          path + '[' + std::to_string(i) + ']', our_items[i], their_items[i]);
      if (!difference.empty()) return difference;
    }
  }
  if (!ours.has_struct_value()) return "";
  const auto& our_fields = ours.struct_value().fields();
  const auto& their_fields = theirs.struct_value().fields();
  for (const auto& [name, value] : our_fields) {
    if (!their_fields.contains(name)) return path + '.' + name + ": missing";
    const std::string difference =
        JsonDifference(path + '.' + name, value, their_fields.at(name));
    if (!difference.empty()) return difference;
  }
  for (const auto& [name, value] : their_fields) {
    if (!our_fields.contains(name)) return path + '.' + name + ": not ours";
  }
  return "";
}

void CompareJson(const std::string& head, const Case& expected,
                 const std::string& json, Reports* reports) {
  const std::unique_ptr<pb::Message> known = KnownContent(*expected.message);
  const std::unique_ptr<pb::Message> parsed(known->New());
  pb::Value ours, theirs;
  std::string difference;
  if (const auto status = pb::util::JsonStringToMessage(json, parsed.get());
      !status.ok()) {
    difference = "not readable: " + status.ToString();
  } else if (!pb::util::JsonStringToMessage(expected.json, &ours).ok() ||
             !pb::util::JsonStringToMessage(json, &theirs).ok()) {
    difference = "not an object";
  } else {
    // By value, not by bytes: the runtime writes the lists in an Any that it
    // read from JSON unpacked.
    difference = Difference(*known, *parsed);
    if (difference.empty()) difference = JsonDifference("", ours, theirs);
  }
  if (difference.empty()) return;
  reports->push_back(head + difference + "\n  ours:   " + expected.json +
                     "\n  theirs: " + json + '\n');
}

}  // namespace

Reports Disagreements(const Case& expected, const Answer& answer,
                      NegativeZero zero) {
  Reports reports;
  const std::string head =
      expected.type->full_name() + ", " + expected.origin + ", ";
  if (expected.message == nullptr) {
    if (answer.error.empty()) {
      reports.push_back(head + "reading: theirs takes what ours refuses\n  " +
                        ToHex(expected.bytes) + "\n  as " +
                        ToHex(answer.bytes) + '\n');
    }
    return reports;
  }
  if (!answer.error.empty()) {
    reports.push_back(head + "reading: theirs says " + answer.error + "\n  " +
                      ToHex(expected.bytes) + '\n');
    return reports;
  }
  const std::unique_ptr<pb::Message> written(expected.message->New());
  written->CopyFrom(*expected.message);
  if (zero == NegativeZero::kLost) ClearNegativeZeros(written.get());
  CompareBytes(head + "written again: ", *written, answer.bytes, &reports);
  if (expected.json.empty()) return reports;
  CompareJson(head + "as JSON: ", expected, answer.json, &reports);
  if (!answer.json_error.empty()) {
    // The library writes the greatest float with so few digits that it is a
    // little too large for a reader with numbers of 64 bits.
    if (!HoldsGreatestFloat(*expected.message)) {
      reports.push_back(head + "read from our JSON: theirs says " +
                        answer.json_error + "\n  " + expected.json + '\n');
    }
    return reports;
  }
  CompareBytes(head + "read from our JSON: ", *KnownContent(*expected.message),
               answer.from_json, &reports);
  return reports;
}
