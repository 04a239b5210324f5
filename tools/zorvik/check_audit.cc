#include "check_audit.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <vector>

#include "text.h"

namespace pb = google::protobuf;

namespace {

constexpr size_t kMostRequests = 16384, kMostOfOne = 256, kMostOffers = 1024;
constexpr size_t kLongestText = 100;
constexpr size_t kMostSessions = 256, kMostGaps = 4096;

// The fields of an answer that are those of its request. Any field seq is one.
struct Echo {
  const Rule* rule;
  const char* answer;
  std::vector<std::string> fields;
};
const std::vector<Echo>& Echoes() {
  static const std::vector<Echo> all = {
      {&rules::kEchoRandom, "zorvik.discovery.addrServer", {"client_random"}},
      {&rules::kEchoRandom,
       "zorvik.discovery.addrResponse",
       {"client_random", "server_random"}},
      {&rules::kEchoTime,
       "zorvik.timesync.TimeSyncResponse",
       {"timestamp_cli_send"}},
      {&rules::kEchoPiece,
       "zorvik.stream.responseData",
       {"offset", "length", "session"}}};
  return all;
}

// The value of a field, of a bounded length.
std::string BoundedValue(const pb::Message& message, const std::string& field) {
  std::string value = Value(message, field);
  if (value.size() > kLongestText) {
    const size_t hash = std::hash<std::string>()(value);
    value = value.substr(0, kLongestText) + "... " + std::to_string(hash);
  }
  return value;
}

bool Is(const pb::Message& message, const char* name) {
  return message.GetTypeName() == name;
}

}  // namespace

std::vector<std::pair<const Rule*, std::string>> EchoedBy(
    const pb::Descriptor* answer) {
  std::vector<std::pair<const Rule*, std::string>> fields;
  if (answer->FindFieldByName("seq") != nullptr) {
    fields.emplace_back(&rules::kEchoSeq, "seq");
  }
  for (const Echo& echo : Echoes()) {
    if (answer->full_name() != echo.answer) continue;
    for (const std::string& field : echo.fields) {
      fields.emplace_back(echo.rule, field);
    }
  }
  return fields;
}

std::optional<Parcel> Audit::Take(const std::string& where,
                                  const std::string& bytes) {
  Fault fault;
  std::optional<Parcel> parcel = post_.Open(bytes, &fault);
  if (!parcel) {
    Fail(rules::kIsEnvelope, where,
         "offset " + std::to_string(fault.offset) + ": " + fault.reason);
    return parcel;
  }
  const bool framed = parcel->subject.role != Role::kTopicType;
  if (!framed) Pass(rules::kIsEnvelope);
  const Rule& known = framed ? rules::kId : rules::kTopicType;
  if (parcel->id != nullptr) {
    Pass(known);
  } else {
    Fail(known, where, "the schemas have no " + post_.NameOf(parcel->subject));
    return parcel;
  }
  if (!framed && !parcel->id->carries().empty()) {
    if (parcel->mismatch.empty()) {
      Pass(rules::kContent);
    } else {
      // What was meant is not known, and nothing more is said of it.
      Fail(rules::kContent, where, parcel->mismatch, parcel->id->name());
      return parcel;
    }
  } else if (!framed && !parcel->bytes.empty()) {
    NotSettled(rules::kContent, where,
               "which message " + post_.NameOf(parcel->subject) +
                   " carries is open; here it is " +
                   (parcel->type == nullptr ? "one that the schemas do not have"
                                            : parcel->type->full_name()),
               parcel->id->name());
  }
  if (parcel->fault) {
    const bool text = !parcel->fault->text.empty();
    Fail(text ? rules::kUtf8 : rules::kParse, where,
         parcel->type->full_name() + ", offset " +
             std::to_string(parcel->fault->offset) + ": " +
             parcel->fault->reason,
         text ? parcel->fault->text : parcel->type->full_name());
    return parcel;
  }
  if (parcel->message != nullptr) CheckMessage(where, *parcel);
  if (post_.IsAnswer(parcel->subject)) Match(where, *parcel);
  if (post_.AnswerTo(parcel->subject)) Expect(where, *parcel);
  return parcel;
}

void Audit::TakeOwn(const std::string& where, const std::string& bytes) {
  own_ = true;
  Take(where, bytes);
  own_ = false;
}

void Audit::CheckMessage(const std::string& where, const Parcel& parcel) {
  Pass(rules::kParse);
  CheckEnums(where, *parcel.message);
  FollowAddress(where, *parcel.message);
  FollowStream(where, *parcel.message);
}

