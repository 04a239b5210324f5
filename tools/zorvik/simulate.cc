// zorvik simulate: payloads that are not there.
#include "simulate.h"

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check_audit.h"
#include "check_report.h"
#include "command.h"
#include "json.h"
#include "line.h"
#include "parcel.h"

namespace pb = google::protobuf;

namespace {

using Clock = std::chrono::steady_clock;

struct Sent {
  const char *id, *text;  // The content in the text format.
};
struct VirtualKind {
  const char* name;
  const char* payload_type;
  // What it sends without being asked.
  std::vector<Sent> sends;
  // The requests that it answers, as it declares them.
  std::vector<Sent> answers;
  // The message of answers whose content is open: the choice of this program.
  const char* answer = "";
};

const std::vector<VirtualKind>& Kinds() {
  static const std::vector<VirtualKind> all = {
      {"gimbal",
       "PAYLOAD_GIMBAL",
       {{"GIMBAL_SYSTEM_INFO", "gimbalMode: UAV_GIMBAL_MODE_YAW_FOLLOW"},
        {"GIMBAL_ATTITUDE_INFO", "attitude { pitch: -30 }"},
        {"GIMBAL_CALIBRATION_STAGE_INFO", ""}},
       {{"GIMBAL_ROTATE", "rotationValue { yaw: 45 }"},
        {"GIMBAL_SET_MODE", "mode: UAV_GIMBAL_MODE_FPV"},
        {"GIMBAL_RESET", "mode: UAV_GIMBAL_RESET_MODE_PITCH_AND_YAW"}},
       "zorvik.gimbal.UavGimbalRspMessage"},
      {"thrower",
       "PAYLOAD_THROWER",
       {{"THROWER_STATUS", "type: 'virtual' multi_channel_num: 4"}},
       {}},
      {"light-speaker",
       "PAYLOAD_LIGHT_SPEAKER",
       {},
       {{"LIGHTSPERKER_TOPIC_CONTROL", "moduleID: 1 action: 1"},
        {"LIGHTSPERKER_TOPIC_RUNTIME", "value: 'x'"},
        {"LIGHTSPERKER_TOPIC_QUERY", "moduleID: 1 pageIndex: 1"}}},
      {"tracer",
       "PAYLOAD_TRACER",
       {{"TRACER_MEASURE_INFO",
         "tarNum: 1 tarInfo { tNum: 1 tName: 'virtual' }"},
        {"TRACER_SYSTEM_INFO", "sn: 'virtual' disk: [10, 0]"}},
       {{"TRACER_WORKMODE_CONTROL", "workMode: 2"}}},
      {"camera",
       "PAYLOAD_CAMERA",
       {},
       {{"CAMERA_SERVICE_GET_RATE", "payload_type: 8"}}},
      {"power",
       "PAYLOAD_POWER",
       {{"POWER_SERVICE_ON_OFF", "on_off: 1"},
        {"POWER_SERVICE_VOLTAGE_CONTROL", "vbatEnable: true"}},
       {}}};
  return all;
}

const VirtualKind& KindOf(const std::string& name) {
  std::string names;
  for (const VirtualKind& kind : Kinds()) {
    if (kind.name == name) return kind;
    names += (names.empty() ? "" : ", ") + std::string(kind.name);
  }
  throw WrongUse(name + " is none of " + names);
}

struct SimulateOptions {
  std::string kind, place, broken;
  int node = 9, peer = 1;
  double interval = 1, patience = 5, seconds = 0;
  bool declaration = false;
  BrokerOptions broker;
};

std::unique_ptr<pb::Message> FromText(const Post& post, const std::string& type,
                                      const std::string& text) {
  auto message = post.New(type);
  if (!pb::TextFormat::ParseFromString(text, message.get())) {
    throw std::runtime_error("no " + type + ": " + text);
  }
  return message;
}

// Copies what has the same name and type in both.
void CopyShared(const pb::Message& from, pb::Message* to) {
  using Field = pb::FieldDescriptor;
  for (int i = 0; i < to->GetDescriptor()->field_count(); ++i) {
    const Field* field = to->GetDescriptor()->field(i);
    const Field* source = from.GetDescriptor()->FindFieldByName(field->name());
    if (source == nullptr || source->type() != field->type() ||
        source->is_repeated() || field->is_repeated()) {
      continue;
    }
    if (field->cpp_type() == Field::CPPTYPE_STRING) {
      Set(to, field->name(), from.GetReflection()->GetString(from, source));
    } else {
      Set(to, field->name(), Number(from, field->name()));
    }
  }
}

class Payload {
 public:
  Payload(const SimulateOptions& options, Vocabulary* vocabulary, Line* line)
      : options_(options),
        kind_(KindOf(options.kind)),
        post_(vocabulary),
        line_(*line) {
    for (const Sent& sent : kind_.sends) {
      const catalogue::Id& id = post_.Meant(sent.id);
      reports_.emplace_back(post_.SubjectOf(id),
                            FromText(post_, id.carries(), sent.text));
    }
  }

