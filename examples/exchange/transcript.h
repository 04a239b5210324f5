// What a program tells about the messages it sends and receives.
#ifndef EXAMPLES_EXCHANGE_TRANSCRIPT_H_
#define EXAMPLES_EXCHANGE_TRANSCRIPT_H_

#include <google/protobuf/message.h>

#include <string>

// The life of a node on the link, in its order.
enum class Stage {
  kAddress = 1,
  kHandshake,
  kRegistration,
  kClock,
  kCommands,
  kTelemetry,
  kFile,
  kLog
};

class Transcript {
 public:
  // The name of the node, in front of every line.
  explicit Transcript(std::string node) : node_(std::move(node)) {}

  // From here on, all transcripts of this program tell of messages that arrive,
  // too, and show long ones to their end.
  static void TellAll();

  // A heading.
  void Begin(Stage stage) const;

  // One line of text.
  void Say(const std::string& text) const;

  // A message on its way out: what it is about, its bytes, and its content.
  void Sent(const std::string& subject, const std::string& bytes,
            const google::protobuf::Message& message) const;

  // A message that has arrived.
  void Received(const std::string& subject,
                const google::protobuf::Message& message) const;

 private:
  const std::string node_;
};

// The message as one line of JSON, field names as in the schema.
std::string Json(const google::protobuf::Message& message);

#endif  // EXAMPLES_EXCHANGE_TRANSCRIPT_H_
