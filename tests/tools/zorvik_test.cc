// A fault is found exactly where the runtime refuses the message, and what is
// printed as JSON leads back to the same bytes: over all messages, cut short
// anywhere and with any byte changed. And codecs are tested with all of that.
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "smcMessage.pb.h"
#include "support/captured_log.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/wire_vectors.h"
#include "zorvik/bounds.h"
#include "zorvik/check_cases.h"
#include "zorvik/decoder.h"
#include "zorvik/encoder.h"
#include "zorvik/fill.h"
#include "zorvik/printer.h"
#include "zorvik/table.h"
#include "zorvik/wire.h"

namespace {

namespace pb = google::protobuf;

class ZorvikTest : public testing::Test {
 protected:
  ZorvikTest() : vocabulary_(DESCRIPTOR_SET, CATALOGUE) {}

  // Expects the same verdict of both, and of the bytes as a content, which is
  // no concern of the runtime's, the same fault further back.
  void Compare(const pb::Descriptor* type, const std::string& bytes) {
    const CapturedLog log;  // The runtime says so when text is not UTF-8.
    const std::string where = type->full_name() + ' ' + ToHex(bytes);
    const auto fault = FaultOf(type->full_name(), bytes);
    EXPECT_EQ(NewMessage(type)->ParseFromString(bytes), !fault)
        << where << (fault ? fault->reason : "");
    EXPECT_LE(fault ? fault->offset : 0, bytes.size());

    zorvik::channel::channelTopicMessage envelope;
    envelope.mutable_data()->set_type_url("x/" + type->full_name());
    envelope.mutable_data()->set_value(bytes);
    const std::string whole = envelope.SerializeAsString();
    const auto inside = FaultOf(envelope.GetTypeName(), whole);
    ASSERT_EQ(!inside, !fault) << "as content: " << where;
    if (!fault) return;
    EXPECT_EQ(inside->offset, fault->offset + whole.size() - bytes.size())
        << where;
    EXPECT_EQ(inside->reason, fault->reason) << where;
  }

  // What decode --json prints of a message.
  std::string JsonOf(const pb::Descriptor* type, const std::string& bytes) {
    std::ostringstream out;
    DecoderOptions options;
    options.type = vocabulary_.FindMessage(type->full_name());
    options.output = Output::kJson;
    faults_ = 0;
    Decoder(options, &vocabulary_, &out, [this](const std::string&) {
      ++faults_;
    }).Show({"message 1", bytes, 0, "", ""});
    return out.str();
  }

  // Expects that encode turns it into the same bytes, also in an envelope.
  void ThereAndBack(const pb::Descriptor* type, const std::string& bytes) {
    const CapturedLog log;
    EncoderOptions options;
    options.type = vocabulary_.FindMessage(kEnvelope);
    const Encoder encoder(options, &vocabulary_);
    zorvik::channel::channelTopicMessage envelope;
    envelope.mutable_data()->set_type_url("x/" + type->full_name());
    envelope.mutable_data()->set_value(bytes);
    const std::string json = JsonOf(type, bytes);
    EXPECT_EQ(ToHex(encoder.FromJson(json)), ToHex(bytes)) << json;
    EXPECT_EQ(faults_ == 0, NewMessage(type)->ParseFromString(bytes)) << json;
    const std::string packed = Encode(envelope);
    EXPECT_EQ(ToHex(encoder.FromJson(JsonOf(envelope.GetDescriptor(), packed))),
              ToHex(packed))
        << json;
  }

  std::string Good(const pb::Descriptor* type, const std::string& bytes) {
    return SalvageFrom(bytes, vocabulary_.FindMessage(type->full_name()),
                       vocabulary_)
        .good;
  }

  std::optional<Fault> FaultOf(const std::string& type,
                               const std::string& bytes) {
    return FindFault(bytes, vocabulary_.FindMessage(type), vocabulary_);
  }