  int Run() {
    begin_ = Clock::now();
    if (!Breaks(rules::kAsksAddress)) FindAddress();
    Ask("zorvik.handshake.SERVICE_ID_HS_APPLY",
        "zorvik.handshake.handShakeMessage",
        "maxFrameSize: 1200 minFrameInterval: 1");
    if (!Breaks(rules::kRegisters)) Register();
    beats_ = true;
    if (!Breaks(rules::kAsksTime)) {
      Ask("zorvik.timesync.SERVICE_ID_TIME_SYNC_SRV",
          "zorvik.timesync.TimeSyncRequest",
          "timestamp_cli_send: " + std::to_string(RandomNumber()));
    }
    BreakOnce();
    if (!Breaks(rules::kUploads)) Upload();
    while (!IsOver()) Await(std::nullopt, 1);
    return 0;
  }

 private:
  bool Breaks(const Rule& rule) const { return options_.broken == rule.name; }

  bool IsOver() const {
    const std::chrono::duration<double> passed = Clock::now() - begin_;
    return Stopped() ||
           (options_.seconds > 0 && passed.count() >= options_.seconds);
  }

  static int RandomNumber() {
    std::random_device device;
    return std::uniform_int_distribution<int>(1, 1 << 30)(device);
  }

  void Send(const Subject& subject, const pb::Message& message) {
    line_.Send(post_.Pack(subject, options_.node, options_.peer, message));
  }
  void Send(const std::string& id, const pb::Message& message) {
    Send(post_.SubjectOf(post_.IdOf(id)), message);
  }

  // Serves what comes until the subject does, or the time is over.
  std::optional<Parcel> Await(std::optional<Subject> subject, double seconds) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (!IsOver() && Clock::now() < end) {
      Tick();
      const std::optional<std::string> bytes = line_.Receive(20);
      if (!bytes) continue;
      Fault fault;
      std::optional<Parcel> parcel = post_.Open(*bytes, &fault);
      if (!parcel) continue;
      if (subject && parcel->subject == *subject &&
          parcel->message != nullptr) {
        return parcel;
      }
      Serve(*parcel);
    }
    return std::nullopt;
  }

