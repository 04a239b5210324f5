#include "check_device.h"

#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "json.h"
#include "simulate.h"

namespace pb = google::protobuf;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNode = 1, kServerRandom = 4711, kPayloadId = 1;
constexpr int64_t kLargestStream = 1 << 20, kLargestPiece = 1024;
// How long a device may take to answer what it should not have answered.
constexpr double kLinger = 0.15;
constexpr size_t kMostAnswers = 100;

const std::set<std::string>& AllClaims() {
  static const std::set<std::string> all = {
      "address", "handshake", "registration", "heartbeats", "time", "upload"};
  return all;
}

class Counterpart {
 public:
  Counterpart(const Declaration& device, const Post& post, Line* line,
              double patience, Report* report,
              const std::function<bool()>& is_over)
      : device_(device),
        post_(post),
        line_(*line),
        patience_(patience),
        report_(*report),
        audit_(&post, report, /*one_sided=*/true),
        is_over_(is_over) {}

  void Play() {
    Wait(patience_, [this] { return HasAll(); });
    if (Claims("upload")) {  // Which side sends the digest is open.
      Wait(std::min(patience_, 1.0),
           [this] { return Has("zorvik.stream.verifyDigest"); });
    }
    const Declaration::Request* answered = nullptr;  // The first.
    for (const Declaration::Request& request : device_.requests) {
      const size_t answers = AnswersTo(request);
      if (answered != nullptr || answers == 0) continue;
      answered = &request;
      usual_ = answers;
    }
    if (answered != nullptr) Probe(*answered);
    audit_.End();
    Judge();
    if (received_ == 0) {
      std::cerr << "zorvik: nothing has come from the device\n";
    }
  }

 private:
  bool Claims(const char* what) const { return device_.claims.count(what) > 0; }
  bool Has(const std::string& type) const { return seen_.count(type) > 0; }

  // Whether everything that the device claims has come.
  bool HasAll() const {
    return (!Claims("address") || Has("zorvik.discovery.addrRequest")) &&
           (!Claims("handshake") || Has("zorvik.handshake.handShakeMessage")) &&
           (!Claims("registration") ||
            Has("zorvik.access.payloadReqMessage")) &&
           (!Claims("heartbeats") || heartbeats_ > 1) &&
           (!Claims("time") || Has("zorvik.timesync.TimeSyncRequest")) &&
           (!Claims("upload") || Uploaded()) &&
           std::all_of(device_.sends.begin(), device_.sends.end(),
                       [this](const auto* id) { return sent_.count(id) > 0; });
  }
  bool Uploaded() const {
    return !session_.empty() && next_ >= size_ && !awaits_piece_;
  }

