// What holds for every message of the library, filled in every way: all that
// the fuzz targets require. A new schema is covered without a change here. This
// runs on all processors and under all sanitizers that the tests run under.
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/unknown_field_set.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "check.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "zorvik/fill.h"

namespace {

namespace pb = google::protobuf;

void ForEachFilled(const std::function<void(const pb::Message&)>& check) {
  ASSERT_FALSE(Messages().empty());
  for (const pb::Descriptor* type : Messages()) {
    for (Fill fill : {Fill::kSmall, Fill::kLargest, Fill::kLowest}) {
      SCOPED_TRACE(type->full_name() + ", fill " +
                   std::to_string(static_cast<int>(fill)));
      const std::unique_ptr<pb::Message> message = NewMessage(type);
      FillMessage(message.get(), fill);
      std::vector<const pb::FieldDescriptor*> fields;
      message->GetReflection()->ListFields(*message, &fields);
      ASSERT_EQ(fields.size(), static_cast<size_t>(type->field_count()));
      check(*message);
    }
  }
}

#ifdef __SANITIZE_ADDRESS__  // Together with that of undefined behaviour.
// What that sanitizer finds would only be printed otherwise.
TEST(Sanitizers, EndTheProcess) {
  volatile int number = std::numeric_limits<int>::max();
  EXPECT_DEATH(number = number + 1, "signed integer overflow");
}
#endif

// Bytes, copies, arenas, merges, text and JSON, with unknown fields and
// without.
TEST(EveryMessage, PassesTheChecksOfTheFuzzTargets) {
  ForEachFilled([](const pb::Message& filled) {
    CheckForms(filled, true);
    // The group has a number that is known: no field of the vocabulary is one.
    pb::UnknownFieldSet unknown;
    unknown.AddGroup(filled.GetDescriptor()->field(0)->number())
        ->AddVarint(1, 1);
    unknown.AddLengthDelimited(536870911, "from the future");
    std::string bytes;
    unknown.SerializeToString(&bytes);
    const std::unique_ptr<pb::Message> message(filled.New());
    ASSERT_TRUE(message->ParseFromString(bytes + Encode(filled)));
    EXPECT_EQ(ToHex(Encode(*message)), ToHex(Encode(filled) + bytes));
    CheckForms(*message, true);
    message->Clear();
    EXPECT_EQ(Encode(*message), "");
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

TEST(EveryMessage, TakesAnyTruncationWithoutHarm) {
  ForEachFilled([](const pb::Message& message) {
    const std::string bytes = Encode(message);
    const std::unique_ptr<pb::Message> parsed(message.New());
    for (size_t length = 0; length < bytes.size(); ++length) {
      // The copy ends where the input does, so that a sanitizer sees a read
      // past the end.
      const std::vector<char> part(bytes.begin(), bytes.begin() + length);
      if (parsed->ParseFromArray(part.data(), static_cast<int>(part.size()))) {
        CheckBytes(*parsed);
      }
    }
  });
}

}  // namespace
