// The library's side of the exchange with another implementation.
//
//   interop_exchange VECTORS BOUNDS cases
//     writes the cases, one per line
//   interop_exchange VECTORS BOUNDS check [negative-zero-lost|bounded]
//     compares the answers on standard input, one per line
//
// VECTORS is the folder of the vectors, BOUNDS the options file of nanopb.
//
// A line is a JSON object. A case has the full name of a "message", its "bytes"
// in hex and, mostly, its "json" form, as a text. The answer has the "bytes" of
// the message read and written again, its "json" form and, as "fromJson", the
// bytes written after reading the JSON form of the case. What is refused has an
// "error" in place of all, or a "jsonError" in place of "fromJson".
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include "interop/cases.h"
#include "interop/compare.h"
#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

constexpr size_t kReportsShown = 20;

void Write(const std::vector<Case>& cases) {
  for (const Case& item : cases) {
    pb::Struct line;
    auto& fields = *line.mutable_fields();
    fields["message"].set_string_value(item.type->full_name());
    fields["bytes"].set_string_value(ToHex(item.bytes));
    if (!item.json.empty()) fields["json"].set_string_value(item.json);
    std::string json;
    EXPECT_TRUE(pb::util::MessageToJsonString(line, &json).ok());
    std::cout << json << '\n';
  }
}

Answer ReadAnswer(const std::string& line) {
  pb::Struct content;
  EXPECT_TRUE(pb::util::JsonStringToMessage(line, &content).ok()) << line;
  const auto text = [&content](const char* name) {
    const auto found = content.fields().find(name);
    return found == content.fields().end() ? std::string()
                                           : found->second.string_value();
  };
  return {text("error"), FromHex(text("bytes")), text("json"),
          FromHex(text("fromJson")), text("jsonError")};
}

// Compares with the rules for a peer: how it treats a negative zero, or its
// bounds.
template <typename Rules>
void Check(const std::vector<Case>& cases, const Rules& rules) {
  std::vector<std::string> reports;
  size_t with_json = 0, refused = 0;
  for (const Case& item : cases) {
    std::string line;
    ASSERT_TRUE(std::getline(std::cin, line)) << "an answer is missing";
    const Answer answer = ReadAnswer(line);
    for (const std::string& report : Disagreements(item, answer, rules)) {
      reports.push_back(report);
    }
    if (!answer.json.empty()) ++with_json;
    if (!answer.error.empty()) ++refused;
  }
  std::string line;
  EXPECT_FALSE(std::getline(std::cin, line)) << "more answers than cases";

  for (size_t i = 0; i < reports.size() && i < kReportsShown; ++i) {
    std::cout << reports[i];
  }
  EXPECT_EQ(reports.size(), 0u) << "disagreements";
  std::cout << cases.size() << " encodings of " << Messages().size()
            << " messages, " << with_json << " with JSON, " << refused
            << " refused: " << reports.size() << " disagreements\n";
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const std::string mode = arguments.size() > 2 ? arguments[2] : "";
  const std::string option = arguments.size() > 3 ? arguments[3] : "";
  if ((mode != "cases" && mode != "check") || arguments.size() > 4 ||
      (option != "" && option != "negative-zero-lost" && option != "bounded")) {
    std::cerr << "usage: interop_exchange VECTORS BOUNDS "
                 "cases|check [negative-zero-lost|bounded]\n";
    return 2;
  }
  const Bounds bounds(arguments[1]);
  const std::vector<Case> cases = Cases(arguments[0], bounds);
  if (mode == "cases") {
    Write(cases);
  } else if (option == "bounded") {
    Check(cases, bounds);
  } else {
    Check(cases, option.empty() ? NegativeZero::kKept : NegativeZero::kLost);
  }
  return testing::UnitTest::GetInstance()->Failed() ? 1 : 0;
}