void Audit::CheckEnums(const std::string& where, const pb::Message& message) {
  const pb::Reflection* reflection = message.GetReflection();
  std::vector<const pb::FieldDescriptor*> fields;
  reflection->ListFields(message, &fields);
  for (const pb::FieldDescriptor* field : fields) {
    if (field->type() == pb::FieldDescriptor::TYPE_STRING) {
      Pass(rules::kUtf8);
    }
    if (field->message_type() != nullptr) {
      const int size =
          field->is_repeated() ? reflection->FieldSize(message, field) : 1;
      for (int i = 0; i < size; ++i) {
        CheckEnums(where,
                   field->is_repeated()
                       ? reflection->GetRepeatedMessage(message, field, i)
                       : reflection->GetMessage(message, field));
      }
      continue;
    }
    const pb::EnumDescriptor* type = post_.vocabulary()->EnumOf(field);
    if (type == nullptr || field->is_repeated()) continue;
    const auto number = Number(message, field->name());
    if (number >= std::numeric_limits<int>::min() &&
        number <= std::numeric_limits<int>::max() &&
        type->FindValueByNumber(static_cast<int>(number)) != nullptr) {
      Pass(rules::kEnumNumber);
    } else {
      Fail(rules::kEnumNumber, where,
           field->full_name() + " is " + std::to_string(number) + ", which " +
               type->full_name() + " does not declare",
           field->full_name());
    }
  }
}

void Audit::Expect(const std::string& where, const Parcel& parcel) {
  const Answering answer = *post_.AnswerTo(parcel.subject);
  Request request{where,
                  post_.NameOf(parcel.subject),
                  parcel.id->name(),
                  std::hash<std::string>()(parcel.bytes),
                  own_ || !one_sided_,
                  false,
                  false,
                  {}};
  // Whether each request is answered is open, unless a message is settled or
  // the device claims to answer: it is asked nothing else.
  request.settled = own_ || !parcel.id->answer().message().empty();
  if (parcel.message != nullptr) {
    for (const char* field :
         {"seq", "client_random", "server_random", "timestamp_cli_send",
          "offset", "length", "session"}) {
      const std::string value = BoundedValue(*parcel.message, field);
      if (!value.empty()) request.values[field] = value;
    }
  }
  const Key key(answer.subject, parcel.to, parcel.from);
  if (waiting_ >= kMostRequests) Forget(requests_.begin());
  const auto of_key = requests_.try_emplace(key).first;
  if (of_key->second.size() >= kMostOfOne) {
    Missing(of_key->second.front());
    of_key->second.pop_front();
    --waiting_;
  }
  of_key->second.push_back(std::move(request));
  ++waiting_;
}

void Audit::Match(const std::string& where, const Parcel& parcel) {
  const auto found = requests_.find({parcel.subject, parcel.from, parcel.to});
  if (found == requests_.end()) {
    Fail(rules::kAsked, where,
         post_.NameOf(parcel.subject) +
             (parcel.subject.role == Role::kTopicType
                  ? " from node " + std::to_string(parcel.from) + " to node " +
                        std::to_string(parcel.to)
                  : "") +
             " answers nothing that was asked",
         parcel.id->name());
    return;
  }
  std::deque<Request>& waiting = found->second;
  const auto differs = [&](const Request& request,
                           const std::string& field) -> bool {
    const auto value = request.values.find(field);
    return value != request.values.end() &&
           value->second != BoundedValue(*parcel.message, field);
  };
  std::vector<std::pair<const Rule*, std::string>> echoes;
  if (parcel.message != nullptr)
    echoes = EchoedBy(parcel.message->GetDescriptor());
  auto match =
      std::find_if(waiting.begin(), waiting.end(), [&](const Request& request) {
        return std::none_of(
            echoes.begin(), echoes.end(),
            [&](const auto& echo) { return differs(request, echo.second); });
      });
  if (match == waiting.end()) match = waiting.begin();
  Pass(rules::kAsked);
  if (match->settled) Pass(rules::kAnswered);
  for (const auto& [rule, field] : echoes) {
    const auto value = match->values.find(field);
    if (value == match->values.end()) continue;
    const std::string element = parcel.type->full_name() + '.' + field;
    if (differs(*match, field)) {
      Fail(*rule, where,
           element + " is " + BoundedValue(*parcel.message, field) + ", and " +
               value->second + " was asked with",
           element);
    } else {
      Pass(*rule);
    }
  }
  const size_t bytes = match->bytes;
  waiting.erase(match);
  --waiting_;
  for (Request& request : waiting) {
    request.repeated = request.repeated || request.bytes == bytes;
  }
  if (waiting.empty()) requests_.erase(found);
}

