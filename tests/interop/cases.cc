#include "interop/cases.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/reflection.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <utility>

#include "support/fill.h"
#include "support/hex.h"
#include "support/random_fill.h"
#include "support/schemas.h"
#include "support/wire_vectors.h"

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

constexpr int kRandomFills = 20;
constexpr uint64_t kSeed = 2;

bool IsNegativeZero(double value) { return value == 0 && std::signbit(value); }

// Calls one of these for every float, double and Any that is set, in records
// and lists, too.
struct Visitor {
  std::function<void(float)> on_float;
  std::function<void(double)> on_double;
  std::function<void(const pb::Any&)> on_any;
};

void Visit(const pb::Message& message, const Visitor& visitor) {
  if (const auto* any = pb::DynamicCastToGenerated<pb::Any>(&message)) {
    visitor.on_any(*any);
    return;
  }
  const pb::Reflection* r = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  r->ListFields(message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
      visitor.on_float(r->GetFloat(message, field));
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_DOUBLE) {
      visitor.on_double(r->GetDouble(message, field));
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      if (!field->is_repeated()) {
        Visit(r->GetMessage(message, field), visitor);
        continue;
      }
      for (const pb::Message& element :
           r->GetRepeatedFieldRef<pb::Message>(message, field)) {
        Visit(element, visitor);
      }
    }
  }
}

// The message in an Any; nothing when it is not one of the vocabulary's.
std::unique_ptr<pb::Message> Unpacked(const pb::Any& any) {
  const std::string name = any.type_url().substr(any.type_url().rfind('/') + 1);
  const pb::Descriptor* type =
      pb::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
  if (type == nullptr || name.rfind("zorvik.", 0) != 0) return nullptr;
  std::unique_ptr<pb::Message> payload = NewMessage(type);
  if (!any.UnpackTo(payload.get())) return nullptr;
  return payload;
}

// JSON's zero has no sign for most readers, and an Any is written as the
// message in it, which has to be there and known by name.
bool HasJsonForm(const pb::Message& message) {
  bool has = true;
  const auto check = [&has](double value) {
    if (IsNegativeZero(value)) has = false;
  };
  Visit(message, {check, check, [&has](const pb::Any& any) {
                    const auto payload = Unpacked(any);
                    if (!payload || !HasJsonForm(*payload)) has = false;
                  }});
  return has;
}

// A case of bytes that the library reads.
Case Readable(std::string origin, const pb::Descriptor* type,
              std::string bytes) {
  Case item{std::move(origin), type, std::move(bytes), NewMessage(type), ""};
  EXPECT_TRUE(item.message->ParseFromString(item.bytes)) << item.origin;
  if (HasJsonForm(*item.message)) {
    EXPECT_TRUE(pb::util::MessageToJsonString(*item.message, &item.json).ok())
        << item.origin;
  }
  return item;
}

void AddVectors(const std::filesystem::path& folder, std::vector<Case>* cases) {
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    for (const WireVector& vector : ReadVectors(folder, schema)) {
      const std::string origin = "vector \"" + vector.Text("name") + '"';
      const pb::Descriptor* type =
          pb::DescriptorPool::generated_pool()->FindMessageTypeByName(
              vector.Text("message"));
      for (const std::string& hex : vector.List("rejects")) {
        cases->push_back({origin, type, FromHex(hex), nullptr, ""});
      }
      if (vector.Has("rejects")) continue;
      std::vector<std::string> encodings = vector.List("also");
      encodings.push_back(vector.Text(vector.Has("input") ? "input" : "hex"));
      for (const std::string& hex : encodings) {
        cases->push_back(Readable(origin, type, FromHex(hex)));
        EXPECT_EQ(ToHex(Encode(*cases->back().message)), vector.Text("hex"));
      }
      // Two encodings in a row are read as the second merged into the first.
      std::string both;
      for (const std::string& text : vector.List("merge")) {
        both += Encode(*FromText(type, text));
      }
      if (vector.Has("merge")) {
        cases->push_back(Readable(origin + ", merged", type, both));
        EXPECT_EQ(ToHex(Encode(*cases->back().message)), vector.Text("hex"));
      }
    }
  }
}

void AddFilled(std::vector<Case>* cases) {
  std::mt19937_64 random(kSeed);
  for (const pb::Descriptor* type : Messages()) {
    const std::unique_ptr<pb::Message> message = NewMessage(type);
    for (Fill fill : {Fill::kSmall, Fill::kLargest, Fill::kLowest}) {
      message->Clear();
      FillMessage(message.get(), fill);
      cases->push_back(Readable("fill " + std::to_string(int(fill)), type,
                                Encode(*message)));
    }
    for (int i = 0; i < kRandomFills; ++i) {
      message->Clear();
      FillRandomly(message.get(), &random);
      cases->push_back(
          Readable("random fill " + std::to_string(i), type, Encode(*message)));
    }
  }
}

}  // namespace

std::vector<Case> Cases(const std::filesystem::path& vector_folder) {
  std::vector<Case> cases;
  AddVectors(vector_folder, &cases);
  AddFilled(&cases);
  return cases;
}

std::unique_ptr<pb::Message> KnownContent(const pb::Message& message) {
  std::unique_ptr<pb::Message> known(message.New());
  known->CopyFrom(message);
  known->DiscardUnknownFields();
  return known;
}

void ClearNegativeZeros(pb::Message* message) {
  const pb::Reflection* r = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  r->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_FLOAT) {
      if (IsNegativeZero(r->GetFloat(*message, field))) {
        r->ClearField(message, field);
      }
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_DOUBLE) {
      if (IsNegativeZero(r->GetDouble(*message, field))) {
        r->ClearField(message, field);
      }
    } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
      if (!field->is_repeated()) {
        ClearNegativeZeros(r->MutableMessage(message, field));
        continue;
      }
      for (int i = 0; i < r->FieldSize(*message, field); ++i) {
        ClearNegativeZeros(r->MutableRepeatedMessage(message, field, i));
      }
    }
  }
}

bool HoldsGreatestFloat(const pb::Message& message) {
  bool holds = false;
  Visit(message, {[&holds](float value) {
                    if (std::abs(value) == std::numeric_limits<float>::max()) {
                      holds = true;
                    }
                  },
                  [](double) {},
                  [&holds](const pb::Any& any) {
                    const auto payload = Unpacked(any);
                    if (payload && HoldsGreatestFloat(*payload)) holds = true;
                  }});
  return holds;
}