  // Asks and waits for the answer. A first message is repeated until somebody
  // listens.
  std::optional<Parcel> Ask(const std::string& id, const pb::Message& request) {
    const Subject subject = post_.SubjectOf(post_.IdOf(id));
    std::optional<Parcel> answer;
    Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(options_.patience));
    do {
      Send(subject, request);
      answer = Await(post_.AnswerTo(subject)->subject,
                     std::min(options_.patience, 0.5));
    } while (!answer && !heard_ && !IsOver() && Clock::now() < end);
    heard_ = heard_ || answer;
    if (!answer && !IsOver()) {
      std::cerr << "zorvik: nothing answers " << post_.NameOf(subject) << '\n';
    }
    return answer;
  }
  std::optional<Parcel> Ask(const std::string& id, const std::string& type,
                            const std::string& text) {
    return Ask(id, *FromText(post_, type, text));
  }

  void FindAddress() {
    const auto offer = Ask("zorvik.discovery.SERVICE_ID_DISCOVERY_BROADCAST",
                           "zorvik.discovery.addrDiscovery",
                           "client_random: " + std::to_string(RandomNumber()));
    if (!offer) return;
    const auto request = post_.New("zorvik.discovery.addrRequest");
    CopyShared(*offer->message, request.get());
    if (Breaks(rules::kEchoRandom)) {
      Set(request.get(), "server_random",
          Number(*request, "server_random") ^ 1);
    }
    Ask("zorvik.discovery.SERVICE_ID_DISCOVERY_REQUEST", *request);
  }

  void Register() {
    const auto request = FromText(
        post_, "zorvik.access.payloadReqMessage",
        "product_alias: 'virtual' payload_position: 1 psdklib_version: '2.0' "
        "payload_version: '1.0'");
    int64_t type = PayloadTypeOf(kind_.payload_type, *post_.vocabulary());
    if (Breaks(rules::kRegisteredType)) type = type == 1 ? 2 : 1;
    Set(request.get(), "src_id", options_.node);
    Set(request.get(), "payload_type", type);
    const auto answer =
        Ask("zorvik.access.PAYLOAD_SERVICE_PAYLOAD_REGISTER", *request);
    if (!answer) return;
    for (auto& [subject, report] : reports_) {
      Set(report.get(), "payload_id", Number(*answer->message, "payload_id"));
    }
  }

  // A file of three pieces of ten bytes, of which the peer asks for each.
  void Upload() {
    const auto request =
        FromText(post_, "zorvik.stream.requestUpload",
                 "stream_size: 30 stream_name: 'virtual.txt' session_size: 10 "
                 "session_name: 'virtual-1'");
    if (!Ask("zorvik.stream.SERVICE_ID_STREAM_UPLOAD", *request)) return;
    const auto end =
        Clock::now() + std::chrono::duration<double>(options_.patience);
    const int wanted = Breaks(rules::kStreamGap) ? 0 : 30;
    while (sent_ < wanted && !IsOver() && Clock::now() < end) {
      Await(std::nullopt, 0.01);
    }
    if (sent_ < wanted) return;
    const auto digest = FromText(post_, "zorvik.stream.verifyDigest",
                                 "digest_type: 4 digest_data: "
                                 "'6b45ac1bd8b1b28b9b6b0e2c6d4b6a1f'");
    Set(digest.get(), "session_name",
        std::string(Breaks(rules::kStreamSession) ? "other" : "virtual-1"));
    if (Breaks(rules::kEnumNumber)) Set(digest.get(), "digest_type", 9);
    Send("zorvik.stream.SERVICE_ID_STREAM_VERIFY", *digest);
  }

  // Heartbeats and reports that are due.
  void Tick() {
    const Clock::time_point now = Clock::now();
    if (!beats_ || now < next_) return;
    next_ = now + std::chrono::duration_cast<Clock::duration>(
                      std::chrono::duration<double>(options_.interval));
    if (!Breaks(rules::kHeartbeats) || !has_beaten_) {
      const auto heartbeat = post_.New("zorvik.access.heartbeatMessage");
      Set(heartbeat.get(), "src_node_id", options_.node);
      Set(heartbeat.get(), "time_interval",
          static_cast<int64_t>(options_.interval * 1000));
      Send("zorvik.access.PAYLOAD_TOPIC_HEARTBEAT", *heartbeat);
      has_beaten_ = true;
    }
    if (Breaks(rules::kReports)) return;
    for (const auto& [subject, report] : reports_) Send(subject, *report);
  }

  void Serve(const Parcel& parcel) {
    const std::optional<Answering> answering = post_.AnswerTo(parcel.subject);
    if (!answering || !Serves(parcel.subject)) return;
    const bool envelope = parcel.subject.role == Role::kTopicType;
    const pb::Descriptor* type = answering->type;
    if (type == nullptr) {
      type = post_.vocabulary()->FindMessage(kind_.answer);
    }
    if (type == nullptr) return;
    const auto answer = post_.vocabulary()->New(type);
    if (envelope && parcel.to != options_.node &&
        !Breaks(rules::kIgnoresOtherNode)) {
      return;
    }
    if (!parcel.mismatch.empty() && !Breaks(rules::kIgnoresOtherContent)) {
      return;
    }
    if (parcel.message == nullptr && !Breaks(rules::kIgnoresMalformed)) return;
    if (parcel.message != nullptr && parcel.mismatch.empty()) {
      CopyShared(*parcel.message, answer.get());
      Obey(parcel);
    }
    const bool piece = type->full_name() == "zorvik.stream.responseData";
    if (piece) FillPiece(answer.get());
    if (Breaks(rules::kAnswered) && !piece) return;
    if (Breaks(rules::kEchoSeq)) {
      Set(answer.get(), "seq", Number(*answer, "seq") + 1);
    }
    for (int i = 0; i < (Breaks(rules::kAsked) && !piece ? 2 : 1); ++i) {
      line_.Send(
          post_.Pack(answering->subject, options_.node, parcel.from, *answer));
    }
  }

  // Whether it has to do with a request: its own, and those for its file.
  bool Serves(const Subject& subject) const {
    for (const Sent& each : kind_.answers) {
      if (post_.SubjectOf(post_.Meant(each.id)) == subject) return true;
    }
    const pb::Descriptor* type = post_.TypeOf(subject);
    return type != nullptr && type->full_name() == "zorvik.stream.requestData";
  }

  void FillPiece(pb::Message* piece) {
    const int64_t offset = Number(*piece, "offset");
    const int64_t length = Number(*piece, "length");
    if (offset < 0 || length < 0 || offset > 30 || length > 30 - offset) return;
    Set(piece, "data",
        std::string("all work and no play: thirty.\n")
            .substr(static_cast<size_t>(offset), static_cast<size_t>(length)));
    sent_ += static_cast<int>(length);
    if (Breaks(rules::kEchoPiece) && offset == 0) {
      Set(piece, "length", length + 1);
    }
  }

  // Shows in its reports what it was told.
  void Obey(const Parcel& parcel) {
    const pb::Message& request = *parcel.message;
    const bool relative = Number(request, "rotationMode") == 0;
    for (auto& [subject, report] : reports_) {
      const auto* mode = request.GetDescriptor()->FindFieldByName("mode");
      const auto* shown =
          report->GetDescriptor()->FindFieldByName("gimbalMode");
      if (mode != nullptr && shown != nullptr &&
          mode->enum_type() == shown->enum_type() &&
          mode->enum_type()->FindValueByNumber(
              static_cast<int>(Number(request, "mode"))) != nullptr) {
        Set(report.get(), "gimbalMode", Number(request, "mode"));
      }
      if (request.GetDescriptor()->FindFieldByName("workMode") != nullptr) {
        Set(report.get(), "workMode", Number(request, "workMode"));
      }
      const auto* turn =
          request.GetDescriptor()->FindFieldByName("rotationValue");
      const auto* attitude =
          report->GetDescriptor()->FindFieldByName("attitude");
      if (turn == nullptr || attitude == nullptr) continue;
      const pb::Message& by =
          request.GetReflection()->GetMessage(request, turn);
      pb::Message* at =
          report->GetReflection()->MutableMessage(report.get(), attitude);
      for (const char* axis : {"pitch", "roll", "yaw"}) {
        Set(at, axis, Number(by, axis) + (relative ? Number(*at, axis) : 0));
      }
    }
  }

  // Sends what breaks a rule on single messages.
  void BreakOnce() {
    const Subject sync =
        post_.SubjectOf(post_.IdOf("zorvik.handshake.SERVICE_ID_HS_SYNC"));
    const std::map<std::string, std::string> sent = {
        {rules::kIsEnvelope.name, "\x08"},
        {rules::kTopicType.name, "\x08\x03"},
        {rules::kId.name,
         post_.Pack({Role::kReport, sync.component, 99}, 0, 0, "", "")},
        {rules::kParse.name, post_.Pack(sync, 0, 0, "", "\x0a\x05")},
        {rules::kUtf8.name, post_.Pack(sync, 0, 0, "", "\x0a\x01\xff")},
        {rules::kAsked.name,
         post_.Pack(post_
                        .AnswerTo(post_.SubjectOf(post_.IdOf(
                            "zorvik.timesync.SERVICE_ID_TIME_SYNC_SRV")))
                        ->subject,
                    0, 0, "", "")},
        {rules::kContent.name,
         post_.Pack(post_.SubjectOf(post_.Meant("TRACER_SYSTEM_INFO")),
                    options_.node, options_.peer,
                    "zorvik.access.heartbeatMessage", "")}};
    const auto found = sent.find(options_.broken);
    if (found != sent.end()) line_.Send(found->second);
  }

  const SimulateOptions& options_;
  const VirtualKind& kind_;
  const Post post_;
  Line& line_;
  Clock::time_point begin_, next_;
  std::vector<std::pair<Subject, std::unique_ptr<pb::Message>>> reports_;
  bool heard_ = false, beats_ = false, has_beaten_ = false;
  int sent_ = 0;  // Bytes of the file.
};

