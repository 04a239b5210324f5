#include "check_cases.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/text_format.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/util/json_util.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "fill.h"
#include "text.h"

namespace pb = google::protobuf;
using pb::FieldDescriptor;

namespace {

constexpr int kRandomFills = 20;
constexpr uint64_t kSeed = 2;

class Maker {
 public:
  Maker(Vocabulary* vocabulary, const Bounds* bounds,
        const pb::Descriptor* only)
      : vocabulary_(vocabulary), bounds_(bounds), only_(only) {
    for (const catalogue::Message& message :
         vocabulary->catalogue().messages()) {
      types_.push_back(vocabulary->FindMessage(message.name()));
      if (types_.back() == nullptr) {
        throw std::runtime_error("the files do not agree");
      }
    }
  }

  std::vector<Case> Make(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() == ".json") AddVectors(entry.path());
    }
    if (!seen_vectors_) throw std::runtime_error(folder + " has no vectors");
    for (size_t i = 0; i < types_.size(); ++i) {
      // Of each message the same ones, whatever else is tested.
      random_.seed(kSeed + i);
      if (IsWanted(types_[i])) AddAll(types_[i]);
    }
    if (bounds_ != nullptr && IsWanted(pb::Any::descriptor())) {
      AddAtBounds(vocabulary_->FindMessage("google.protobuf.Any"));
    }
    return std::move(cases_);
  }

 private:
  bool IsWanted(const pb::Descriptor* type) const {
    return only_ == nullptr || only_ == type;
  }

  std::unique_ptr<pb::Message> Random(const pb::Descriptor* type) {
    auto message = vocabulary_->New(type);
    FillRandomly(message.get(), &random_, [this](uint64_t number) {
      return vocabulary_->New(types_[number % types_.size()]);
    });
    return message;
  }

  // A random fill; with bounds one that keeps them, as what comes first is
  // read, too, and replaced.
  std::string WithinBounds(const pb::Descriptor* type) {
    for (int tries = 0; tries < 100; ++tries) {
      const auto message = Random(type);
      const std::string bytes = message->SerializeAsString();
      if (bounds_ == nullptr || bounds_->Apply(message.get())) return bytes;
    }
    return "";
  }

  void Add(const Rule& rule, const std::string& origin,
           const pb::Descriptor* type, const std::string& bytes,
           bool refused = false) {
    cases_.push_back({&rule, origin, type, bytes, refused, ""});
  }

  void AddVectors(const std::filesystem::path& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    pb::Struct file;
    if (!pb::util::JsonStringToMessage(text.str(), &file).ok() ||
        !file.fields().contains("vectors")) {
      throw std::runtime_error(path.string() + " has no vectors");
    }
    for (const pb::Value& item :
         file.fields().at("vectors").list_value().values()) {
      AddVector(path, item.struct_value().fields());
    }
  }

  void AddVector(const std::filesystem::path& path,
                 const pb::Map<std::string, pb::Value>& vector) {
    const auto text = [&](const char* key) {
      return vector.at(key).string_value();
    };
    const auto list = [&](const char* key) {
      std::vector<std::string> items;
      const auto found = vector.find(key);
      if (found == vector.end()) return items;
      for (const pb::Value& item : found->second.list_value().values()) {
        items.push_back(item.string_value());
      }
      return items;
    };
    const pb::Descriptor* type = vocabulary_->FindMessage(text("message"));
    if (type == nullptr) {
      throw std::runtime_error(path.string() + ": there is no " +
                               text("message"));
    }
    seen_vectors_ = true;
    if (!IsWanted(type)) return;
    const std::string origin = "vector \"" + text("name") + '"';
    const auto bytes = [](const std::string& hex) {
      return FromHex(hex).bytes;
    };
    for (const std::string& hex : list("rejects")) {
      Add(vector.contains("field") ? rules::kText : rules::kVectors, origin,
          type, bytes(hex), true);
    }
    if (vector.contains("rejects")) return;
    for (const std::string& hex : list("also")) {
      Add(rules::kForeign, origin, type, bytes(hex));
    }
    if (vector.contains("merge")) {
      std::string both;
      for (const std::string& each : list("merge")) {
        const auto message = vocabulary_->New(type);
        AnyFinder finder;
        pb::TextFormat::Parser parser;
        parser.SetFinder(&finder);
        if (!parser.ParseFromString(each, message.get())) {
          throw std::runtime_error(path.string() + ": no message: " + each);
        }
        both += message->SerializeAsString();
      }
      Add(rules::kMerge, origin, type, both);
    }
    const bool unknown = vector.contains("input");
    Add(unknown ? rules::kUnknownFields : rules::kVectors, origin, type,
        bytes(text(unknown ? "input" : "hex")));
  }

  void AddAll(const pb::Descriptor* type) {
    const auto message = vocabulary_->New(type);
    const std::pair<Fill, const char*> fills[] = {{Fill::kSmall, "small"},
                                                  {Fill::kLargest, "largest"},
                                                  {Fill::kLowest, "lowest"}};
    for (const auto& [fill, name] : fills) {
      message->Clear();
      FillMessage(message.get(), fill);
      Add(rules::kFill, std::string("fill with the ") + name, type,
          message->SerializeAsString());
    }
    for (int i = 0; i < kRandomFills; ++i) {
      Add(rules::kFill, "random fill " + std::to_string(i), type,
          Random(type)->SerializeAsString());
    }
    // Whoever reads its own JSON in place of the case's finds nothing in it.
    if (bounds_ == nullptr && type->field_count() > 0) {
      message->Clear();
      FillMessage(message.get(), Fill::kSmall);
      cases_.push_back({&rules::kFill, "nothing beside JSON", type, "", false,
                        message->SerializeAsString()});
    }
    Add(rules::kMerge, "two random fills", type,
        WithinBounds(type) + WithinBounds(type));
    AddTruncated(type);
    AddUnknown(type);
    AddUndeclared(type);
    AddText(type);
    if (bounds_ != nullptr) AddAtBounds(type);
  }

  void AddTruncated(const pb::Descriptor* type) {
    const auto message = vocabulary_->New(type);
    FillMessage(message.get(), Fill::kLargest);
    const std::string bytes = message->SerializeAsString();
    const size_t any = 1 + random_() % bytes.size();
    for (const size_t size : {bytes.size() - 1, any}) {
      const std::string cut = bytes.substr(0, size);
      const pb::LogSilencer silencer;
      if (size == bytes.size() || message->ParseFromString(cut)) continue;
      Add(rules::kTruncated,
          "the first " + std::to_string(size) + " of " +
              std::to_string(bytes.size()) + " bytes",
          type, cut, true);
    }
  }

  void AddUnknown(const pb::Descriptor* type) {
    const auto message = Random(type);
    pb::UnknownFieldSet* unknown =
        message->GetReflection()->MutableUnknownFields(message.get());
    unknown->AddVarint(3000, ~uint64_t{0});
    unknown->AddFixed32(3001, 0x80000001);
    unknown->AddFixed64(3002, uint64_t{1} << 63 | 1);
    unknown->AddLengthDelimited(3003)->assign("\x00\xff", 2);
    Add(rules::kUnknownFields, "fields 3000 to 3003", type,
        message->SerializeAsString());
  }

  void AddUndeclared(const pb::Descriptor* type) {
    for (const int number : {-7, 1000}) {
      const auto message = vocabulary_->New(type);
      for (int i = 0; i < type->field_count(); ++i) {
        const FieldDescriptor* field = type->field(i);
        const pb::EnumDescriptor* values = field->enum_type();
        if (values != nullptr && !field->is_repeated() &&
            values->FindValueByNumber(number) == nullptr) {
          message->GetReflection()->SetEnumValue(message.get(), field, number);
        }
      }
      if (message->ByteSizeLong() == 0) return;
      Add(rules::kUndeclared, "number " + std::to_string(number), type,
          message->SerializeAsString());
    }
  }

  void AddText(const pb::Descriptor* type) {
    for (int i = 0; i < type->field_count(); ++i) {
      const FieldDescriptor* field = type->field(i);
      if (field->cpp_type() != FieldDescriptor::CPPTYPE_STRING ||
          field->is_repeated()) {
        continue;
      }
      // A lone byte, a surrogate, an overlong zero, and one beyond the last.
      for (const char* text :
           {"\xff", "a\xed\xa0\x80", "\xc0\x80", "\xf4\x90\x80\x80"}) {
        const auto message = vocabulary_->New(type);
        message->GetReflection()->SetString(message.get(), field, text);
        const pb::LogSilencer silencer;
        Add(rules::kText, field->name() + " that is not UTF-8", type,
            message->SerializeAsString(),
            field->type() == FieldDescriptor::TYPE_STRING);
      }
    }
  }

  void AddAtBounds(const pb::Descriptor* type) {
    for (int i = 0; i < type->field_count(); ++i) {
      const FieldDescriptor* field = type->field(i);
      const std::optional<size_t> bound = bounds_->Of(field);
      if (!bound) continue;
      for (size_t size : {*bound, *bound + 1}) {
        const auto message = vocabulary_->New(type);
        const pb::Reflection* r = message->GetReflection();
        const std::string origin =
            field->name() + " with a size of " + std::to_string(size);
        if (!field->is_repeated()) {
          r->SetString(message.get(), field, std::string(size, 'x'));
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
          while (size-- > 0) r->AddMessage(message.get(), field);
        } else if (field->cpp_type() == FieldDescriptor::CPPTYPE_INT32) {
          while (size-- > 0) r->AddInt32(message.get(), field, -1);
        } else {
          while (size-- > 0) r->AddUInt32(message.get(), field, ~0u);
        }
        Add(rules::kBounds, origin, type, message->SerializeAsString());
      }
    }
  }

  Vocabulary* const vocabulary_;
  const Bounds* const bounds_;
  const pb::Descriptor* const only_;
  std::vector<const pb::Descriptor*> types_;
  std::mt19937_64 random_;
  std::vector<Case> cases_;
  bool seen_vectors_ = false;
};

}  // namespace

std::vector<Case> CasesFor(Vocabulary* vocabulary, const std::string& folder,
                           const Bounds* bounds, const pb::Descriptor* only) {
  return Maker(vocabulary, bounds, only).Make(folder);
}
