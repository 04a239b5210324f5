// What holds for every message of the library, checked through reflection. A
// new schema is covered without a change here.
#include <google/protobuf/arena.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <google/protobuf/wire_format_lite.h>
#include <gtest/gtest.h>

#include <functional>

#include "support/captured_log.h"
#include "support/fill.h"
#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using pb::util::MessageDifferencer;

// Runs the check for every message, filled in every way, or in the given ones.
void ForEachFilled(const std::function<void(const pb::Message&)>& check,
                   const std::vector<Fill>& fills = {
                       Fill::kSmall, Fill::kLargest, Fill::kLowest}) {
  ASSERT_FALSE(Messages().empty());
  for (const pb::Descriptor* type : Messages()) {
    for (Fill fill : fills) {
      SCOPED_TRACE(type->full_name() + ", fill " +
                   std::to_string(static_cast<int>(fill)));
      const std::unique_ptr<pb::Message> message = NewMessage(type);
      FillMessage(message.get(), fill);
      check(*message);
    }
  }
}

void ExpectSame(const pb::Message& actual, const pb::Message& expected) {
  EXPECT_TRUE(MessageDifferencer::Equals(actual, expected))
      << actual.ShortDebugString() << "\nis not\n"
      << expected.ShortDebugString();
  EXPECT_EQ(ToHex(Encode(actual)), ToHex(Encode(expected)));
}

// A length-delimited field, as the wire has it.
std::string Delimited(int number, const std::string& content) {
  std::string bytes;
  {
    pb::io::StringOutputStream stream(&bytes);
    pb::io::CodedOutputStream coded(&stream);
    coded.WriteTag(pb::internal::WireFormatLite::MakeTag(
        number, pb::internal::WireFormatLite::WIRETYPE_LENGTH_DELIMITED));
    coded.WriteVarint32(content.size());
    coded.WriteString(content);
  }
  return bytes;
}

TEST(EveryMessage, EncodesToNothingByDefault) {
  for (const pb::Descriptor* type : Messages()) {
    const std::unique_ptr<pb::Message> message = NewMessage(type);
    EXPECT_EQ(message->ByteSizeLong(), 0u) << type->full_name();
    EXPECT_EQ(Encode(*message), "") << type->full_name();
    EXPECT_TRUE(message->IsInitialized()) << type->full_name();
  }
}

TEST(EveryMessage, SurvivesARoundTrip) {
  ForEachFilled([](const pb::Message& message) {
    const std::string bytes = Encode(message);
    EXPECT_FALSE(bytes.empty());
    EXPECT_EQ(message.ByteSizeLong(), bytes.size());
    const std::unique_ptr<pb::Message> parsed(message.New());
    ASSERT_TRUE(parsed->ParseFromString(bytes));
    ExpectSame(*parsed, message);
  });
}

// The reflective implementation shares no code with the generated one.
TEST(EveryMessage, IsUnderstoodByTheReflectiveImplementation) {
  pb::DynamicMessageFactory factory;
  ForEachFilled([&factory](const pb::Message& message) {
    const std::unique_ptr<pb::Message> dynamic(
        factory.GetPrototype(message.GetDescriptor())->New());
    ASSERT_TRUE(dynamic->ParseFromString(Encode(message)));
    EXPECT_EQ(ToHex(Encode(*dynamic)), ToHex(Encode(message)));
    EXPECT_EQ(dynamic->DebugString(), message.DebugString());
  });
}

TEST(EveryMessage, SurvivesCopyMergeAndSwap) {
  ForEachFilled([](const pb::Message& message) {
    const std::unique_ptr<pb::Message> copy(message.New());
    copy->CopyFrom(message);
    copy->CopyFrom(*copy);
    ExpectSame(*copy, message);

    const std::unique_ptr<pb::Message> merged(message.New());
    merged->MergeFrom(message);
    ExpectSame(*merged, message);

    const std::unique_ptr<pb::Message> swapped(message.New());
    message.GetReflection()->Swap(swapped.get(), copy.get());
    ExpectSame(*swapped, message);
    EXPECT_EQ(Encode(*copy), "");

    copy->CheckTypeAndMergeFrom(*swapped);
    swapped->Clear();
    EXPECT_EQ(Encode(*swapped), "");
    ExpectSame(*copy, message);
  });
}

TEST(EveryMessage, LivesOnAnArena) {
  ForEachFilled([](const pb::Message& message) {
    pb::Arena arena;
    pb::Message* on_arena = message.New(&arena);
    ASSERT_EQ(on_arena->GetArena(), &arena);
    on_arena->CopyFrom(message);
    ExpectSame(*on_arena, message);
    // Between heap and arena a swap has to copy.
    const std::unique_ptr<pb::Message> on_heap(message.New());
    message.GetReflection()->Swap(on_heap.get(), on_arena);
    ExpectSame(*on_heap, message);
    EXPECT_EQ(Encode(*on_arena), "");
  });
}

TEST(EveryMessage, SurvivesTextFormat) {
  ForEachFilled([](const pb::Message& message) {
    std::string text;
    ASSERT_TRUE(pb::TextFormat::PrintToString(message, &text));
    const std::unique_ptr<pb::Message> parsed(message.New());
    ASSERT_TRUE(pb::TextFormat::ParseFromString(text, parsed.get()));
    ExpectSame(*parsed, message);
  });
}