// The rules that a kind can break.
std::vector<const Rule*> BreaksOf(const VirtualKind& kind, const Post& post) {
  using namespace rules;
  std::vector<const Rule*> all = {
      &kIsEnvelope,  &kTopicType,     &kId,
      &kContent,     &kParse,         &kUtf8,
      &kEnumNumber,  &kAsked,         &kEchoRandom,
      &kEchoPiece,   &kStreamSession, &kStreamGap,
      &kAsksAddress, &kRegisters,     &kRegisteredType,
      &kHeartbeats,  &kAsksTime,      &kUploads};
  if (!kind.sends.empty()) all.push_back(&kReports);
  if (kind.answers.empty()) return all;
  all.push_back(&kAnswered);
  all.push_back(&kIgnoresMalformed);
  const auto request = post.SubjectOf(post.Meant(kind.answers[0].id));
  if (request.role == Role::kTopicType) {
    all.push_back(&kIgnoresOtherNode);
    all.push_back(&kIgnoresOtherContent);
  }
  const pb::Descriptor* answer = post.AnswerTo(request)->type;
  if (answer == nullptr) {
    answer = post.vocabulary()->FindMessage(kind.answer);
  }
  for (const auto& [rule, field] : EchoedBy(answer)) all.push_back(rule);
  return all;
}

