#include "interop/compare.h"

#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>

#include <cmath>
#include <limits>
#include <set>

#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::util::MessageDifferencer;
using Reports = std::vector<std::string>;

// What differs between two messages: a field with both values, or nothing.
std::string Difference(const pb::Message& ours, const pb::Message& theirs,
                       MessageDifferencer::MessageFieldComparison absence =
                           MessageDifferencer::EQUAL) {
  std::string report;
  MessageDifferencer differencer;
  pb::util::DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  differencer.set_field_comparator(&comparator);
  differencer.set_message_field_comparison(absence);
  differencer.ReportDifferencesToString(&report);
  differencer.Compare(ours, theirs);
  return report;
}

void CompareBytes(const std::string& head, const pb::Message& message,
                  const std::string& theirs, NegativeZero zero,
                  Reports* reports) {
  const std::string ours = Encode(message);
  if (ours == theirs) return;
  const bool lost =
      zero == NegativeZero::kLost && !EveryNumber(message, IsNoNegativeZero);
  const std::unique_ptr<pb::Message> parsed(message.New());
  std::string difference = "not readable\n";
  if (parsed->ParseFromString(theirs)) {
    difference = Difference(
        message, *parsed,
        lost ? MessageDifferencer::EQUIVALENT : MessageDifferencer::EQUAL);
    if (difference.empty() && lost) return;
    if (difference.empty()) difference = "equal, but written differently\n";
  }
  reports->push_back(head + difference + "  ours:   " + ToHex(ours) +
                     "\n  theirs: " + ToHex(theirs) + '\n');
}

// Leaves names and kinds; the values are compared as those of the message.
void ClearValues(pb::Value* value) {
  if (value->has_number_value()) value->set_number_value(0);
  if (value->has_string_value()) value->set_string_value("");
  if (value->has_list_value()) {
    for (pb::Value& item : *value->mutable_list_value()->mutable_values()) {
      ClearValues(&item);
    }
  }
  if (value->has_struct_value()) {
    for (auto& field : *value->mutable_struct_value()->mutable_fields()) {
      ClearValues(&field.second);
    }
  }
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
    ClearValues(&ours);
    ClearValues(&theirs);
    if (difference.empty()) difference = Difference(ours, theirs);
  }
  if (difference.empty()) return;
  reports->push_back(head + difference + "\n  ours:   " + expected.json +
                     "\n  theirs: " + json + '\n');
}

std::string Head(const Case& expected) {
  return expected.type->full_name() + ", " + expected.origin + ", ";
}

void CompareRefusal(const std::string& head, const Case& expected,
                    const Answer& answer, bool refused, Reports* reports) {
  if (refused && answer.error.empty()) {
    reports->push_back(
        head + "reading: theirs takes what is to be refused\n  " +
        ToHex(expected.bytes) + "\n  as " + ToHex(answer.bytes) + '\n');
  } else if (!refused && !answer.error.empty()) {
    reports->push_back(head + "reading: theirs says " + answer.error + "\n  " +
                       ToHex(expected.bytes) + '\n');
  }
}

}  // namespace

Reports Disagreements(const Case& expected, const Answer& answer,
                      NegativeZero zero) {
  const std::string head = Head(expected);
  Reports reports;
  if (expected.message == nullptr || !answer.error.empty()) {
    CompareRefusal(head, expected, answer, expected.message == nullptr,
                   &reports);
    return reports;
  }
  CompareBytes(head + "written again: ", *expected.message, answer.bytes, zero,
               &reports);
  if (expected.json.empty()) return reports;
  CompareJson(head + "as JSON: ", expected, answer.json, &reports);
  if (answer.json_error.empty()) {
    CompareBytes(
        head + "read from our JSON: ", *KnownContent(*expected.message),
        answer.from_json, zero, &reports);
  } else if (EveryNumber(*expected.message, [](double number) {
               return std::abs(number) != std::numeric_limits<float>::max();
             })) {
    // The library writes the greatest float with so few digits that it is a
    // little too large for a reader with numbers of 64 bits.
    reports.push_back(head + "read from our JSON: theirs says " +
                      answer.json_error + "\n  " + expected.json + '\n');
  }
  return reports;
}

Reports Disagreements(const Case& expected, const Answer& answer,
                      const Bounds& bounds) {
  const std::string head = Head(expected);
  Reports reports;
  bool refused = expected.message == nullptr;
  if (!refused) {
    const std::unique_ptr<pb::Message> message =
        KnownContent(*expected.message);
    const bool usual = Encode(*message) == expected.bytes;
    refused = !bounds.Apply(message.get());
    if (refused && expected.origin.rfind("vector", 0) == 0) {
      reports.push_back(head + "beyond a bound\n");
    }
    const std::set<std::string> strict = {"integer too large",
                                          "varint overflow", "wrong wire type"};
    if (!usual && strict.count(answer.error) > 0) return reports;
    if (!refused && answer.error.empty()) {
      CompareBytes(head + "written again: ", *message, answer.bytes,
                   NegativeZero::kKept, &reports);
    }
  }
  CompareRefusal(head, expected, answer, refused, &reports);
  return reports;
}
