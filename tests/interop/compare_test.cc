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
#include "support/wire_vectors.h"
#include "waypointMessage.pb.h"

namespace {

namespace pb = google::protobuf;
using zorvik::position::positionInfo;

// The fields as text, and the lists, long texts and absent records among them.
std::string Noted(const pb::Message& message) {
  const pb::Reflection* r = message.GetReflection();
  std::string text = message.ShortDebugString() + '\n';
  for (int i = 0; i < message.GetDescriptor()->field_count(); ++i) {
    const pb::FieldDescriptor* field = message.GetDescriptor()->field(i);
    if (field->is_repeated()) {
      text += "list of " + std::to_string(r->FieldSize(message, field)) + '\n';
    } else if (field->cpp_type() == pb::FieldDescriptor::CPPTYPE_STRING) {
      const std::string value = r->GetString(message, field);
      if (value.size() >= 300)
        text += field->type_name() + std::string(" of 300\n");
      if (field->type() == pb::FieldDescriptor::TYPE_STRING) text += value;
    } else if (field->message_type() && !r->HasField(message, field)) {
      text += "absent\n";
    }
  }
  return text;
}

// The cases themselves: every field of every message is set in some of them, at
// random in others, and most have a form in JSON. All that the vectors have is
// among them, and every field with a bound is within it and beyond.
TEST(InteropCases, ReachEveryFieldInEveryForm) {
  const Bounds bounds(BOUNDS);
  std::map<const pb::Descriptor*, std::set<std::string>> random, json;
  std::map<std::string, std::set<const pb::FieldDescriptor*>> set;
  std::map<std::string, std::string> noted;
  std::set<std::string> bytes;
  for (const Case& item : Cases(VECTOR_DIR, bounds)) {
    std::string origin = item.origin.substr(0, item.origin.find(' '));
    bytes.insert(item.bytes);
    if (origin == "random") random[item.type].insert(item.bytes);
    if (!item.json.empty()) json[item.type].insert(item.json);
    if (item.message == nullptr) continue;
    std::vector<const pb::FieldDescriptor*> fields;
    item.message->GetReflection()->ListFields(*item.message, &fields);
    noted[origin] += Noted(*item.message);
    if (origin == "bound" && !bounds.Apply(KnownContent(*item.message).get())) {
      origin = "beyond";
    }
    set[origin].insert(fields.begin(), fields.end());
    if (!item.json.empty()) set["json"].insert(fields.begin(), fields.end());
  }
  for (const pb::Descriptor* type : Messages()) {
    EXPECT_GE(random[type].size(), 3u) << type->full_name();
    EXPECT_GE(json[type].size(), 3u) << type->full_name();
    for (int i = 0; i < type->field_count(); ++i) {
      const bool bounded = bounds.Of(type->field(i)).has_value();
      for (const char* origin :
           {"vector", "fill", "random", "json", "bound", "beyond"}) {
        EXPECT_EQ(set[origin].count(type->field(i)),
                  bounded || origin[0] != 'b' ? 1u : 0u)
            << origin << " does not set " << type->field(i)->full_name();
      }
    }
  }
  ForEachVector(VECTOR_DIR, [&](const auto& vector, const auto*) {
    for (const char* key : {"also", "rejects"}) {
      for (const std::string& hex : vector.List(key)) {
        EXPECT_EQ(bytes.count(FromHex(hex)), 1u) << key << ": " << hex;
      }
    }
  });
  for (const char* text :
       {"list of 2", ": 2147483647", ": -2147483648", ": 4294967295",
        ": -9223372036854775808", ": 18446744073709551615", ": -0 ", " { }",
        "string of 300", u8"\u6c34", "bytes of 300", "\\377"}) {
    EXPECT_NE(noted["fill"].find(text), std::string::npos) << text;
    EXPECT_NE(noted["random"].find(text), std::string::npos) << text;
  }
  for (const char* text :
       {"list of 0", "list of 1", "list of 3", "absent", ": -1 ", ": nan",
        ": inf", ": -inf", ": 0.1 ", ": UAV_GIMBAL", "rotationMode: -",
        u8"\uffff", "/zorvik.camera.", "/zorvik.gimbal.", "/zorvik.sdksub."}) {
    EXPECT_NE(noted["random"].find(text), std::string::npos) << text;
  }
  EXPECT_EQ(noted["fill"].find("list of 1"), std::string::npos);
}

Case CaseOf(const pb::Message& message) {
  Case item{"test", message.GetDescriptor(), Encode(message),
            KnownContent(message), ""};
  EXPECT_TRUE(pb::util::MessageToJsonString(message, &item.json).ok());
  return item;
}

positionInfo Position(int yaw, float longitude) {
  positionInfo position;
  position.mutable_uavattitude()->set_pitch(1);
  position.mutable_uavattitude()->set_yaw(yaw);
  position.mutable_positiondeviation()->set_longitude(longitude);
  return position;
}

Answer GoodAnswer(const Case& item) {
  return {"", item.bytes, item.json, item.bytes, ""};
}

// The one report about an answer; nothing when there is none.
template <typename Rules = NegativeZero>
std::string Report(const Case& item, const Answer& answer,
                   const Rules& rules = NegativeZero::kKept) {
  const std::vector<std::string> reports = Disagreements(item, answer, rules);
  EXPECT_LE(reports.size(), 1u);
  return reports.empty() ? "" : reports[0];
}

TEST(InteropCompare, ReportsEveryDifferenceWithFieldAndBothForms) {
  const Case item = CaseOf(Position(-1, 0.5f));
  const std::string other = Encode(Position(-2, 0.5f));
  const std::string longitude = R"(,"positionDeviation":{"longitude":0.5}})";
  const struct {
    std::string Answer::*member;
    std::string value;
    std::vector<std::string> mentioned;
  } kCases[] = {
      {&Answer::error, "", {}},
      {&Answer::error, "no", {"reading: theirs says no"}},
      {&Answer::json_error, "no", {"read from our JSON: theirs says no"}},
      {&Answer::bytes,
       other,
       {"zorvik.position.positionInfo, test, written again: modified",
        "uavAttitude.yaw: -1 -> -2", ToHex(item.bytes), ToHex(other)}},
      {&Answer::bytes, item.bytes + '\x08', {"not readable"}},
      {&Answer::bytes, item.bytes + FromHex("12 00"), {"written differently"}},
      {&Answer::from_json, other, {"read from our JSON: modified"}},
      {&Answer::json,
       R"({"uavAttitude":{"pitch":1,"yaw":-2})" + longitude,
       {"as JSON: modified: uavAttitude.yaw: -1 -> -2", item.json}},
      {&Answer::json,
       R"({"uavAttitude":{"pitch":1,"yaw":"-1"})" + longitude,
       {"as JSON: ", "yaw].string_value"}},
      {&Answer::json,
       R"({"uavAttitude":{"pitch":1,"yaw":-1,"roll":0})" + longitude,
       {"as JSON: added", "roll]"}},
      {&Answer::json,
       R"({"uavAttitude":{"pitch":1,"yaw":-1}})",
       {"as JSON: deleted: positionDeviation"}},
      {&Answer::json, "", {"as JSON: not readable"}},
  };
  for (const auto& c : kCases) {
    Answer answer = GoodAnswer(item);
    answer.*c.member = c.value;
    const std::string report = Report(item, answer);
    EXPECT_EQ(report.empty(), c.mentioned.empty()) << report;
    for (const std::string& text : c.mentioned) {
      EXPECT_NE(report.find(text), std::string::npos)
          << "no \"" << text << "\" in: " << report;
    }
  }
}

TEST(InteropCompare, ReportsWhatOnlyTheOthersTake) {
  Case item = CaseOf(Position(-1, 0.5f));
  const Answer answer = GoodAnswer(item);
  item.message = nullptr;
  EXPECT_NE(Report(item, answer).find("theirs takes what is to be refused"),
            std::string::npos);
  EXPECT_EQ(Report(item, {"no", "", "", "", ""}), "");
}

TEST(InteropCompare, ExcusesTheGreatestFloatInJsonAndNoOther) {
  for (float longitude : {std::numeric_limits<float>::max(), 1e38f}) {
    const Case item = CaseOf(Position(-1, longitude));
    Answer answer = GoodAnswer(item);
    answer.json_error = "too large";
    EXPECT_EQ(Report(item, answer).empty(), longitude > 1e38f);
  }
}

TEST(InteropCompare, ExcusesALostNegativeZeroOnlyWhereItIsKnown) {
  Case item = CaseOf(Position(-1, -0.0f));
  item.json.clear();
  Answer answer = GoodAnswer(item);
  EXPECT_EQ(Report(item, answer), "");
  answer.bytes = Encode(Position(-1, 0));
  EXPECT_EQ(Report(item, answer, NegativeZero::kLost), "");
  EXPECT_NE(Report(item, answer), "");
  answer.bytes = Encode(Position(-1, 1));
  EXPECT_NE(Report(item, answer, NegativeZero::kLost), "");
}

TEST(InteropCompare, HoldsABoundedPeerToItsBounds) {
  const Bounds bounds(BOUNDS);
  zorvik::waypoint::uploadKmlFileMsg message;
  const size_t bound =
      bounds.Of(message.GetDescriptor()->FindFieldByName("filePath")).value();
  const Answer refusal{"string overflow", "", "", "", ""};
  for (size_t size : {bound, bound + 1}) {
    message.set_filepath(std::string(size, 'x'));
    Case item = CaseOf(message);
    const bool beyond = size > bound;
    const Answer& right = beyond ? refusal : GoodAnswer(item);
    const Answer& wrong = beyond ? GoodAnswer(item) : refusal;
    EXPECT_NE(Report(item, wrong, bounds)
                  .find(beyond ? "theirs takes what is to be refused"
                               : "theirs says string overflow"),
              std::string::npos);
    EXPECT_EQ(Report(item, right, bounds), "");
    item.origin = "vector";
    EXPECT_EQ(Report(item, right, bounds).empty(), !beyond);
  }
}

TEST(InteropCompare, ExcusesABoundedPeerThatRefusesWhatNobodyWrites) {
  const Bounds bounds(BOUNDS);
  Case item = CaseOf(Position(-1, 0.5f));
  const Answer good = GoodAnswer(item);
  const Answer strict{"wrong wire type", "", "", "", ""};
  EXPECT_NE(Report(item, strict, bounds), "");
  item.bytes += FromHex("20 01");  // Unknown: read, and not kept.
  EXPECT_EQ(Report(item, strict, bounds), "");
  EXPECT_EQ(Report(item, good, bounds), "");
  EXPECT_NE(Report(item, {"end-of-stream", "", "", "", ""}, bounds), "");
  EXPECT_NE(Report(item, GoodAnswer(item), bounds), "");
}

}  // namespace
