// Holds what travels between nodes to the rules.
#ifndef TOOLS_ZORVIK_CHECK_AUDIT_H_
#define TOOLS_ZORVIK_CHECK_AUDIT_H_

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "check_report.h"
#include "parcel.h"

// The fields of an answer that are those of its request, with their rules.
std::vector<std::pair<const Rule*, std::string>> EchoedBy(
    const google::protobuf::Descriptor* answer);

// Takes all messages of all nodes in the order in which they were sent. What it
// remembers is bounded.
class Audit {
 public:
  // On all nodes, or on the other side of a line.
  Audit(const Post* post, Report* report, bool one_sided)
      : post_(*post), report_(*report), one_sided_(one_sided) {}

  // Where it was found is for people. Returns what it is, if that is known.
  std::optional<Parcel> Take(const std::string& where,
                             const std::string& bytes);
  // The same with what this program itself has sent to the other side: nothing
  // is said of it. Of one side, only these requests have to be answered.
  void TakeOwn(const std::string& where, const std::string& bytes);
  // Nothing more comes: what has no answer by now has none.
  void End();

 private:
  struct Request {
    std::string where, name, element;
    size_t bytes = 0;       // Their hash.
    bool judged = false;    // Whether it is to be said that nothing answers.
    bool settled = false;   // That it is answered.
    bool repeated = false;  // Another with the same bytes was answered.
    // Of fields that are echoed; what is long is cut and has its hash.
    std::map<std::string, std::string> values;
  };
  struct Session {
    int64_t size = 0;
    std::map<int64_t, int64_t> arrived;  // From, up to; they do not touch.
  };
  // The subject of an answer, and of an envelope the nodes that it is from and
  // to.
  using Key = std::tuple<Subject, int, int>;
  using Requests = std::map<Key, std::deque<Request>>;

  // These tell the report, unless the message is an own one.
  void Pass(const Rule& rule) {
    if (!own_) report_.Pass(rule);
  }
  void Fail(const Rule& rule, const std::string& where, const std::string& what,
            const std::string& element = "") {
    if (!own_) report_.Fail(rule, where, what, element);
  }
  void NotSettled(const Rule& rule, const std::string& where,
                  const std::string& what, const std::string& element = "") {
    if (!own_) report_.NotSettled(rule, where, what, element);
  }
  void CheckMessage(const std::string& where, const Parcel& parcel);
  void CheckEnums(const std::string& where,
                  const google::protobuf::Message& message);
  void Expect(const std::string& where, const Parcel& parcel);
  void Match(const std::string& where, const Parcel& parcel);
  void Missing(const Request& request);
  void Forget(Requests::iterator of_key);
  void FollowAddress(const std::string& where,
                     const google::protobuf::Message& message);
  void FollowStream(const std::string& where,
                    const google::protobuf::Message& message);
  void TakePiece(const std::string& where, Session* session,
                 const google::protobuf::Message& message);

  const Post& post_;
  Report& report_;
  const bool one_sided_;
  bool own_ = false;    // Whether the present message is an own one.
  Requests requests_;   // None of them is empty.
  size_t waiting_ = 0;  // Requests in all.
  // Both random numbers of the address servers, in the order of arrival.
  std::deque<std::pair<int64_t, int64_t>> offers_;
  std::map<std::string, Session> sessions_;
};

#endif  // TOOLS_ZORVIK_CHECK_AUDIT_H_
