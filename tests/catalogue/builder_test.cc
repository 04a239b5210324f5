// What the generator takes from the comments of a schema, and what it refuses,
// with the line at fault.
#include "catalogue/builder.h"

#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/util/message_differencer.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "catalogue/pairings.h"

namespace {

namespace pb = google::protobuf;

// A schema in which every kind of element has its tags. Cases below replace
// lines of it.
constexpr char kSchema[] = R"(// The file.
// @subsystem link
// @open something
syntax = "proto3";
package p;
import "google/protobuf/any.proto";
// Components.
// @ids component
enum Component {
  // None.
  COMPONENT_NONE = 0;
  // One.
  // @schema p.proto
  COMPONENT_ONE = 7;
}
// Services.
// @ids service
// @component p.COMPONENT_ONE
enum Service {
  // None.
  SERVICE_NONE = 0;
  // Asks.
  // @carries p.Request
  // @answer p.Answer
  // @answer_id p.SERVICE_TELL
  // @open when
  SERVICE_ASK = 1;
  // Tells.
  // @carries p.Answer
  SERVICE_TELL = 2;
  // Shows.
  // @pairs p.Request
  SERVICE_SHOW = 3;
}
// Asks,
// in two lines.
// @open this
// @open that
message Request {
  // Which.
  // @enum p.Component
  int32 which = 1;
  // How long.
  // @unit m/s
  uint32 cable_length = 2;
}
// Answers.
message Answer {
  // Any.
  // @open order
  repeated Request all = 3;
}
)";

// Comes before it by name, and after it in the list of files.
constexpr char kOther[] = R"(// Other.
// @subsystem channels
syntax = "proto3";
package o;
// Neither.
// @open use
enum Neither {
  // No.
  NO = 0;
}
)";

pb::FileDescriptorProto Parse(const std::string& text,
                              const std::string& name) {
  pb::io::ArrayInputStream stream(text.data(), static_cast<int>(text.size()));
  pb::io::Tokenizer tokenizer(&stream, nullptr);
  pb::FileDescriptorProto file;
  EXPECT_TRUE(pb::compiler::Parser().Parse(&tokenizer, &file)) << text;
  file.set_name(name);
  return file;
}

catalogue::Catalogue Build(const std::string& text, catalogue::Faults* faults) {
  pb::DescriptorPool pool(pb::DescriptorPool::generated_pool());
  // The generated pool knows any.proto once it is asked for.
  pool.FindFileByName("google/protobuf/any.proto");
  const pb::FileDescriptor* file = pool.BuildFile(Parse(text, "p.proto"));
  const pb::FileDescriptor* other = pool.BuildFile(Parse(kOther, "o.proto"));
  if (file == nullptr) throw std::invalid_argument(text);
  return catalogue::Build({file, other}, "1.2.3", faults);
}