  // Takes what comes until the function is true, or the time is over.
  void Wait(double seconds, const std::function<bool()>& done) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (!done() && !is_over_() && Clock::now() < end) {
      const std::optional<std::string> bytes = line_.Receive(20);
      if (bytes) Take(*bytes);
    }
  }

  void Take(const std::string& bytes) {
    const std::string where =
        "message " + std::to_string(++received_) + " from the device";
    if (expected_) {
      Fault fault;
      const auto parcel = post_.Open(bytes, &fault);
      if (parcel && parcel->subject == *expected_) {
        if (answers_.size() < kMostAnswers) answers_.emplace_back(where, bytes);
        return;  // Whether it is held to the rules is decided later.
      }
    }
    const std::optional<Parcel> parcel = audit_.Take(where, bytes);
    if (!parcel) return;
    if (parcel->id != nullptr) sent_.insert(parcel->id);
    if (parcel->message == nullptr || !parcel->mismatch.empty()) return;
    seen_.insert(parcel->type->full_name());
    Reply(where, *parcel);
  }

  void Send(const Subject& subject, const pb::Message& message) {
    const std::string bytes = post_.Pack(subject, kNode, device_.node, message);
    audit_.TakeOwn(
        "message " + std::to_string(++transmitted_) + " to the device", bytes);
    line_.Send(bytes);
  }

  void Reply(const std::string& where, const Parcel& parcel) {
    const std::string& type = parcel.type->full_name();
    const pb::Message& message = *parcel.message;
    if (type == "zorvik.access.heartbeatMessage" && ++heartbeats_ == 1) {
      ListPayload();
    }
    if (type == "zorvik.access.payloadReqMessage") {
      CompareType(where, Number(message, "payload_type"));
      registered_ = post_.New("zorvik.access.payloadInfo");
      for (const char* field : {"payload_type", "payload_position"}) {
        Set(registered_.get(), field, Number(message, field));
      }
      Set(registered_.get(), "payload_id", kPayloadId);
      Set(registered_.get(), "is_online", 1);
    }
    if (type == "zorvik.stream.responseData") return AskForPiece();
    const std::optional<Answering> answering = post_.AnswerTo(parcel.subject);
    if (!answering || answering->type == nullptr ||
        parcel.subject.role != Role::kRequest) {
      return;
    }
    const auto answer = post_.vocabulary()->New(answering->type);
    for (const auto& [rule, field] : EchoedBy(answering->type)) {
      Set(answer.get(), field, Number(message, field));
    }
    const int64_t now = std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    if (type == "zorvik.discovery.addrDiscovery") {
      Set(answer.get(), "server_random", kServerRandom);
    } else if (type == "zorvik.discovery.addrRequest") {
      // An address of those that documents use.
      Set(answer.get(), "ip_addr", std::string("192.0.2.9"));
      Set(answer.get(), "lease_time", 3600);
    } else if (type == "zorvik.handshake.handShakeMessage") {
      Set(answer.get(), "source_id", device_.node);
    } else if (type == "zorvik.access.payloadReqMessage") {
      Set(answer.get(), "payload_id", kPayloadId);
    } else if (type == "zorvik.timesync.TimeSyncRequest") {
      Set(answer.get(), "timestamp_srv_recv", now);
      Set(answer.get(), "timestamp_srv_send", now);
    } else if (type == "zorvik.stream.requestUpload") {
      const int64_t proposed = Number(message, "session_size");
      piece_ = proposed < 1 ? kLargestPiece : std::min(proposed, kLargestPiece);
      Set(answer.get(), "session_size", piece_);
      Send(answering->subject, *answer);
      size_ = std::min(Number(message, "stream_size"), kLargestStream);
      next_ = 0;
      const auto* field = parcel.type->FindFieldByName("session_name");
      session_ = message.GetReflection()->GetString(message, field);
      return AskForPiece();
    } else {
      return;
    }
    Send(answering->subject, *answer);
  }

  void CompareType(const std::string& where, int64_t type) {
    if (type == device_.payload_type) {
      report_.Pass(rules::kRegisteredType);
    } else {
      report_.Fail(rules::kRegisteredType, where,
                   "it registers as " + std::to_string(type) +
                       " and claims to be " +
                       std::to_string(device_.payload_type));
    }
  }

  // When the registry publishes its list is open; some devices wait for it.
  void ListPayload() {
    if (registered_ == nullptr) return;
    const auto list = post_.New("zorvik.access.payloadList");
    const auto* entries =
        list->GetDescriptor()->FindFieldByName("payload_list");
    list->GetReflection()
        ->AddMessage(list.get(), entries)
        ->CopyFrom(*registered_);
    Send(post_.SubjectOf(post_.IdOf("zorvik.access.PAYLOAD_TOPIC_LIST_REPORT")),
         *list);
  }

  void AskForPiece() {
    awaits_piece_ = false;
    if (session_.empty() || next_ >= size_) return;
    awaits_piece_ = true;
    const auto request = post_.New("zorvik.stream.requestData");
    const int64_t length = std::min(piece_, size_ - next_);
    Set(request.get(), "offset", next_);
    Set(request.get(), "length", length);
    Set(request.get(), "session", session_);
    next_ += length;
    Send(post_.SubjectOf(post_.IdOf("zorvik.stream.SERVICE_ID_STREAM_REQUEST")),
         *request);
  }

  // The request with a number of its own.
  std::string Pack(const Declaration::Request& request) {
    Set(request.message.get(), "seq", ++seq_);
    return post_.Pack(post_.SubjectOf(*request.id), kNode, device_.node,
                      *request.message);
  }

  // Whether an answer repeats the number that the last request had.
  bool IsToLast(const std::string& answer) const {
    Fault fault;
    const auto parcel = post_.Open(answer, &fault);
    return parcel && parcel->message != nullptr &&
           Number(*parcel->message, "seq") == seq_;
  }

  // How many answers come, which are held to the rules.
  size_t AnswersTo(const Declaration::Request& request) {
    const Subject subject = post_.SubjectOf(*request.id);
    const auto answering = post_.AnswerTo(subject);
    const std::string bytes = Pack(request);
    audit_.TakeOwn(
        "message " + std::to_string(++transmitted_) + " to the device", bytes);
    line_.Send(bytes);
    if (!answering) {
      report_.NotSettled(
          rules::kAnswered, "",
          "under which id " + post_.NameOf(subject) + " is answered is open",
          request.id->name());
      return 0;
    }
    expected_ = answering->subject;
    answers_.clear();
    Wait(patience_, [this] { return !answers_.empty(); });
    Wait(kLinger, [] { return false; });
    for (const auto& [where, answer] : answers_) audit_.Take(where, answer);
    expected_.reset();
    return answers_.size();
  }

  // Sends what the device has to ignore, each before a request: it has to
  // answer that one alone.
  void Probe(const Declaration::Request& request) {
    const Subject subject = post_.SubjectOf(*request.id);
    const std::string type = request.message->GetTypeName();
    const bool envelope = subject.role == Role::kTopicType;
    const auto pack = [&](int to, const std::string& name,
                          const std::string& bytes) {
      return post_.Pack(subject, kNode, to, name, bytes);
    };
    Set(request.message.get(), "seq", ++seq_);
    const std::string good = request.message->SerializeAsString();
    Probe(request, rules::kIgnoresMalformed, "bytes that do not parse",
          {pack(device_.node, type, "\x08"), "\xff\xff\xff"});
    if (!envelope) return;
    Probe(request, rules::kIgnoresOtherNode, "an envelope for another node",
          {pack(device_.node == 998 ? 1000 : device_.node + 1, type, good)});
    Probe(request, rules::kIgnoresOtherContent,
          "content that the topic type does not carry",
          {pack(device_.node, "zorvik.access.heartbeatMessage", "\x08\x01")});
  }

  void Probe(const Declaration::Request& request, const Rule& rule,
             const std::string& what, const std::vector<std::string>& probes) {
    if (is_over_()) return;
    expected_ = post_.AnswerTo(post_.SubjectOf(*request.id))->subject;
    answers_.clear();
    for (const std::string& probe : probes) line_.Send(probe);
    Wait(kLinger, [] { return false; });
    const size_t wrong = answers_.size();
    const std::string bytes = Pack(request);
    line_.Send(bytes);
    Wait(patience_, [&] { return answers_.size() > wrong; });
    Wait(kLinger, [] { return false; });
    expected_.reset();
    const std::string where = "behind " + what;
    if (answers_.empty()) {
      report_.Fail(rule, where, "the device does not answer any more");
      return;
    }
    // What a device answers twice, it does not answer what is to be ignored.
    const size_t right =
        std::max<size_t>(usual_, std::count_if(answers_.begin(), answers_.end(),
                                               [this](const auto& answer) {
                                                 return IsToLast(answer.second);
                                               }));
    const bool ignored = wrong == 0 && answers_.size() <= right;
    if (ignored) {
      report_.Pass(rule);
    } else {
      report_.Fail(rule, where,
                   "there are " + std::to_string(answers_.size()) +
                       " answers to one request");
    }
    audit_.TakeOwn(
        "message " + std::to_string(++transmitted_) + " to the device", bytes);
    for (size_t i = ignored ? 0 : answers_.size() - 1; i < answers_.size();
         ++i) {
      audit_.Take(answers_[i].first, answers_[i].second);
    }
  }

  void Judge(const char* claim, const Rule& rule, bool holds,
             const char* otherwise) {
    if (holds) {
      report_.Pass(rule);
    } else if (Claims(claim)) {
      report_.Fail(rule, "", otherwise);
    }
  }

  void Judge() {
    Judge("address", rules::kAsksAddress, Has("zorvik.discovery.addrRequest"),
          "no addrRequest has come");
    Judge("registration", rules::kRegisters,
          Has("zorvik.access.payloadReqMessage"),
          "no payloadReqMessage has come");
    Judge("heartbeats", rules::kHeartbeats, heartbeats_ > 1,
          "heartbeatMessage has come once or not at all");
    Judge("time", rules::kAsksTime, Has("zorvik.timesync.TimeSyncRequest"),
          "no TimeSyncRequest has come");
    Judge("upload", rules::kUploads, Uploaded(),
          !Has("zorvik.stream.requestUpload") ? "no requestUpload has come"
                                              : "pieces are missing");
    if (Has("zorvik.handshake.handShakeMessage")) {
      report_.Pass(rules::kHandshake);
    } else if (Claims("handshake")) {
      report_.NotSettled(rules::kHandshake, "",
                         "no handShakeMessage has come under "
                         "SERVICE_ID_HS_APPLY, and that it travels there is "
                         "open");
    }
    for (const catalogue::Id* id : device_.sends) {
      if (sent_.count(id) > 0) {
        report_.Pass(rules::kReports);
      } else {
        report_.Fail(rules::kReports, "",
                     post_.NameOf(post_.SubjectOf(*id)) + " has not come",
                     id->name());
      }
    }
  }

  const Declaration& device_;
  const Post& post_;
  Line& line_;
  const double patience_;
  Report& report_;
  Audit audit_;
  const std::function<bool()>& is_over_;
  size_t received_ = 0, transmitted_ = 0;
  std::set<std::string> seen_;  // Types of messages.
  std::set<const catalogue::Id*> sent_;
  uint64_t heartbeats_ = 0;
  std::unique_ptr<pb::Message> registered_;  // As the registry lists it.
  std::string session_;
  int64_t size_ = 0, piece_ = kLargestPiece, next_ = 0;
  bool awaits_piece_ = false;
  uint32_t seq_ = 0;
  size_t usual_ = 0;  // How many answers a request got before the probes.
  // While an answer is waited for.
  std::optional<Subject> expected_;
  std::vector<std::pair<std::string, std::string>> answers_;
};