  static constexpr char kEnvelope[] = "zorvik.channel.channelTopicMessage";
  Vocabulary vocabulary_;
  int faults_ = 0;  // That the last message had.
};

TEST_F(ZorvikTest, AgreesWithTheRuntime) {
  for (const pb::Descriptor* type : Messages()) {
    for (const Fill fill : {Fill::kSmall, Fill::kLowest}) {
      const auto message = NewMessage(type);
      FillMessage(message.get(), fill);
      const std::string bytes = Encode(*message);
      for (size_t i = 0; i < bytes.size(); ++i) {
        Compare(type, bytes.substr(0, i));
        for (const int change : {0x01, 0x02, 0x04, 0x07, 0x80, 0xff}) {
          std::string changed = bytes;
          changed[i] = static_cast<char>(changed[i] ^ change);
          Compare(type, changed);
        }
        if (HasFailure()) return;  // One is enough to read.
      }
    }
  }
}

TEST_F(ZorvikTest, LeadsBackToEveryVector) {
  size_t count = 0;
  ForEachVector(VECTOR_DIR, [&](const WireVector& vector, const auto* type) {
    for (const char* key : {"hex", "input"}) {
      if (!vector.Has(key)) continue;
      ThereAndBack(type, FromHex(vector.Text(key)));
      ++count;
    }
    for (const char* key : {"also", "rejects"}) {
      for (const std::string& hex : vector.List(key)) {
        ThereAndBack(type, FromHex(hex));
      }
    }
  });
  EXPECT_GT(count, Messages().size());
}

// With every field set, and without help from the raw bytes.
TEST_F(ZorvikTest, LeadsBackToEveryMessage) {
  for (const pb::Descriptor* type : Messages()) {
    for (const Fill fill : {Fill::kSmall, Fill::kLargest, Fill::kLowest}) {
      const auto message = NewMessage(type);
      FillMessage(message.get(), fill);
      const std::string bytes = Encode(*message);
      ThereAndBack(type, bytes);
      const std::string json = JsonOf(type, bytes);
      // The content of an Any is then of a type that no schema has.
      if (bytes.find("google.protobuf") != std::string::npos) continue;
      if (fill == Fill::kSmall) {
        EXPECT_EQ(json.find("\"raw\""), std::string::npos) << json;
      }
      EncoderOptions options;
      options.type = vocabulary_.FindMessage(type->full_name());
      EXPECT_EQ(Encoder(options, &vocabulary_).FromText(message->DebugString()),
                bytes);
    }
  }
}

// Of a message that is cut, all whole fields are kept, and of the content of an
// envelope that is cut just as many.
TEST_F(ZorvikTest, KeepsWhatIsGood) {
  const CapturedLog log;
  for (const pb::Descriptor* type : Messages()) {
    const auto message = NewMessage(type);
    FillMessage(message.get(), Fill::kSmall);
    const std::string bytes = Encode(*message);
    zorvik::channel::channelTopicMessage envelope;
    envelope.set_topic_type(1);
    envelope.mutable_data()->set_type_url("x/" + type->full_name());
    envelope.mutable_data()->set_value(bytes);
    const std::string packed = Encode(envelope);
    std::string before;
    for (size_t size = 0; size < bytes.size(); ++size) {
      const std::string good = Good(type, bytes.substr(0, size));
      const auto kept = NewMessage(type);
      ASSERT_TRUE(kept->ParseFromString(good)) << type->full_name();
      if (kept->ParseFromString(bytes.substr(0, size))) {
        EXPECT_EQ(good, bytes.substr(0, size));
      }
      EXPECT_GE(good.size(), before.size());
      before = good;
      envelope.ParseFromString(
          Good(envelope.GetDescriptor(),
               packed.substr(0, packed.size() - bytes.size() + size)));
      EXPECT_EQ(ToHex(envelope.data().value()), ToHex(good));
    }
    EXPECT_FALSE(before.empty() && message->ByteSizeLong() > 12);
  }
}

// Groups in groups, in a message, in a message of it and behind a content.
TEST_F(ZorvikTest, AgreesWithTheRuntimeOnDepth) {
  const pb::Descriptor* type =
      zorvik::gimbal::UavGimbalRotateReqMessage::descriptor();
  for (int depth = 97; depth < 103; ++depth) {
    zorvik::gimbal::UavGimbalRotateReqMessage message;
    for (pb::Message* each :
         {static_cast<pb::Message*>(&message),
          static_cast<pb::Message*>(message.mutable_rotationvalue())}) {
      pb::UnknownFieldSet* fields =
          each->GetReflection()->MutableUnknownFields(each);
      for (int i = 0; i < depth; ++i) fields = fields->AddGroup(15);
      Compare(type, message.SerializeAsString());
      each->GetReflection()->MutableUnknownFields(each)->Clear();
    }
    zorvik::channel::channelTopicMessage envelope;
    envelope.mutable_data()->set_type_url("x/" + type->full_name());
    message.SerializeToString(envelope.mutable_data()->mutable_value());
    pb::UnknownFieldSet* fields =
        envelope.GetReflection()->MutableUnknownFields(&envelope);
    for (int i = 0; i < depth; ++i) fields = fields->AddGroup(15);
    Compare(envelope.GetDescriptor(), envelope.SerializeAsString());
  }
}

// Each has a stack, and so a limit.
TEST_F(ZorvikTest, StopsAtContentsPackedTooDeep) {
  for (const int depth : {100, 101, 1000}) {
    zorvik::smc::smcMessage task;
    for (int i = 0; i < depth; ++i) {
      zorvik::smc::smcMessage outer;
      outer.mutable_data()->set_type_url("x/" + task.GetTypeName());
      task.SerializeToString(outer.mutable_data()->mutable_value());
      task = std::move(outer);
    }
    std::ostringstream text;
    Printer(&vocabulary_, &text).Print(task, 0);
    const bool stops = text.str().find("packed too deep") != std::string::npos;
    const auto fault = FaultOf(task.GetTypeName(), Encode(task));
    EXPECT_EQ(stops, depth > 100);
    EXPECT_EQ(!!fault, depth > 100);
  }
}

// Ten a second for eight seconds, and nothing more for eight.
TEST_F(ZorvikTest, CountsRatesAndFaultsOfWhatIsHeard) {
  zorvik::channel::channelTopicMessage envelope;
  envelope.set_topic_type(10404);
  envelope.set_dst_node_id(8);
  Table table(&vocabulary_, 9);
  Table::Time now;
  table.Tick(now);
  for (int second = 0; second < 16; ++second) {
    for (int i = 0; i < 10 && second < 8; ++i) {
      now += std::chrono::milliseconds(100);
      table.Add(Encode(envelope), now);
    }
    if (second >= 8) now += std::chrono::seconds(1);
    table.Tick(now);
    const Table::Row& row = table.rows().at({0, 10404});
    EXPECT_EQ(row.changed, second < 8) << second;
    const double rate = second < 8 ? 10 : std::max(0, 10 * (12 - second) / 5);
    EXPECT_NEAR(row.rate, rate, 0.01) << second;
    EXPECT_EQ(now - row.last, std::chrono::seconds(std::max(0, second - 7)));
  }
  const Table::Row& row = table.rows().at({0, 10404});
  EXPECT_EQ(row.Faults(), "80 wrong content, 80 other node");
  EXPECT_EQ(table.count(), 80);
  EXPECT_EQ(table.faulty(), 80);  // Each has two.

  envelope.set_topic_type(3);
  envelope.mutable_data()->set_type_url("\x1b/zorvik.power.onOffMessage");
  table.Add(Encode(envelope), now);
  const std::string shown = table.rows().at({0, 3}).content;
  EXPECT_EQ(shown.find('\x1b'), std::string::npos) << shown;

  for (int node = 1; node < 10005; ++node) {
    envelope.set_src_node_id(node);
    table.Add(Encode(envelope), now);
  }
  EXPECT_EQ(table.rows().size(), 10000);
  EXPECT_EQ(table.without_row(), 6);
  EXPECT_EQ(table.count(), 81 + 10004);
}

TEST_F(ZorvikTest, NamesThePlace) {
  const struct {
    const char* type;
    const char* hex;
    size_t offset;
    const char* reason;
  } kCases[] = {
      {"channel.channelTopicMessage", "08 a4", 1, "inside a number"},
      {"channel.channelTopicMessage", "08 01 00", 2, "valid field number"},
      {"channel.channelTopicMessage", "08 01 0f", 2, "wire type 7"},
      {"channel.channelTopicMessage", "08 01 22 05 0a", 2, "needs 5 bytes"},
      {"channel.channelTopicMessage", "22 04 0a 02 c3 28", 4, "not UTF-8"},
      {"channel.channelTopicMessage", "08 01 54", 2, "not open"},
      {"channel.channelTopicMessage", "53 08 01", 3, "not closed"},
      {"channel.channelTopicMessage", "08 ff ff ff ff ff ff ff ff ff ff 01", 1,
       "more than ten bytes"},
      {"gimbal.UavGimbalRotateReqMessage", "22 02 08 80", 3, "inside a number"},
      {"camera.CameraRangeListMessage", "0a 02 01 80", 3, "inside a number"},
      // The content's type, "x/zorvik.power.onOffMessage", contains its bytes.
      {"channel.channelTopicMessage",
       "22 21 0a 1b 78 2f 7a 6f 72 76 69 6b 2e 70 6f 77 65 72 2e 6f 6e 4f 66 "
       "66 4d 65 73 73 61 67 65 12 02 65 72",
       33, "needs"},
      // The last of two values counts.
      {"channel.channelTopicMessage",
       "22 25 0a 1b 78 2f 7a 6f 72 76 69 6b 2e 70 6f 77 65 72 2e 6f 6e 4f 66 "
       "66 4d 65 73 73 61 67 65 12 02 08 01 12 02 08 80",
       38, "inside a number"},
  };
  for (const auto& vector : kCases) {
    const auto fault =
        FaultOf(std::string("zorvik.") + vector.type, FromHex(vector.hex));
    ASSERT_TRUE(fault) << vector.hex;
    EXPECT_EQ(fault->offset, vector.offset) << vector.hex;
    EXPECT_NE(fault->reason.find(vector.reason), std::string::npos)
        << fault->reason;
  }
}

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
      if (value.size() >= 300) {
        text += field->type_name() + std::string(" of 300\n");
      }
      if (field->type() == pb::FieldDescriptor::TYPE_STRING) text += value;
    } else if (field->message_type() && !r->HasField(message, field)) {
      text += "absent\n";
    }
  }
  return text;
}