TEST(Catalogue, HoldsWhatTheSchemaSays) {
  catalogue::Catalogue expected;
  ASSERT_TRUE(pb::TextFormat::ParseFromString(R"(
    format: 1
    version: "1.2.3"
    schemas {
      name: "o.proto" package: "o" subsystem: "channels" comment: "Other."
    }
    schemas {
      name: "p.proto" package: "p" imports: "google/protobuf/any.proto"
      subsystem: "link" comment: "The file." open: "something"
    }
    ids {
      name: "p.COMPONENT_ONE" number: 7 enum: "p.Component" kind: "component"
      schema: "p.proto" comment: "One."
    }
    ids {
      name: "p.SERVICE_ASK" number: 1 enum: "p.Service" kind: "service"
      component: "p.COMPONENT_ONE" settled: true carries: "p.Request"
      answer { message: "p.Answer" id: "p.SERVICE_TELL" }
      comment: "Asks." open: "when"
    }
    ids {
      name: "p.SERVICE_TELL" number: 2 enum: "p.Service" kind: "service"
      component: "p.COMPONENT_ONE" settled: true carries: "p.Answer"
      answers: "p.SERVICE_ASK" comment: "Tells."
    }
    ids {
      name: "p.SERVICE_SHOW" number: 3 enum: "p.Service" kind: "service"
      component: "p.COMPONENT_ONE" settled: false pairs: "p.Request"
      comment: "Shows."
    }
    enums {
      name: "o.Neither" schema: "o.proto" comment: "Neither." open: "use"
      values { name: "o.NO" number: 0 comment: "No." }
    }
    enums {
      name: "p.Component" schema: "p.proto" ids: "component"
      comment: "Components."
      values { name: "p.COMPONENT_NONE" number: 0 comment: "None." }
      values { name: "p.COMPONENT_ONE" number: 7 schema: "p.proto" comment: "One." }
    }
    enums {
      name: "p.Service" schema: "p.proto" ids: "service"
      component: "p.COMPONENT_ONE" comment: "Services."
      values { name: "p.SERVICE_NONE" number: 0 comment: "None." }
      values { name: "p.SERVICE_ASK" number: 1 comment: "Asks." open: "when" }
      values { name: "p.SERVICE_TELL" number: 2 comment: "Tells." }
      values { name: "p.SERVICE_SHOW" number: 3 comment: "Shows." }
    }
    messages {
      name: "p.Request" schema: "p.proto" carried_by: "p.SERVICE_ASK"
      paired_with: "p.SERVICE_SHOW" comment: "Asks,\nin two lines."
      open: "this" open: "that"
      fields {
        name: "which" json_name: "which" number: 1 type: "int32" repeated: false
        enum: "p.Component" comment: "Which."
      }
      fields {
        name: "cable_length" json_name: "cableLength" number: 2 type: "uint32"
        repeated: false unit: "m/s" comment: "How long."
      }
    }
    messages {
      name: "p.Answer" schema: "p.proto" carried_by: "p.SERVICE_TELL"
      answer_of: "p.SERVICE_ASK" comment: "Answers."
      fields {
        name: "all" json_name: "all" number: 3 type: "p.Request" repeated: true
        comment: "Any." open: "order"
      }
    }
  )",
                                              &expected));
  catalogue::Faults faults;
  const catalogue::Catalogue built = Build(kSchema, &faults);
  EXPECT_EQ(faults.Text(), "");
  pb::util::MessageDifferencer differencer;
  std::string differences;
  differencer.ReportDifferencesToString(&differences);
  EXPECT_TRUE(differencer.Compare(expected, built)) << differences;
}

// What the compiler gets of it, and of records in records and in lists.
TEST(Catalogue, IsPairedForTheCompiler) {
  catalogue::Faults faults;
  const std::string holders = R"(
// @open use
message Holder { // One.
Request a = 1; }
// @open use
message Holders { // All.
repeated Holder a = 1; }
)";
  const std::string text = std::regex_replace(
      catalogue::Pairings(Build(kSchema + holders, &faults)),
      std::regex("\\s+|static constexpr (std::string_view)?|using "), " ");
  for (const char* wanted :
       {"NameOf(::p::Component id) { switch (static_cast<int>(id)) { case 7: "
        "return \"COMPONENT_ONE\"; default: return {}; }",
        "EnumOfIds<::p::Service> { auto kComponent = ::p::Component{7};",
        "Id<::p::Service{1}> // SERVICE_ASK : IdFacts<::p::Request, "
        "::p::Answer, ::p::Service{2}>",
        "Id<::p::Service{2}> // SERVICE_TELL : IdFacts<::p::Answer, void, "
        "nullptr>",
        "/p.Request\"; bool kHasRecords = false; CarriedBy = "
        "IdList<::p::Service{1}>; AnswerOf = IdList<>;",
        "/p.Answer\"; bool kHasRecords = false; CarriedBy = "
        "IdList<::p::Service{2}>; AnswerOf = IdList<::p::Service{1}>;",
        "/p.Holder\"; bool kHasRecords = true;",
        "/p.Holders\"; bool kHasRecords = true;"}) {
    EXPECT_NE(std::regex_replace(text, std::regex(" +"), " ").find(wanted),
              text.npos)
        << "no " << wanted << " in " << text;
  }
}

// Replaces the first occurrence; the replacement may have other lines.
std::string With(std::string text, const std::string& from,
                 const std::string& to) {
  const size_t at = text.find(from);
  if (at == std::string::npos) throw std::invalid_argument(from);
  return text.replace(at, from.size(), to);
}

