#include "check_codec.h"

#include <fcntl.h>
#include <google/protobuf/any.pb.h>
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/util/json_util.h>
#include <google/protobuf/util/message_differencer.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <iostream>
#include <limits>
#include <memory>
#include <stdexcept>

#include "net.h"
#include "text.h"

namespace pb = google::protobuf;
using pb::FieldDescriptor;
using pb::util::MessageDifferencer;

namespace {

constexpr size_t kLongestLine = size_t{64} << 20;

// What differs between two messages: the first field with both values, or
// nothing.
std::string Difference(const pb::Message& ours, const pb::Message& theirs,
                       MessageDifferencer::MessageFieldComparison absence =
                           MessageDifferencer::EQUAL) {
  std::string report;
  MessageDifferencer differencer;
  pb::util::DefaultFieldComparator comparator;
  comparator.set_treat_nan_as_equal(true);
  differencer.set_field_comparator(&comparator);
  differencer.set_message_field_comparison(absence);
  differencer.ReportDifferencesToString(&report);
  differencer.Compare(ours, theirs);
  return report.substr(0, report.find('\n'));
}

std::string Short(std::string text) {
  if (text.size() > 200) text = text.substr(0, 200) + "...";
  return text;
}

// Leaves names and kinds; the values are compared as those of the message.
void ClearValues(pb::Value* value) {
  if (value->has_number_value()) value->set_number_value(0);
  if (value->has_string_value()) value->set_string_value("");
  if (value->has_list_value()) {
    for (pb::Value& item : *value->mutable_list_value()->mutable_values()) {
      ClearValues(&item);
    }
  }
  if (value->has_struct_value()) {
    for (auto& field : *value->mutable_struct_value()->mutable_fields()) {
      ClearValues(&field.second);
    }
  }
}

// Whether every float and double that is set passes, also in what an Any has.
// No Any passes whose content is unknown.
bool EveryNumber(const pb::Message& message, Vocabulary* vocabulary,
                 const std::function<bool(double)>& passes) {
  const pb::Reflection* r = message.GetReflection();
  if (message.GetTypeName() == pb::Any::descriptor()->full_name()) {
    pb::Any any;
    std::string name;
    any.ParseFromString(message.SerializeAsString());
    if (any.type_url().empty() && any.value().empty()) return true;
    pb::Any::ParseAnyTypeUrl(any.type_url(), &name);
    const pb::Descriptor* type = vocabulary->FindMessage(name);
    if (type == nullptr) return false;
    const auto content = vocabulary->New(type);
    return content->ParseFromString(any.value()) &&
           EveryNumber(*content, vocabulary, passes);
  }
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
      return EveryNumber(r->GetMessage(message, field), vocabulary, passes);
    }
    for (int i = 0; i < r->FieldSize(message, field); ++i) {
      if (!EveryNumber(r->GetRepeatedMessage(message, field, i), vocabulary,
                       passes)) {
        return false;
      }
    }
    return true;
  });
}

bool IsNoNegativeZero(double value) {
  return value != 0 || !std::signbit(value);
}

// A program that reads from one pipe and writes to another.
class Program {
 public:
  explicit Program(const std::vector<std::string>& command) {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) {
      throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno));
    }
    input_ = std::make_unique<Descriptor>(in[1]);
    output_ = std::make_unique<Descriptor>(out[0]);
    const Descriptor reads(in[0]), writes(out[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    std::vector<char*> arguments;
    for (const std::string& word : command) {
      arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const int result = posix_spawnp(&process_, arguments[0], &actions, nullptr,
                                    arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
      throw std::runtime_error(command[0] + ": " + std::strerror(result));
    }
    fcntl(input_->number(), F_SETFL, O_NONBLOCK);
  }
  ~Program() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  int input() const { return input_ == nullptr ? -1 : input_->number(); }
  int output() const { return output_->number(); }
  void CloseInput() { input_ = nullptr; }

  // Waits until it has ended. Says how, or nothing when all was well.
  std::string End() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    if (WIFSIGNALED(status)) {
      return std::string("the program was ended: ") +
             strsignal(WTERMSIG(status));
    }
    return status == 0 ? ""
                       : "the program ended with status " +
                             std::to_string(WEXITSTATUS(status));
  }

 private:
  pid_t process_ = 0;
  std::unique_ptr<Descriptor> input_, output_;
};

}  // namespace

CodecCheck::CodecCheck(Vocabulary* vocabulary, const Bounds* bounds,
                       Report* report)
    : vocabulary_(vocabulary),
      bounds_(bounds),
      report_(*report),
      json_(vocabulary, Json::Names::kJson) {}

