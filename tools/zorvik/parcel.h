// Messages as they travel between nodes: in envelopes, or in frames.
//
// The vocabulary leaves open how the id of a service, topic or report travels
// beside its message. A frame is this program's own choice, and that of the
// examples: three numbers of 16 bits, most significant byte first, and then the
// encoded message.
//
//   role | component | service, topic or report id | message
//
// No envelope begins with a byte of zero, as every frame does.
#ifndef TOOLS_ZORVIK_PARCEL_H_
#define TOOLS_ZORVIK_PARCEL_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "vocabulary.h"
#include "wire.h"

enum class Role { kTopicType = 0, kRequest = 1, kAnswer = 2, kReport = 3 };

// What a message is about: a topic type of the envelope, or what a frame says.
struct Subject {
  Role role = Role::kTopicType;
  int component = 0;  // 0 for topic types and for ids without a component.
  int number = 0;

  bool operator<(const Subject& other) const {
    return std::tie(role, component, number) <
           std::tie(other.role, other.component, other.number);
  }
  bool operator==(const Subject& other) const {
    return !(*this < other) && !(other < *this);
  }
};

struct Parcel {
  Subject subject;
  int from = 0, to = 0;  // Nodes of an envelope.
  // The id; null when the schemas have no such one.
  const catalogue::Id* id = nullptr;
  // The message that the sender says it is, or that the id stands for, and its
  // bytes. Null when neither is known.
  const google::protobuf::Descriptor* type = nullptr;
  std::string bytes;
  // Null when there is none, or the bytes are malformed.
  std::unique_ptr<google::protobuf::Message> message;
  std::optional<Fault> fault;  // Of the bytes.
  std::string mismatch;  // Between a topic type and its content, in words.
};

// The answer to a subject.
struct Answering {
  Subject subject;
  // Null while it is open.
  const google::protobuf::Descriptor* type = nullptr;
};

// Packs and unpacks.
class Post {
 public:
  explicit Post(Vocabulary* vocabulary);

  Vocabulary* vocabulary() const { return vocabulary_; }

  // The id of a subject; null when the schemas have none.
  const catalogue::Id* Find(const Subject& subject) const;
  // How a request, a report or a topic type travels under an id.
  Subject SubjectOf(const catalogue::Id& id) const;
  // The id of that full name. Throws std::runtime_error.
  const catalogue::Id& IdOf(const std::string& name) const;

  // The message of a full name, empty. Throws std::runtime_error.
  std::unique_ptr<google::protobuf::Message> New(const std::string& name) const;

  // The message that a subject stands for: settled, or, of those that get an
  // address and shake hands, this program's own choice. Null otherwise.
  const google::protobuf::Descriptor* TypeOf(const Subject& subject) const;
  // An id by its name or the last part of it, of topic types without what all
  // have in front. Throws std::runtime_error.
  const catalogue::Id& Meant(const std::string& name) const;
  // Nothing when none is named.
  std::optional<Answering> AnswerTo(const Subject& subject) const;
  // Whether something is the answer to something else.
  bool IsAnswer(const Subject& subject) const {
    return answers_.count(subject) > 0;
  }

  // Nothing when the bytes are neither a frame nor an envelope that parses; the
  // fault says why.
  std::optional<Parcel> Open(const std::string& bytes, Fault* fault) const;
  // Whether bytes have the form of a frame about something that is known.
  bool IsFrame(const std::string& bytes) const;

  std::string Pack(const Subject& subject, int from, int to,
                   const google::protobuf::Message& message) const;
  // The same of bytes that need not be one; the type is for the envelope.
  std::string Pack(const Subject& subject, int from, int to,
                   const std::string& type, const std::string& bytes) const;

  // For people, such as "GIMBAL_ROTATE" or "SERVICE_ID_STREAM_UPLOAD, answer".
  std::string NameOf(const Subject& subject) const;

 private:
  int ComponentOf(const catalogue::Id& id) const;

  Vocabulary* const vocabulary_;
  std::map<Subject, const catalogue::Id*> ids_;
  std::map<std::string, const catalogue::Id*> by_name_;
  std::map<Subject, Answering> answered_;
  std::map<Subject, const google::protobuf::Descriptor*> answers_;
  std::map<Subject, const google::protobuf::Descriptor*> chosen_;
};

// A number of a message, as text of a value; used to compare echoes. Empty when
// the message has no such field.
std::string Value(const google::protobuf::Message& message,
                  const std::string& field);
int64_t Number(const google::protobuf::Message& message,
               const std::string& field);
// Sets a number or a text, if there is such a field.
void Set(google::protobuf::Message* message, const std::string& field,
         int64_t number);
void Set(google::protobuf::Message* message, const std::string& field,
         const std::string& text);

#endif  // TOOLS_ZORVIK_PARCEL_H_
