// Each check ends the process on a message that does not pass it, says which
// requirement fails, and lets others pass; and what is written for a message
// picks that message. Undefined behaviour ends the process, too.
#include "check.h"

#include <google/protobuf/empty.pb.h>
#include <google/protobuf/unknown_field_set.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

#include "channelMessage.pb.h"
#include "picked_message.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using zorvik::channel::channelTopicMessage;
using zorvik::channel::checkMessage;

// What a process says that ends at a call; empty where it goes on after it.
template <typename Call>
std::string FaultOf(const Call& call) {
  std::FILE* const said = std::tmpfile();
  if (fork() == 0) {
    dup2(fileno(said), STDERR_FILENO);
    call();
    _exit(0);
  }
  int status = -1;
  wait(&status);
  std::rewind(said);
  std::string text(4096, '\0');
  text.resize(std::fread(&text[0], 1, text.size(), said));
  std::fclose(said);
  return status == 0 ? "" : "The process ends. " + text;
}

template <typename Call>
bool Passes(const Call& call) {
  return FaultOf(call).empty();
}

enum class Broken { kNothing, kClear, kCopy, kArenaCopy, kMerge };

// A message of unknown fields alone, whose code is broken somewhere.
class Faulty final : public pb::Message {
 public:
  explicit Faulty(Broken broken, int fields = 0, bool on_arena = false)
      : broken_(broken), on_arena_(on_arena) {
    while (fields-- > 0) content()->AddVarint(1, 1);
  }
  ~Faulty() override { _internal_metadata_.Delete<pb::UnknownFieldSet>(); }

  Message* New(pb::Arena* arena) const override {
    auto* const made = new Faulty(broken_, 0, arena != nullptr);
    if (arena != nullptr) arena->Own(made);
    return made;
  }
  void Clear() override {
    content()->Clear();
    if (broken_ == Broken::kClear) content()->AddVarint(1, 1);
  }
  int GetCachedSize() const override { return size_; }
  void SetCachedSize(int size) const override { size_ = size; }
  const ClassData* GetClassData() const override {
    static const ClassData data = {
        [](Message& to, const Message& from) {
          auto& copy = static_cast<Faulty&>(to);
          copy.Add(from, copy.on_arena_ ? Broken::kArenaCopy : Broken::kCopy);
        },
        [](Message& to, const Message& from) {
          static_cast<Faulty&>(to).Add(from, Broken::kMerge);
        }};
    return &data;
  }
  pb::Metadata GetMetadata() const override {
    return pb::Empty().GetMetadata();
  }

 private:
  pb::UnknownFieldSet* content() {
    return GetReflection()->MutableUnknownFields(this);
  }
  void Add(const Message& from, Broken unless) {
    if (broken_ == unless) return;
    content()->MergeFrom(from.GetReflection()->GetUnknownFields(from));
  }

  const Broken broken_;
  const bool on_arena_;
  mutable int size_ = 0;
};

// How many of a thousand inputs are sampled.
int Sampled() {
  int sampled = 0;
  for (int i = 0; i < 1000; ++i) sampled += IsSampled(std::to_string(i));
  return sampled;
}

int faults = 0;

void Expect(bool condition, const std::string& what) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", what.c_str());
  ++faults;
}

}  // namespace

int main() {
  checkMessage good;
  good.set_status(1);
  good.set_description("text");
  checkMessage invalid_utf8 = good;
  invalid_utf8.set_description("\xc3\x28");
  checkMessage unknown_field = good;
  unknown_field.GetReflection()
      ->MutableUnknownFields(&unknown_field)
      ->AddVarint(9, 1);
  const Faulty sound(Broken::kNothing);
  // Reads back as another message: the number is that of status.
  checkMessage misplaced;
  misplaced.GetReflection()->MutableUnknownFields(&misplaced)->AddVarint(1, 1);

  const auto check_text = [](const pb::Message& m) { CheckText(m); };
  const auto check_refused = [](const pb::Message& m) {
    const std::unique_ptr<pb::Message> message(m.New());
    CheckRefused(message.get());
  };
  // As unpacking: whether it succeeds, and whether it leaves something behind.
  const auto refusal = [](bool unpacks, bool fills) {
    checkMessage other;
    const auto unpack = [&](pb::Message* message) {
      if (fills) static_cast<checkMessage*>(message)->set_status(1);
      return unpacks;
    };
    return FaultOf([&] { CheckRefusal(unpack, &other, other); });
  };
  Expect(
      refusal(false, false).empty() &&
          refusal(true, false).find(" fails: refusal") != std::string::npos &&
          refusal(false, true).find("untouched") != std::string::npos,
      "another message is unpacked");
  Expect(Passes([&] { RequireSame("a", "a", "bytes", good); }) &&
             !Passes([&] { RequireSame("a", "b", "bytes", good); }),
         "other bytes are the same");
  const struct {
    void (*check)(const pb::Message&);
    const pb::Message& bad;
    const char* fault;
  } cases[] = {
      {CheckBytes, invalid_utf8, "parsing again"},
      {CheckBytes, Faulty(Broken::kClear), "writing again"},
      {CheckBytes, Faulty(Broken::kCopy, 1), "copy\n"},
      {CheckBytes, Faulty(Broken::kArenaCopy, 1), "copy on an arena"},
      {CheckBytes, Faulty(Broken::kMerge, 1), "merge"},
      {CheckFields, invalid_utf8, "round trip"},
      {CheckFields, misplaced, "round trip"},
      {CheckFields, Faulty(Broken::kClear), "round trip"},
      {check_text, unknown_field, "reading text"},
      {check_text, Faulty(Broken::kClear), "text"},
      {CheckJson, invalid_utf8, "JSON\n"},
      {check_refused, Faulty(Broken::kClear), "clearing after a fault"},
  };
  for (const auto& c : cases) {
    const std::string fault = FaultOf([&] { c.check(c.bad); });
    Expect(fault.find(std::string(" fails: ") + c.fault) != fault.npos,
           std::string("no check says ") + c.fault + " but: " + fault);
    Expect(Passes([&] { c.check(good), c.check(sound); }),
           std::string("a good message is refused: ") + c.fault);
  }

  Expect(!Passes([] { CheckText(checkMessage(), "status: 1"); }) &&
             !Passes([] { CheckText(channelTopicMessage(), "data {}"); }),
         "CheckText lets pass another message");

  for (const google::protobuf::Descriptor* type : Messages()) {
    const std::string pick = PickOf(type);
    Expect(pick.size() == kPickSize &&
               Picked(reinterpret_cast<const uint8_t*>(pick.data())) == type,
           "another message is picked for " + type->full_name());
  }

  Expect(!Passes([] {
    volatile int number = std::numeric_limits<int>::max();
    number = number + 1;
  }),
         "the sanitizer lets pass what it finds");

  // Each process reads the environment once.
  unsetenv("FUZZ_SAMPLE_INTERVAL");
  Expect(Passes([] { Require(Sampled() == 1000, "", checkMessage()); }),
         "not all inputs are sampled by default");
  Expect(Passes([] {
           setenv("FUZZ_SAMPLE_INTERVAL", "10", 1);
           const int sampled = Sampled();
           Require(sampled > 50 && sampled < 200, "", checkMessage());
         }),
         "the sample is not a tenth");
  return faults == 0 ? 0 : 1;
}