// What a kind claims to be, as zorvik check device takes it.
void PrintDeclaration(const VirtualKind& kind, const SimulateOptions& options,
                      Vocabulary* vocabulary) {
  const Post post(vocabulary);
  const Json json(vocabulary);
  std::cout << "{\n  \"name\": \"virtual " << kind.name << "\",\n  \"kind\": \""
            << kind.payload_type << "\",\n  \"node\": " << options.node
            << ",\n  \"claims\": [\"address\", \"handshake\", "
               "\"registration\", \"heartbeats\", \"time\", \"upload\"],\n"
            << "  \"sends\": [";
  for (const Sent& sent : kind.sends) {
    std::cout << (&sent == &kind.sends[0] ? "" : ", ") << '"' << sent.id << '"';
  }
  std::cout << "],\n  \"requests\": [";
  for (const Sent& sent : kind.answers) {
    std::cout << (&sent == &kind.answers[0] ? "" : ",") << "\n    {\"id\": \""
              << sent.id << "\", \"message\": "
              << json.Of(
                     *FromText(post, post.Meant(sent.id).carries(), sent.text))
              << '}';
  }
  std::cout << (kind.answers.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

int RunSimulate(const SimulateOptions& options, Vocabulary* vocabulary) {
  const VirtualKind& kind = KindOf(options.kind);
  if (options.declaration) {
    PrintDeclaration(kind, options, vocabulary);
    return 0;
  }
  if (options.place.empty()) throw WrongUse("--at is missing");
  if (!options.broken.empty()) {
    std::string names;
    bool known = false;
    for (const Rule* rule : BreaksOf(kind, Post(vocabulary))) {
      known = known || options.broken == rule->name;
      names += (names.empty() ? "" : ", ") + std::string(rule->name);
    }
    if (!known) {
      throw WrongUse("a virtual " + options.kind + " breaks one of " + names);
    }
  }
  TakeSignals();
  const auto line = LineAt(options.place, Side::kDevice, options.broker);
  return Payload(options, vocabulary, line.get()).Run();
}

}  // namespace

int PayloadTypeOf(const std::string& name, const Vocabulary& vocabulary) {
  const auto* value =
      vocabulary.pool()->FindEnumValueByName("zorvik.access." + name);
  if (value == nullptr || value->type()->name() != "payloadType") {
    throw std::runtime_error(name + " is no payload type");
  }
  return value->number();
}

std::vector<std::string> BreakersOf(const Rule& rule, Vocabulary* vocabulary) {
  const Post post(vocabulary);
  std::vector<std::string> kinds;
  for (const VirtualKind& kind : Kinds()) {
    for (const Rule* broken : BreaksOf(kind, post)) {
      if (broken == &rule) kinds.push_back(kind.name);
    }
  }
  return kinds;
}

Run AddSimulate(CLI::App* program) {
  CLI::App* app =
      program->add_subcommand("simulate", "Be a payload that is not there");
  const auto options = std::make_shared<SimulateOptions>();
  std::string kinds;
  for (const VirtualKind& kind : Kinds()) {
    kinds += (kinds.empty() ? "" : ", ") + std::string(kind.name);
  }
  app->add_option("KIND", options->kind, "One of " + kinds)->required();
  app->add_option("--at", options->place,
                  "udp:HOST:PORT where its peer listens, or\n"
                  "mqtt:HOST:PORT/TOPIC: it publishes on TOPIC/out and\n"
                  "subscribes to TOPIC/in")
      ->type_name("PLACE");
  app->add_option("--node", options->node, "Its node id")->type_name("NODE");
  app->add_option("--peer", options->peer, "Node that its reports are for")
      ->type_name("NODE");
  app->add_option("--interval", options->interval,
                  "Time between heartbeats, and between reports")
      ->check(CLI::Range(0.01, 3600.0))
      ->type_name("SECONDS");
  app->add_option("--patience", options->patience,
                  "How long it waits for an answer before it goes on")
      ->check(CLI::Range(0.1, 3600.0))
      ->type_name("SECONDS");
  app->add_option("--for", options->seconds, "End after this time")
      ->check(CLI::Range(0.1, 1e7))
      ->type_name("SECONDS");
  app->add_option("--break", options->broken,
                  "Break a rule of zorvik check, and no other")
      ->type_name("RULE");
  app->add_flag("--declaration", options->declaration,
                "Print what it claims to be, for zorvik check device,\n"
                "and do no more");
  AddBrokerOptions(app, &options->broker);
  app->footer(
      "It finds an address, shakes hands, registers, sends heartbeats, asks "
      "for the\n"
      "time, uploads a file, sends its reports and answers requests, in "
      "envelopes and\n"
      "in the frames of zorvik check. What nobody answers, it does without. "
      "Ctrl-C\n"
      "ends it.\n\n"
      "Examples:\n"
      "  $ zorvik simulate gimbal --at udp:127.0.0.1:40000\n"
      "  $ zorvik simulate tracer --at mqtt:localhost/zorvik/test --break "
      "echo-seq");
  return [options](Vocabulary* vocabulary) {
    return RunSimulate(*options, vocabulary);
  };
}
