// The comparison with other implementations reports every kind of difference.
#include "interop/compare.h"

#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <set>

#include "interop/cases.h"
#include "positionMessage.pb.h"
#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using zorvik::position::positionInfo;

Case CaseOf(const pb::Message& message) {
  Case item{"test", message.GetDescriptor(), Encode(message),
            std::unique_ptr<pb::Message>(message.New()), ""};
  item.message->CopyFrom(message);
  EXPECT_TRUE(pb::util::MessageToJsonString(message, &item.json).ok());
  return item;
}

positionInfo Position() {
  positionInfo position;
  position.mutable_uavattitude()->set_pitch(1);
  position.mutable_uavattitude()->set_yaw(-1);
  position.mutable_positiondeviation()->set_longitude(0.5f);
  return position;
}

Answer GoodAnswer(const Case& item) {
  return {"", item.bytes, item.json, Encode(*KnownContent(*item.message)), ""};
}

// The one report about an answer; nothing when there is none.
std::string Report(const Case& item, const Answer& answer,
                   NegativeZero zero = NegativeZero::kKept) {
  const std::vector<std::string> reports = Disagreements(item, answer, zero);
  EXPECT_LE(reports.size(), 1u);
  return reports.empty() ? "" : reports[0];
}

void ExpectMentions(const std::string& report, const std::string& text) {
  EXPECT_NE(report.find(text), std::string::npos)
      << "no \"" << text << "\" in: " << report;
}

// The cases themselves: every field of every message is set in some of them, at
// random in others, and most have a form in JSON.
TEST(InteropCases, ReachEveryFieldInEveryForm) {
  std::map<const pb::Descriptor*, std::set<std::string>> random, json;
  std::map<std::string, std::set<const pb::FieldDescriptor*>> set;
  for (const Case& item : Cases(VECTOR_DIR)) {
    const std::string origin = item.origin.substr(0, item.origin.find(' '));
    if (origin == "random") random[item.type].insert(item.bytes);
    if (!item.json.empty()) json[item.type].insert(item.json);
    if (item.message == nullptr) continue;
    std::vector<const pb::FieldDescriptor*> fields;
    item.message->GetReflection()->ListFields(*item.message, &fields);
    set[origin].insert(fields.begin(), fields.end());
    if (!item.json.empty()) set["json"].insert(fields.begin(), fields.end());
  }
  for (const pb::Descriptor* type : Messages()) {
    EXPECT_GE(random[type].size(), 3u) << type->full_name();
    EXPECT_GE(json[type].size(), 3u) << type->full_name();
    for (int i = 0; i < type->field_count(); ++i) {
      for (const char* origin : {"vector", "fill", "random", "json"}) {
        EXPECT_EQ(set[origin].count(type->field(i)), 1u)
            << origin << " does not set " << type->field(i)->full_name();
      }
    }
  }
}

TEST(InteropCompare, IsContentWithWhatTheLibraryWrites) {
  const Case item = CaseOf(Position());
  EXPECT_EQ(Report(item, GoodAnswer(item)), "");
}

TEST(InteropCompare, ReportsOtherBytesWithFieldAndBothForms) {
  const Case item = CaseOf(Position());
  positionInfo other = Position();
  other.mutable_uavattitude()->set_yaw(-2);

  Answer answer = GoodAnswer(item);
  answer.bytes = Encode(other);
  const std::string report = Report(item, answer);
  for (const std::string& text :
       {std::string("zorvik.position.positionInfo, test, written again"),
        std::string("uavAttitude.yaw: -1 -> -2"), ToHex(item.bytes),
        ToHex(Encode(other))}) {
    ExpectMentions(report, text);
  }

  answer = GoodAnswer(item);
  answer.from_json = Encode(other);
  ExpectMentions(Report(item, answer), "read from our JSON: modified");

  answer = GoodAnswer(item);
  answer.bytes += '\x08';
  ExpectMentions(Report(item, answer), "not readable");
}

TEST(InteropCompare, ReportsAnEqualMessageInOtherBytes) {
  zorvik::sdksub::Attitude3d attitude;
  attitude.set_pitch(1);
  attitude.set_roll(2);
  const Case item = CaseOf(attitude);
  Answer answer = GoodAnswer(item);
  answer.bytes = FromHex("08 01 10 82 00");
  ExpectMentions(Report(item, answer), "written differently at roll");
  answer.bytes = FromHex("08 01 10 02 18 00");
  ExpectMentions(Report(item, answer), "written differently at yaw");
}

TEST(InteropCompare, ReportsOtherJson) {
  const Case item = CaseOf(Position());
  const std::pair<std::string, std::string> answers[] = {
      {R"({"uavAttitude":{"pitch":1,"yaw":-2},"positionDeviation":{"longitude":0.5}})",
       "uavAttitude.yaw: -1 -> -2"},
      {R"({"uavAttitude":{"pitch":1,"yaw":"-1"},"positionDeviation":{"longitude":0.5}})",
       ".uavAttitude.yaw: another kind"},
      {R"({"uavAttitude":{"pitch":1,"yaw":-1,"roll":0},)"
       R"("positionDeviation":{"longitude":0.5}})",
       ".uavAttitude.roll: not ours"},
      {R"({"uavAttitude":{"pitch":1,"yaw":-1}})", "deleted: positionDeviation"},
      {R"({"uavAttitude":{"pitch":1,"yaw":-1},"PositionDeviation":{"longitude":0.5}})",
       "not readable"},
      {"", "not readable"},
  };
  for (const auto& [json, difference] : answers) {
    Answer answer = GoodAnswer(item);
    answer.json = json;
    ExpectMentions(Report(item, answer), "as JSON: ");
    ExpectMentions(Report(item, answer), difference);
  }
}

TEST(InteropCompare, ReportsWhatOnlyOneSideRefuses) {
  Case item = CaseOf(Position());
  ExpectMentions(Report(item, {"no", "", "", "", ""}), "theirs says no");
  Answer answer = GoodAnswer(item);
  answer.json_error = "no";
  ExpectMentions(Report(item, answer), "theirs says no");

  answer = GoodAnswer(item);
  item.message = nullptr;
  ExpectMentions(Report(item, answer), "theirs takes what ours refuses");
  EXPECT_EQ(Report(item, {"no", "", "", "", ""}), "");
}

TEST(InteropCompare, ExcusesTheGreatestFloatInJsonAndNoOther) {
  positionInfo position;
  for (bool greatest : {false, true}) {
    position.mutable_positiondeviation()->set_longitude(
        greatest ? std::numeric_limits<float>::max() : 1e38f);
    const Case item = CaseOf(position);
    Answer answer = GoodAnswer(item);
    answer.json_error = "too large";
    EXPECT_EQ(Report(item, answer).empty(), greatest);
  }
}

TEST(InteropCompare, ExcusesALostNegativeZeroOnlyWhereItIsKnown) {
  positionInfo position = Position();
  position.mutable_positiondeviation()->set_latitude(-0.0f);
  Case item = CaseOf(position);
  item.json.clear();
  Answer answer = GoodAnswer(item);
  EXPECT_EQ(Report(item, answer), "");
  ExpectMentions(Report(item, answer, NegativeZero::kLost),
                 "positionDeviation.latitude");
  answer.bytes = Encode(Position());
  EXPECT_EQ(Report(item, answer, NegativeZero::kLost), "");
  ExpectMentions(Report(item, answer), "positionDeviation.latitude");
}

}  // namespace