// Empty where there is none that every implementation keeps: JSON's zero has no
// sign for most of them, and an Any is written as the message in it.
std::string CodecCheck::JsonOf(const Case& item,
                               const std::string& bytes) const {
  if (item.refused || bounds_ != nullptr) return "";
  const auto message = vocabulary_->New(item.type);
  if (!message->ParseFromString(bytes) ||
      !EveryNumber(*message, vocabulary_, IsNoNegativeZero)) {
    return "";
  }
  return json_.Of(*message);
}

// What the program under test is asked to read.
std::string CodecCheck::JsonFor(const Case& item) const {
  return JsonOf(item, item.other.empty() ? item.bytes : item.other);
}

std::string CodecCheck::LineOf(const Case& item) const {
  const std::string json = JsonFor(item);
  return "{\"message\":\"" + item.type->full_name() + "\",\"bytes\":\"" +
         HexOf(item.bytes) + '"' +
         (json.empty() ? "" : ",\"json\":" + Quoted(json)) + "}\n";
}

void CodecCheck::TakeLine(const Case& item, const std::string& line) {
  pb::Struct content;
  const std::string where = item.type->full_name() + ", " + item.origin;
  if (!pb::util::JsonStringToMessage(line, &content).ok()) {
    report_.Fail(rules::kProtocol, where, "no JSON object: " + Short(line));
    return;
  }
  bool is_hex = true;
  const auto text = [&](const char* name, bool hex = false) {
    const auto found = content.fields().find(name);
    if (found == content.fields().end()) return std::string();
    if (!hex) return found->second.string_value();
    const Bytes bytes = FromHex(found->second.string_value());
    is_hex = is_hex && (bytes || found->second.string_value().empty());
    return bytes.bytes;
  };
  CodecAnswer answer{text("error"),          text("bytes", true), text("json"),
                     text("fromJson", true), text("jsonError"),   false};
  answer.has_json = content.fields().contains("json");
  if (!is_hex || (!content.fields().contains("error") &&
                  !content.fields().contains("bytes"))) {
    report_.Fail(rules::kProtocol, where,
                 "neither \"bytes\" in hex nor an \"error\": " + Short(line));
    return;
  }
  report_.Pass(rules::kProtocol);
  Compare(item, answer);
}

void CodecCheck::Compare(const Case& item, const CodecAnswer& answer) {
  const std::string where = item.type->full_name() + ", " + item.origin;
  const std::string hex = Short(HexOf(item.bytes));
  const auto message = vocabulary_->New(item.type);
  const pb::LogSilencer silencer;
  const Rule& rule = *item.rule;
  bool refused = item.refused;
  if (!refused) message->ParseFromString(item.bytes);
  if (!refused && bounds_ != nullptr) {
    message->DiscardUnknownFields();
    const bool usual = message->SerializeAsString() == item.bytes;
    refused = !bounds_->Apply(message.get());
    if (!usual && Bounds::IsStrict(answer.error)) return;
  }
  if (refused != !answer.error.empty()) {
    report_.Fail(rule, where,
                 (refused ? "takes " + hex + ", which is to be refused"
                          : "refuses " + hex + ": " + Short(answer.error)),
                 item.type->full_name());
    return;
  }
  if (refused) {
    report_.Pass(rule);
    return;
  }
  CompareBytes(rule, where, *message, answer.bytes);
  CompareJson(where, item, *message, answer);
}

void CodecCheck::CompareBytes(const Rule& rule, const std::string& where,
                              const pb::Message& message,
                              const std::string& theirs) {
  const std::string ours = message.SerializeAsString();
  const bool has_zero = !EveryNumber(message, vocabulary_, IsNoNegativeZero);
  if (ours == theirs) {
    report_.Pass(rule);
    if (has_zero) report_.Pass(rules::kNegativeZero);
    return;
  }
  const auto parsed = vocabulary_->New(message.GetDescriptor());
  std::string difference = "cannot be read";
  const Rule* broken = &rule;
  if (parsed->ParseFromString(theirs)) {
    difference = Difference(message, *parsed);
    if (has_zero &&
        Difference(message, *parsed, MessageDifferencer::EQUIVALENT).empty()) {
      broken = &rules::kNegativeZero;
      report_.Pass(rule);
    } else if (difference.empty() && parsed->SerializeAsString() == theirs) {
      // Unknown fields have no order among each other, and JSON knows one NaN.
      report_.Pass(rule);
      return;
    } else if (difference.empty()) {
      difference = "is equal, and written in another way";
    }
  }
  report_.Fail(*broken, where,
               difference + "; expected " + Short(HexOf(ours)) + ", there is " +
                   Short(HexOf(theirs)),
               message.GetTypeName());
}