std::string TextOf(const pb::Value& value, const std::string& what) {
  if (value.has_string_value()) return value.string_value();
  throw std::runtime_error(what + " is to be a text");
}

const pb::RepeatedPtrField<pb::Value>& ListOf(const pb::Value& value,
                                              const std::string& what) {
  if (value.has_list_value()) return value.list_value().values();
  throw std::runtime_error(what + " is to be a list");
}

int NodeOf(const pb::Value& value, const std::string& what) {
  const double number = value.number_value();
  if (value.has_number_value() && number == std::trunc(number) &&
      std::abs(number) <= std::numeric_limits<int>::max()) {
    return static_cast<int>(number);
  }
  throw std::runtime_error(what + " is to be a node id");
}

Declaration::Request RequestOf(const pb::Value& item, const Post& post) {
  const auto& members = item.struct_value().fields();
  if (!members.contains("id")) throw std::runtime_error("a request has no id");
  const catalogue::Id& id = post.Meant(TextOf(members.at("id"), "id"));
  if (id.carries().empty()) {
    throw std::runtime_error("which message " + id.name() + " carries is open");
  }
  auto message = post.New(id.carries());
  for (const auto& [name, value] : members) {
    if (name == "message") {
      std::string content;
      pb::util::MessageToJsonString(value, &content);
      try {
        message->ParseFromString(
            Json(post.vocabulary()).Encode(content, message->GetDescriptor()));
      } catch (const std::runtime_error& error) {
        throw std::runtime_error(post.NameOf(post.SubjectOf(id)) + ": " +
                                 error.what());
      }
    } else if (name != "id") {
      throw std::runtime_error("a request has no member " + name);
    }
  }
  return {&id, std::move(message)};
}

