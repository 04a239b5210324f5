// Each check ends the process on a message that does not pass it, and on no
// other; and what is written for a message picks that message. Undefined
// behaviour ends the process, too.
#include "check.h"

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

using zorvik::channel::checkMessage;

// Whether a process that makes a call goes on after it.
template <typename Call>
bool Passes(const Call& call) {
  const pid_t child = fork();
  if (child == 0) {
    // What Require has to say is of no interest here.
    std::freopen("/dev/null", "w", stderr);
    call();
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status == 0;
}

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
  // Reads back as another message: the number is that of status.
  checkMessage misplaced;
  misplaced.GetReflection()->MutableUnknownFields(&misplaced)->AddVarint(1, 1);

  const struct {
    const char* name;
    void (*check)(const google::protobuf::Message&);
    const checkMessage& bad;
  } cases[] = {
      {"CheckBytes", CheckBytes, invalid_utf8},
      {"CheckFields", CheckFields, invalid_utf8},
      {"CheckFields", CheckFields, misplaced},
      {"CheckText", [](const auto& m) { CheckText(m); }, unknown_field},
      {"CheckJson", CheckJson, invalid_utf8},
  };
  for (const auto& c : cases) {
    Expect(!Passes([&] { c.check(c.bad); }),
           c.name + std::string(" lets pass"));
    Expect(Passes([&] { c.check(good); }), c.name + std::string(" refuses"));
  }

  Expect(!Passes([&] { CheckText(checkMessage(), "status: 1"); }),
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
