#include "interop/cases.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/reflection.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/fill.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/wire_vectors.h"

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

constexpr int kRandomFills = 20;
constexpr uint64_t kSeed = 2;

// A case of bytes that the library reads.
Case Readable(std::string origin, const pb::Descriptor* type,
              std::string bytes) {
  Case item{std::move(origin), type, std::move(bytes), NewMessage(type), ""};
  EXPECT_TRUE(item.message->ParseFromString(item.bytes)) << item.origin;
  // JSON's zero has no sign for most readers, and an Any is written as the
  // message in it.
  if (EveryNumber(*item.message, IsNoNegativeZero)) {
    EXPECT_TRUE(pb::util::MessageToJsonString(*item.message, &item.json).ok())
        << item.origin;
  }
  return item;
}

void AddVector(const WireVector& vector, const pb::Descriptor* type,
               std::vector<Case>* cases) {
  const std::string origin = "vector \"" + vector.Text("name") + '"';
  for (const std::string& hex : vector.List("rejects")) {
    cases->push_back({origin, type, FromHex(hex), nullptr, ""});
  }
  if (vector.Has("rejects")) return;
  std::vector<std::string> encodings = vector.List("also");
  encodings.push_back(vector.Text(vector.Has("input") ? "input" : "hex"));
  // Two encodings in a row are read as the second merged into the first.
  std::string both;
  for (const std::string& text : vector.List("merge")) {
    both += ToHex(FromText(type, text)->SerializeAsString());
  }
  if (vector.Has("merge")) encodings.push_back(both);
  for (const std::string& hex : encodings) {
    cases->push_back(Readable(origin, type, FromHex(hex)));
    EXPECT_EQ(ToHex(Encode(*cases->back().message)), vector.Text("hex"));
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

void AddAtBounds(const Bounds& bounds, std::vector<Case>* cases) {
  std::vector<const pb::Descriptor*> types = Messages();
  types.push_back(pb::Any::descriptor());
  for (const pb::Descriptor* type : types) {
    for (int i = 0; i < type->field_count(); ++i) {
      const FieldDescriptor* field = type->field(i);
      const std::optional<size_t> bound = bounds.Of(field);
      if (!bound) continue;
      for (size_t size : {*bound, *bound + 1}) {
        const std::unique_ptr<pb::Message> message = NewMessage(type);
        const pb::Reflection* r = message->GetReflection();
        if (!field->is_repeated()) {
          r->SetString(message.get(), field, std::string(size, 'x'));
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
          while (size-- > 0) r->AddMessage(message.get(), field);
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_INT32) {
          while (size-- > 0) r->AddInt32(message.get(), field, -1);
        } else {
          while (size-- > 0) r->AddUInt32(message.get(), field, ~0u);
        }
        cases->push_back(
            Readable("bound of " + field->name(), type, Encode(*message)));
      }
    }
  }
}

}  // namespace

std::vector<Case> Cases(const std::filesystem::path& vector_folder,
                        const Bounds& bounds) {
  std::vector<Case> cases;
  ForEachVector(vector_folder, [&cases](const auto& vector, const auto* type) {
    AddVector(vector, type, &cases);
  });
  AddFilled(&cases);
  AddAtBounds(bounds, &cases);
  return cases;
}

std::unique_ptr<pb::Message> KnownContent(const pb::Message& message) {
  std::unique_ptr<pb::Message> known(message.New());
  known->CopyFrom(message);
  known->DiscardUnknownFields();
  return known;
}

bool EveryNumber(const pb::Message& message,
                 const std::function<bool(double)>& passes) {
  if (const auto* any = pb::DynamicCastToGenerated<pb::Any>(&message)) {
    std::string name;
    pb::Any::ParseAnyTypeUrl(any->type_url(), &name);
    const pb::Descriptor* type =
        pb::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    if (type == nullptr || name.rfind("zorvik.", 0) != 0) return false;
    const std::unique_ptr<pb::Message> content = NewMessage(type);
    return any->UnpackTo(content.get()) && EveryNumber(*content, passes);
  }
  const pb::Reflection* r = message.GetReflection();
  std::vector<const FieldDescriptor*> fields;
  r->ListFields(message, &fields);
  return std::all_of(fields.begin(), fields.end(), [&](const auto* field) {
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_FLOAT:
        return passes(r->GetFloat(message, field));
      case FieldDescriptor::CPPTYPE_DOUBLE:
        return passes(r->GetDouble(message, field));
      case FieldDescriptor::CPPTYPE_MESSAGE:
        break;
      default:
        return true;
    }
    if (!field->is_repeated()) {
      return EveryNumber(r->GetMessage(message, field), passes);
    }
    const auto list = r->GetRepeatedFieldRef<pb::Message>(message, field);
    return std::all_of(list.begin(), list.end(), [&](const auto& element) {
      return EveryNumber(element, passes);
    });
  });
}