Declaration DeclarationOf(const pb::Struct& object, const Post& post) {
  Declaration device;
  for (const auto& [name, value] : object.fields()) {
    if (name == "name") {
      device.name = TextOf(value, name);
    } else if (name == "kind") {
      device.payload_type =
          PayloadTypeOf(TextOf(value, name), *post.vocabulary());
    } else if (name == "node") {
      device.node = NodeOf(value, name);
    } else if (name == "claims") {
      for (const pb::Value& claim : ListOf(value, name)) {
        if (AllClaims().count(TextOf(claim, name)) == 0) {
          throw std::runtime_error("nothing can be claimed as " +
                                   claim.string_value());
        }
        device.claims.insert(claim.string_value());
      }
    } else if (name == "sends") {
      for (const pb::Value& id : ListOf(value, name)) {
        device.sends.push_back(&post.Meant(TextOf(id, name)));
      }
    } else if (name == "requests") {
      for (const pb::Value& item : ListOf(value, name)) {
        device.requests.push_back(RequestOf(item, post));
      }
    } else {
      throw std::runtime_error("there is no member " + name);
    }
  }
  return device;
}

}  // namespace

Declaration ReadDeclaration(const std::string& path, const Post& post) {
  std::stringstream text;
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  text << file.rdbuf();
  pb::Struct object;
  if (!pb::util::JsonStringToMessage(text.str(), &object).ok()) {
    throw std::runtime_error(path + " is no JSON object");
  }
  try {
    return DeclarationOf(object, post);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(path + ": " + error.what());
  }
}

void PlayDevice(const Declaration& device, const Post& post, Line* line,
                double patience, Report* report,
                const std::function<bool()>& is_over) {
  Counterpart(device, post, line, patience, report, is_over).Play();
}
