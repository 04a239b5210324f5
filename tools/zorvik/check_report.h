// The rules that zorvik check knows, and what came of them.
#ifndef TOOLS_ZORVIK_CHECK_REPORT_H_
#define TOOLS_ZORVIK_CHECK_REPORT_H_

#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "vocabulary.h"

namespace CLI {
class App;
}

// The subcommands that test a rule.
enum Part : unsigned { kCodec = 1, kTraffic = 2, kDevice = 4 };

struct Rule {
  const char* name;
  unsigned parts;
  // The element of the schemas that states it, by its full name, or a schema.
  const char* place;
  const char* sentence;
};

namespace rules {

// ------------------------------------------------------------ Single messages
inline constexpr Rule kIsEnvelope{"envelope", kTraffic | kDevice,
                                  "zorvik.channel.channelTopicMessage",
                                  "What is sent is an envelope that parses."};
inline constexpr Rule kTopicType{
    "topic-type", kTraffic | kDevice,
    "zorvik.channel.channelTopicMessage.topic_type",
    "An envelope has a topic type of the schemas."};
inline constexpr Rule kId{
    "id", kTraffic | kDevice, "zorvik.protocol.UAV_COMPONENT_ID",
    "A frame names a component and an id of it that the schemas have."};
inline constexpr Rule kContent{
    "content", kTraffic | kDevice, "zorvik.channel.channelTopicMessage.data",
    "The content is the message that its topic type carries."};
inline constexpr Rule kParse{"parse", kTraffic | kDevice,
                             "zorvik.channel.channelTopicMessage.data",
                             "The content parses as its message."};
inline constexpr Rule kUtf8{"utf-8", kTraffic | kDevice, "channelMessage.proto",
                            "Text is UTF-8."};
inline constexpr Rule kEnumNumber{
    "enum-number", kTraffic | kDevice,
    "zorvik.channel.channelTopicMessage.topic_type",
    "A field with the numbers of an enum has one that the enum declares."};

// ------------------------------------------------------ Requests and answers
inline constexpr Rule kAsked{"asked", kTraffic | kDevice,
                             "channelMessage.proto",
                             "An answer comes after its request."};
inline constexpr Rule kAnswered{
    "answered", kTraffic | kDevice, "channelMessage.proto",
    "A request whose answer is settled, or that a device claims to answer, is "
    "answered."};
inline constexpr Rule kEchoSeq{
    "echo-seq", kTraffic | kDevice,
    "zorvik.protocol.TracerWorkModeControlRspMessage.seq",
    "An answer has the seq of its request."};
inline constexpr Rule kEchoRandom{
    "echo-random", kTraffic | kDevice, "zorvik.discovery.addrRequest",
    "Who gets an address repeats both random numbers, and so does who grants "
    "it."};
inline constexpr Rule kEchoTime{
    "echo-time", kTraffic | kDevice,
    "zorvik.timesync.TimeSyncResponse.timestamp_cli_send",
    "A time server repeats the client's timestamp."};
inline constexpr Rule kEchoPiece{
    "echo-piece", kTraffic | kDevice, "zorvik.stream.responseData",
    "A piece has the offset, the length and the session "
    "that were asked for."};

// ------------------------------------------------------------------- Streams
inline constexpr Rule kStreamSession{
    "stream-session", kTraffic | kDevice,
    "zorvik.stream.requestUpload.session_name",
    "The messages of a stream name a session that is open."};
inline constexpr Rule kStreamGap{
    "stream-gap", kTraffic | kDevice, "zorvik.stream.verifyDigest",
    "A digest is sent when the whole stream has arrived, "
    "without a gap."};
inline constexpr Rule kStreamBounds{"stream-bounds", kTraffic | kDevice,
                                    "zorvik.stream.responseData.offset",
                                    "A piece lies within its stream."};
inline constexpr Rule kPieceLength{
    "piece-length", kTraffic | kDevice, "zorvik.stream.responseData.length",
    "The length of a piece is that of its data; its "
    "unit is open."};

// ------------------------------------------------------------- What a device
inline constexpr Rule kAsksAddress{
    "asks-address", kDevice, "zorvik.discovery.SERVICE_ID_DISCOVERY_REQUEST",
    "A device that gets its address from a server asks for it."};
inline constexpr Rule kHandshake{
    "handshake", kDevice, "zorvik.handshake.handShakeMessage",
    "A device proposes its limits; under which id is "
    "open."};
inline constexpr Rule kRegisters{
    "registers", kDevice, "zorvik.access.PAYLOAD_SERVICE_PAYLOAD_REGISTER",
    "A payload registers."};
inline constexpr Rule kRegisteredType{
    "registered-type", kDevice, "zorvik.access.payloadReqMessage.payload_type",
    "A payload registers as the kind that it claims to be."};
inline constexpr Rule kHeartbeats{"heartbeats", kDevice,
                                  "zorvik.access.PAYLOAD_TOPIC_HEARTBEAT",
                                  "A node sends heartbeats periodically."};
inline constexpr Rule kAsksTime{
    "asks-time", kDevice, "zorvik.timesync.SERVICE_ID_TIME_SYNC_SRV",
    "A device that sets its clock asks the time server."};
inline constexpr Rule kUploads{
    "uploads", kDevice, "zorvik.stream.SERVICE_ID_STREAM_UPLOAD",
    "A device that sends a file opens a session and sends all pieces that it "
    "is asked for."};
inline constexpr Rule kReports{"reports", kDevice, "channelMessage.proto",
                               "A device sends what it claims to send."};
inline constexpr Rule kIgnoresMalformed{
    "ignores-malformed", kDevice, "channelMessage.proto",
    "A message that does not parse has not arrived: nothing answers it."};
inline constexpr Rule kIgnoresOtherNode{
    "ignores-other-node", kDevice,
    "zorvik.channel.channelTopicMessage.dst_node_id",
    "An envelope for another node is not answered."};
inline constexpr Rule kIgnoresOtherContent{
    "ignores-other-content", kDevice, "zorvik.channel.channelTopicMessage.data",
    "Content of another message than the topic type's is not answered."};

// --------------------------------------------------------------------- Codec
inline constexpr Rule kProtocol{"protocol", kCodec, "",
                                "Each case has one answer."};
inline constexpr Rule kVectors{"vectors", kCodec, "",
                               "The vectors are read and written as they say."};
inline constexpr Rule kFill{
    "fill", kCodec, "",
    "A message with any values is read and written as it is."};
inline constexpr Rule kTruncated{"truncated", kCodec, "",
                                 "Bytes that end inside a field are refused."};
inline constexpr Rule kUnknownFields{"unknown-fields", kCodec, "",
                                     "Fields that are not known are kept."};
inline constexpr Rule kUndeclared{
    "undeclared-enum", kCodec, "",
    "Numbers that an enum does not declare are kept."};
inline constexpr Rule kText{
    "text", kCodec, "", "Text that is not UTF-8 is refused, bytes are not."};
inline constexpr Rule kMerge{
    "merge", kCodec, "",
    "A message that comes twice is merged: the last number "
    "counts, lists are joined."};
inline constexpr Rule kForeign{
    "foreign-encoding", kCodec, "",
    "What may be encoded in several ways is read in all."};
inline constexpr Rule kNegativeZero{"negative-zero", kCodec, "",
                                    "A negative zero is written."};
inline constexpr Rule kBounds{
    "bounds", kCodec, "",
    "A peer with bounds takes what is within, and no more."};
inline constexpr Rule kJson{"json", kCodec, "",
                            "The JSON form is that of the protobuf standard."};

}  // namespace rules