void Audit::Missing(const Request& request) {
  if (!request.judged) return;
  const std::string what = request.name + " is not answered";
  if (request.settled && !request.repeated) {
    Fail(rules::kAnswered, request.where, what, request.element);
  } else {
    NotSettled(rules::kAnswered, request.where,
               what + (request.repeated ? ", but one with the same bytes is"
                                        : "; whether it has to be is open"),
               request.element);
  }
}

void Audit::Forget(Requests::iterator of_key) {
  for (const Request& request : of_key->second) Missing(request);
  waiting_ -= of_key->second.size();
  requests_.erase(of_key);
}

void Audit::End() {
  while (!requests_.empty()) Forget(requests_.begin());
}

// Who asks for an address has both numbers from an offer. The answers are
// compared with their requests.
void Audit::FollowAddress(const std::string& where,
                          const pb::Message& message) {
  const auto numbers = std::pair(Number(message, "client_random"),
                                 Number(message, "server_random"));
  if (Is(message, "zorvik.discovery.addrServer")) {
    offers_.push_back(numbers);
    if (offers_.size() > kMostOffers) offers_.pop_front();
  }
  if (!Is(message, "zorvik.discovery.addrRequest") || offers_.empty()) return;
  if (std::find(offers_.begin(), offers_.end(), numbers) != offers_.end()) {
    Pass(rules::kEchoRandom);
  } else {
    Fail(rules::kEchoRandom, where,
         "no address server has offered the numbers " +
             std::to_string(numbers.first) + " and " +
             std::to_string(numbers.second));
  }
}

void Audit::FollowStream(const std::string& where, const pb::Message& message) {
  if (message.GetDescriptor()->file()->package() != "zorvik.stream") return;
  const bool opens = Is(message, "zorvik.stream.requestUpload") ||
                     Is(message, "zorvik.stream.responseDownload");
  std::string name = "session_name";
  if (message.GetDescriptor()->FindFieldByName(name) == nullptr) {
    name = "session";
    if (message.GetDescriptor()->FindFieldByName(name) == nullptr) return;
  }
  const std::string element = message.GetTypeName() + '.' + name;
  name = BoundedValue(message, name);
  if (opens) {
    if (sessions_.size() < kMostSessions || sessions_.count(name) > 0) {
      sessions_[name] = {Number(message, "stream_size"), {}};
    }
    return;
  }
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) {
    if (sessions_.size() >= kMostSessions) return;  // It may have been one.
    Fail(rules::kStreamSession, where, "no session is called " + name, element);
    return;
  }
  Pass(rules::kStreamSession);
  Session& session = found->second;
  if (Is(message, "zorvik.stream.responseData")) {
    TakePiece(where, &session, message);
  } else if (Is(message, "zorvik.stream.verifyDigest")) {
    const bool whole =
        session.size == 0 ||
        (session.arrived.size() == 1 && session.arrived.begin()->first == 0 &&
         session.arrived.begin()->second >= session.size);
    if (whole) {
      Pass(rules::kStreamGap);
    } else {
      const auto first = session.arrived.begin();
      const int64_t gap = first == session.arrived.end() || first->first > 0
                              ? 0
                              : first->second;
      Fail(rules::kStreamGap, where,
           "of the stream of " + std::to_string(session.size) + " in session " +
               name + ", what is at " + std::to_string(gap) +
               " has not arrived");
    }
  } else if (Is(message, "zorvik.stream.finishSession")) {
    sessions_.erase(found);
  }
}

void Audit::TakePiece(const std::string& where, Session* session,
                      const pb::Message& message) {
  const int64_t offset = Number(message, "offset");
  const int64_t length = Number(message, "length");
  const auto* data = message.GetDescriptor()->FindFieldByName("data");
  const auto size = static_cast<int64_t>(
      message.GetReflection()->GetString(message, data).size());
  if (length == size) {
    Pass(rules::kPieceLength);
  } else {
    NotSettled(rules::kPieceLength, where,
               "a length of " + std::to_string(length) + " with " +
                   std::to_string(size) + " bytes of data");
  }
  if (offset < 0 || length < 0 || length > session->size ||
      offset > session->size - length) {
    Fail(rules::kStreamBounds, where,
         "a piece of " + std::to_string(length) + " at " +
             std::to_string(offset) + " in a stream of " +
             std::to_string(session->size));
    return;
  }
  Pass(rules::kStreamBounds);
  if (session->arrived.size() > kMostGaps) return;
  int64_t begin = offset, end = offset + length;
  auto& arrived = session->arrived;
  auto at = arrived.upper_bound(begin);
  if (at != arrived.begin() && std::prev(at)->second >= begin) --at;
  while (at != arrived.end() && at->first <= end) {
    begin = std::min(begin, at->first);
    end = std::max(end, at->second);
    at = arrived.erase(at);
  }
  arrived[begin] = end;
}