// The runtime reads the negative zero of JSON as a positive one.
TEST(EveryMessage, SurvivesJsonButForNegativeZero) {
  ForEachFilled(
      [](const pb::Message& message) {
        std::string json;
        ASSERT_TRUE(pb::util::MessageToJsonString(message, &json).ok());
        const std::unique_ptr<pb::Message> parsed(message.New());
        ASSERT_TRUE(pb::util::JsonStringToMessage(json, parsed.get()).ok())
            << json;
        ExpectSame(*parsed, message);
      },
      {Fill::kSmall, Fill::kLargest});
}

TEST(EveryMessage, KeepsUnknownFieldsBehindTheKnownOnes) {
  const std::string unknown = Delimited(536870911, "from the future");
  ForEachFilled([&unknown](const pb::Message& message) {
    const std::string known = Encode(message);
    const std::unique_ptr<pb::Message> parsed(message.New());
    ASSERT_TRUE(parsed->ParseFromString(unknown + known));
    EXPECT_EQ(ToHex(Encode(*parsed)), ToHex(known + unknown));

    const std::unique_ptr<pb::Message> copy(message.New());
    copy->CopyFrom(*parsed);
    EXPECT_EQ(ToHex(Encode(*copy)), ToHex(known + unknown));
    parsed->Clear();
    EXPECT_EQ(Encode(*parsed), "");
  });
}

// A known number that arrives in another wire type is unknown, not an error.
TEST(EveryMessage, KeepsFieldsOfAnotherWireType) {
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      SCOPED_TRACE(type->field(i)->full_name());
      pb::UnknownFieldSet fields;
      // No field of the vocabulary is a group: this type is always another.
      fields.AddGroup(type->field(i)->number())->AddVarint(1, 1);
      std::string bytes;
      ASSERT_TRUE(fields.SerializeToString(&bytes));
      const std::unique_ptr<pb::Message> message = NewMessage(type);
      ASSERT_TRUE(message->ParseFromString(bytes));
      EXPECT_EQ(ToHex(Encode(*message)), ToHex(bytes));
      message->DiscardUnknownFields();
      EXPECT_EQ(Encode(*message), "");
    }
  }
}

TEST(EveryMessage, RefusesInvalidUtf8InEveryStringAndNamesIt) {
  const std::string invalid = "\xc3\x28";
  int strings = 0;
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      const pb::FieldDescriptor* field = type->field(i);
      if (field->cpp_type() != pb::FieldDescriptor::CPPTYPE_STRING) continue;
      SCOPED_TRACE(field->full_name());
      const std::string bytes = Delimited(field->number(), invalid);
      const std::unique_ptr<pb::Message> message = NewMessage(type);
      const bool text = field->type() == pb::FieldDescriptor::TYPE_STRING;
      if (text) ++strings;

      CapturedLog parsing;
      EXPECT_EQ(message->ParseFromString(bytes), !text);
      EXPECT_EQ(parsing.text().find(field->full_name()) != std::string::npos,
                text)
          << parsing.text();

      message->Clear();
      message->GetReflection()->SetString(message.get(), field, invalid);
      CapturedLog serialising;
      EXPECT_EQ(ToHex(Encode(*message)), ToHex(bytes));
      EXPECT_EQ(
          serialising.text().find(field->full_name()) != std::string::npos,
          text)
          << serialising.text();
    }
  }
  EXPECT_GT(strings, 0);
}

TEST(EveryMessage, TakesAnyTruncationWithoutHarm) {
  ForEachFilled([](const pb::Message& message) {
    const std::string bytes = Encode(message);
    const std::unique_ptr<pb::Message> parsed(message.New());
    for (size_t length = 0; length < bytes.size(); ++length) {
      // The copy ends where the input does, so that a sanitizer sees a read
      // past the end.
      const std::vector<char> part(bytes.begin(), bytes.begin() + length);
      if (!parsed->ParseFromArray(part.data(), static_cast<int>(part.size()))) {
        continue;
      }
      // What parses is complete: writing and reading it changes nothing.
      const std::unique_ptr<pb::Message> again(message.New());
      ASSERT_TRUE(again->ParseFromString(Encode(*parsed)));
      ExpectSame(*again, *parsed);
    }
  });
}

TEST(EveryMessage, KeepsUndeclaredEnumNumbers) {
  int enum_fields = 0;
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      const pb::FieldDescriptor* field = type->field(i);
      if (field->cpp_type() != pb::FieldDescriptor::CPPTYPE_ENUM) continue;
      ++enum_fields;
      for (int number : {-1, 2147483647}) {
        const std::unique_ptr<pb::Message> message = NewMessage(type);
        message->GetReflection()->SetEnumValue(message.get(), field, number);
        const std::unique_ptr<pb::Message> parsed = NewMessage(type);
        ASSERT_TRUE(parsed->ParseFromString(Encode(*message)));
        EXPECT_EQ(parsed->GetReflection()->GetEnumValue(*parsed, field), number)
            << field->full_name();
        EXPECT_TRUE(parsed->GetReflection()->GetUnknownFields(*parsed).empty());
      }
    }
  }
  EXPECT_GT(enum_fields, 0);
}

}  // namespace