void CodecCheck::CompareJson(const std::string& where, const Case& item,
                             const pb::Message& message,
                             const CodecAnswer& answer) {
  const std::string given = JsonFor(item);
  if (given.empty()) return;
  const std::string json = JsonOf(item, item.bytes);
  const std::string element = message.GetTypeName();
  if (!answer.has_json) {
    // No failure, unless it has JSON at other times.
    ++without_json_;
    return;
  }
  ++with_json_;
  const auto known = vocabulary_->New(item.type);
  known->CopyFrom(message);
  known->DiscardUnknownFields();
  const auto parsed = vocabulary_->New(item.type);
  std::string difference;
  try {
    parsed->ParseFromString(json_.Encode(answer.json, item.type));
    // By value and not by bytes: unknown fields inside an Any are not in JSON.
    difference = Difference(*known, *parsed);
    pb::Value ours, theirs;
    pb::util::JsonStringToMessage(json, &ours);
    pb::util::JsonStringToMessage(answer.json, &theirs);
    ClearValues(&ours);
    ClearValues(&theirs);
    if (difference.empty()) difference = Difference(ours, theirs);
  } catch (const std::runtime_error& error) {
    difference = error.what();
  }
  if (!difference.empty()) {
    report_.Fail(rules::kJson, where,
                 difference + "; expected " + Short(json) + ", there is " +
                     Short(answer.json),
                 element);
  } else {
    report_.Pass(rules::kJson);
  }
  if (!item.other.empty()) known->ParseFromString(item.other);
  if (answer.json_error.empty()) {
    CompareBytes(rules::kJson, where + ", from JSON", *known, answer.from_json);
  } else if (EveryNumber(*known, vocabulary_, [](double number) {
               return std::abs(number) != std::numeric_limits<float>::max();
             })) {
    // The greatest float is written with so few digits that it is a little too
    // large for a reader with numbers of 64 bits.
    report_.Fail(rules::kJson, where,
                 "refuses " + Short(given) + ": " + Short(answer.json_error),
                 element);
  }
}

void CodecCheck::Run(const std::vector<std::string>& command,
                     const std::vector<Case>& cases, double patience) {
  struct sigaction ignore {
  }, before{};
  ignore.sa_handler = SIG_IGN;
  Program program(command);
  // A program that has ended takes no more; that is no reason to end.
  sigaction(SIGPIPE, &ignore, &before);
  const bool shows = isatty(STDERR_FILENO) != 0;
  std::string unsent, received;
  size_t next = 0, answered = 0, extra = 0;
  std::string trouble;
  std::string buffer(65536, '\0');
  while (true) {
    while (unsent.size() < buffer.size() && next < cases.size()) {
      unsent += LineOf(cases[next++]);
    }
    if (unsent.empty() && next == cases.size()) program.CloseInput();
    pollfd all[] = {{program.output(), POLLIN, 0},
                    {program.input(), POLLOUT, 0}};
    const int ready = poll(all, 2, static_cast<int>(patience * 1000));
    if (ready < 0 && errno == EINTR) {
      trouble = "interrupted";
      break;
    }
    if (ready == 0) {
      trouble = "the program is silent";
      break;
    }
    if ((all[1].revents & POLLOUT) != 0) {
      const ssize_t size = write(program.input(), unsent.data(), unsent.size());
      if (size > 0) unsent.erase(0, static_cast<size_t>(size));
      if (size < 0 && errno != EAGAIN) unsent.clear();
    } else if ((all[1].revents & (POLLERR | POLLHUP)) != 0) {
      next = cases.size();
      unsent.clear();
    }
    if (all[0].revents == 0) continue;
    const ssize_t size = read(program.output(), &buffer[0], buffer.size());
    if (size <= 0) break;
    size_t searched = received.size();
    received.append(buffer, 0, static_cast<size_t>(size));
    size_t begin = 0, end = 0;
    while ((end = received.find('\n', std::max(begin, searched))) !=
           std::string::npos) {
      const std::string line = received.substr(begin, end - begin);
      answered < cases.size() ? TakeLine(cases[answered], line)
                              : static_cast<void>(++extra);
      ++answered;
      begin = searched = end + 1;
    }
    received.erase(0, begin);
    if (received.size() > kLongestLine) {
      trouble = "a line without an end";
      break;
    }
    if (shows) {
      std::cerr << "\r" << answered << " of " << cases.size() << " cases"
                << std::flush;
    }
  }
  if (shows) std::cerr << "\r\x1b[K" << std::flush;
  sigaction(SIGPIPE, &before, nullptr);
  if (trouble.empty()) trouble = program.End();
  if (answered < cases.size()) {
    trouble += (trouble.empty() ? "" : "; ") +
               std::to_string(cases.size() - answered) +
               " cases have no answer, the first one is of " +
               cases[answered].type->full_name();
  }
  if (extra > 0) {
    trouble += (trouble.empty() ? "" : "; ") + std::to_string(extra) +
               " answers more than cases";
  }
  if (!trouble.empty()) report_.Fail(rules::kProtocol, "", trouble);
  if (with_json_ > 0 && without_json_ > 0) {
    report_.Fail(rules::kJson, "",
                 std::to_string(without_json_) + " answers have no JSON, and " +
                     std::to_string(with_json_) + " have");
  }
}