// All of them, in the order in which they are shown.
const std::vector<const Rule*>& AllRules();

enum class Verdict { kPass, kFail, kNotSettled, kNotTested };

// Where the schemas have an element: file and line, and its full name.
std::string StatedAt(const std::string& element, const Vocabulary& vocabulary);

struct ReportOptions {
  bool json = false;
  std::string junit;
  std::vector<std::string> except;
};
void AddReportOptions(CLI::App* app, ReportOptions* options);

class Report {
 public:
  // On the rules of one part. Throws WrongUse for an exception that is none of
  // them, and std::runtime_error when a file that is asked for cannot be
  // written: before anything is tested.
  Report(Part part, std::string about, const ReportOptions& options,
         const Vocabulary* vocabulary);

  void Pass(const Rule& rule) { ++results_.at(&rule).passed; }
  // Where it was found, what was found, and the element that states it, unless
  // it is the rule's own.
  void Fail(const Rule& rule, const std::string& where, const std::string& what,
            const std::string& element = "");
  // An open point of the vocabulary, which is no failure.
  void NotSettled(const Rule& rule, const std::string& where,
                  const std::string& what, const std::string& element = "");

  Verdict VerdictOf(const Rule& rule) const;

  // Prints it and writes the files that are asked for. Returns the exit status:
  // 1 when a rule has failed, or nothing was tested.
  int Finish();

 private:
  struct Finding {
    Verdict verdict;
    std::string where, what, element;
    uint64_t times = 1;  // That it was found, here and elsewhere.
  };
  struct Result {
    bool excepted = false;
    uint64_t passed = 0, failed = 0, open = 0;
    std::vector<Finding> findings;  // The first ones.
  };
  void Add(const Rule& rule, Finding finding);
  bool Failed() const;
  void PrintText() const;
  void PrintJson() const;
  void CheckJunit();
  void WriteJunit();
  std::string ElementOf(const Rule& rule, const Finding& finding) const;
  std::string TextOf(const Rule& rule, const Finding& finding) const;

  const Part part_;
  const std::string about_;
  const ReportOptions options_;
  const Vocabulary* const vocabulary_;
  std::map<const Rule*, Result> results_;
  std::ofstream junit_;
};

// All rules of all parts, for people or as JSON, with the virtual payloads that
// can break each.
void PrintRules(
    const Vocabulary& vocabulary, bool json,
    const std::function<std::vector<std::string>(const Rule&)>& breakers);

#endif  // TOOLS_ZORVIK_CHECK_REPORT_H_