// What a codec is tested with: every field of every message is set in some of
// the cases, at random in others. All that the vectors have is among them, and
// every field with a bound is within it and beyond.
TEST_F(ZorvikTest, CasesForACodecReachEveryField) {
  const CapturedLog log;  // The runtime knows fewer contents as text.
  const Bounds bounds(BOUNDS);
  std::map<const pb::Descriptor*, std::set<std::string>> random;
  std::map<const pb::Descriptor*, std::set<const Rule*>> rules_of;
  std::map<std::string, std::set<std::string>> set;
  std::map<std::string, std::string> noted;
  std::set<std::string> bytes;
  for (const Case& item :
       CasesFor(&vocabulary_, VECTOR_DIR, &bounds, nullptr)) {
    std::string origin = item.origin.substr(0, item.origin.find(' '));
    bytes.insert(item.bytes);
    rules_of[item.type].insert(item.rule);
    if (item.refused) continue;
    if (origin == "random") random[item.type].insert(item.bytes);
    const auto message = vocabulary_.New(item.type);
    ASSERT_TRUE(message->ParseFromString(item.bytes)) << item.origin;
    std::vector<const pb::FieldDescriptor*> fields;
    message->GetReflection()->ListFields(*message, &fields);
    noted[origin] += Noted(*message);
    if (item.rule == &rules::kBounds) {
      origin = bounds.Apply(message.get()) ? "bound" : "beyond";
    }
    for (const pb::FieldDescriptor* field : fields) {
      set[origin].insert(field->full_name());
    }
  }
  for (const pb::Descriptor* generated : Messages()) {
    const pb::Descriptor* type =
        vocabulary_.FindMessage(generated->full_name());
    EXPECT_GE(random[type].size(), 3u) << type->full_name();
    for (const Rule* rule : {&rules::kFill, &rules::kMerge, &rules::kTruncated,
                             &rules::kUnknownFields}) {
      EXPECT_EQ(rules_of[type].count(rule), 1u)
          << type->full_name() << ' ' << rule->name;
    }
    for (int i = 0; i < type->field_count(); ++i) {
      const std::string& field = type->field(i)->full_name();
      for (const char* origin : {"vector", "fill", "random"}) {
        EXPECT_EQ(set[origin].count(field), 1u) << origin << ' ' << field;
      }
      for (const char* origin : {"bound", "beyond"}) {
        EXPECT_EQ(set[origin].count(field),
                  bounds.Of(type->field(i)).has_value() ? 1u : 0u)
            << origin << ' ' << field;
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

}  // namespace