TEST(Catalogue, RefusesWhatIsNoTagOrMeansNothingHere) {
  const struct {
    const char* from;
    const char* to;
    const char* fault;  // From the line number on.
  } kCases[] = {
      // No words.
      {"// The file.\n", "", "3: no comment in words"},
      {"  // Which.\n", "", "41: no comment in words"},
      {"// Services.\n", "", "18: no comment in words"},
      {"// @unit m/s", "// @unit m/s\n  // and more", "45: words behind a tag"},
      {"// @unit m/s", "// @unit m/s\n  // @unit km", "45: a second @unit"},
      // Tags in comments that belong to nothing.
      {"int32 which = 1;", "int32 which = 1;  // @unit s",
       "42: a comment that"},
      {"  // How long.", "\n  // @unit s\n\n  // How long.", "48: a comment"},
      {"package p;", "// @open x\npackage p;", "6: a statement"},
      {"import", "// x\n// @open x\nimport", "8: a statement"},
      {"any.proto\";", "any.proto\";  // @open x", "6: a statement"},
      // Where the tag means nothing.
      {"// @unit m/s", "// @units m/s", "44: no tag here is called @units"},
      {"// @unit m/s", "// @carries p.Answer", "44: no tag here"},
      {"// @open this", "// @unit s", "37: no tag here"},
      {"// @open something", "// @ids topic", "3: no tag here"},
      {"  // None.\n  SERVICE", "  // None.\n  // @carries p.Answer\n  SERVICE",
       "21: the tags of an id"},
      {"// @ids service\n// @component p.COMPONENT_ONE\n", "",
       "21: the tags of an id"},
      {"  // One.", "  // One.\n  // @carries p.Answer", "13: a component"},
      {"// @ids component\n",
       "// @ids component\n// @component p.COMPONENT_ONE\n",
       "9: @component without ids"},
      {"// @carries p.Request\n",
       "// @carries p.Request\n  // @pairs p.Answer\n", "24: @pairs is for"},
      {"  // @carries p.Request\n", "", "23: @answer without @carries"},
      {"repeated Request all", "// @unit s\n  repeated Request all",
       "51: @unit is for"},
      {"// @unit m/s\n  uint32", "// @enum p.Component\n  uint64",
       "44: @enum is for"},
      {"// @enum p.Component", "// @enum p.Component\n  // @unit s",
       "42: @unit is for"},
      {"// @unit m/s", "// @unit 5 s", "44: 5 s is not a unit symbol"},
      // What has to be there.
      {"message Answer {", "message Other {}\n// Answers.\nmessage Answer {",
       "48: no id carries p.Other"},
      // Names of what is not there.
      {"@schema p.proto", "@schema p",
       "13: no schema of the build is called p"},
      {"// @ids service", "// @ids services", "17: no kind of ids"},
      {"@component p.COMPONENT_ONE", "@component p.COMPONENT_NONE",
       "18: no component"},
      {"@component p.COMPONENT_ONE", "@component p.SERVICE_ASK",
       "18: no component"},
      {"@enum p.Component", "@enum p.Request", "41: no enum"},
      {"@carries p.Request", "@carries Request", "23: no message"},
      {"@pairs p.Request", "@pairs p.None", "32: no message"},
      {"@answer_id p.SERVICE_TELL", "@answer_id p.SERVICE_NONE",
       "25: no answer comes"},
      {"@answer_id p.SERVICE_TELL", "@answer_id p.SERVICE_ASK",
       "25: no answer comes"},
      {"@answer_id p.SERVICE_TELL", "@answer_id p.COMPONENT_ONE",
       "25: no answer comes"},
      // An answer's id and its message that do not fit.
      {"@answer p.Answer", "@answer p.Request", "25: p.SERVICE_TELL carries"},
      {"  // @answer p.Answer\n", "", "24: p.SERVICE_TELL carries p.Answer"},
      {"  // @carries p.Answer\n", "", "25: p.SERVICE_TELL carries nothing"},
      {"message Answer {", "message Answer {\n  enum E { A = 0; }",
       "48: types in a message"},
  };
  const auto expect_fault = [](const char* from, const std::string& to,
                               const std::string& fault) {
    catalogue::Faults faults;
    Build(With(kSchema, from, to), &faults);
    const std::string wanted = "p.proto:" + fault;
    EXPECT_EQ(faults.Text().substr(0, wanted.size()), wanted)
        << "with: " << to << "\nfaults: " << faults.Text();
  };
  for (const auto& c : kCases) expect_fault(c.from, c.to, c.fault);
  for (const char* near :
       {"//  @unit m/s", "//@unit m/s", "// @unit  m/s", "// @unit m/s ",
        "// @unit\tm/s", "// @unit", "// @Unit m/s", "// @open unit @unit m/s",
        "// in @unit m/s"}) {
    expect_fault("// @unit m/s", near, "44: not a tag");
  }
}

}  // namespace
