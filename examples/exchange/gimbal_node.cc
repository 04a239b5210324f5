// A gimbal on the link, from its first broadcast to a line for the log.
// Start ground_station on the same machine; either may come first.
#include <sha256.h>

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>
#include <string>

#include "accessMessage.pb.h"
#include "command_line.h"
#include "discoveryMessage.pb.h"
#include "gimbal.h"
#include "handShakeMessage.pb.h"
#include "loggerMessage.pb.h"
#include "nodes.h"
#include "sdkSubMessage.pb.h"
#include "service_link.h"
#include "streamMessage.pb.h"
#include "timeSyncMessage.pb.h"

namespace {

using namespace zorvik::protocol;  // The component ids.
namespace access = zorvik::access;
namespace discovery = zorvik::discovery;
namespace handshake = zorvik::handshake;
namespace logger = zorvik::logger;
namespace sdksub = zorvik::sdksub;
namespace stream = zorvik::stream;
namespace timesync = zorvik::timesync;

// This example's own choice: frame sizes are in bytes, intervals in
// milliseconds.
constexpr int kMaxFrameSize = 1200;
constexpr int kMinFrameInterval = 1;
// This example's own choice: heartbeat intervals are in milliseconds.
constexpr uint64_t kHeartbeatInterval = 1000;
// This example's own choice: mounting positions count from 1.
constexpr int kPosition = 1;
constexpr char kName[] = "example gimbal";

// Never 0, which would look like no number at all.
int RandomNumber() {
  std::random_device device;
  return std::uniform_int_distribution<int>(1)(device);
}

// 1. Find the address server, and be granted an address for a while. This
// example's own choice: addrDiscovery travels under
// SERVICE_ID_DISCOVERY_BROADCAST as the request, and addrServer as its answer.
void Discover(ServiceLink* link) {
  discovery::addrDiscovery broadcast;
  broadcast.set_client_random(RandomNumber());
  const Subject kBroadcast = Request(COMPONENT_ID_DISCOVERY,
                                     discovery::SERVICE_ID_DISCOVERY_BROADCAST);
  const Subject kServer =
      Answer(COMPONENT_ID_DISCOVERY, discovery::SERVICE_ID_DISCOVERY_BROADCAST);
  discovery::addrServer server;
  int tries = 10;
  do {  // A broadcast is repeated until it is answered.
    if (tries-- == 0) throw std::runtime_error("no address server answers");
    link->Send(kBroadcast, broadcast);
  } while (!link->TryReceive(kServer, &server, std::chrono::milliseconds(500)));
  if (server.client_random() != broadcast.client_random()) {
    throw std::runtime_error("the server answers another broadcast");
  }

  discovery::addrRequest request;
  request.set_client_random(server.client_random());
  request.set_server_random(server.server_random());
  link->Send(
      Request(COMPONENT_ID_DISCOVERY, discovery::SERVICE_ID_DISCOVERY_REQUEST),
      request);
  // A late server answers each broadcast.
  while (link->IsNext(kServer)) link->Expect<discovery::addrServer>(kServer);
  const auto grant = link->Expect<discovery::addrResponse>(
      Answer(COMPONENT_ID_DISCOVERY, discovery::SERVICE_ID_DISCOVERY_REQUEST));
  if (grant.client_random() != request.client_random() ||
      grant.server_random() != request.server_random()) {
    throw std::runtime_error("the grant belongs to another discovery");
  }
  link->transcript().Say("has the address " + grant.ip_addr());
}

// 2. Agree on the size of frames, and say where topics are to be sent. This
// example's own choice: handShakeMessage travels under SERVICE_ID_HS_APPLY as
// the request, and handShakeRspMessage as its answer; an answer means success,
// without a handShakeErrorCode.
void ShakeHands(ServiceLink* link, uint16_t channel_port) {
  handshake::handShakeMessage limits;
  limits.set_maxframesize(kMaxFrameSize);
  limits.set_minframeinterval(kMinFrameInterval);
  link->Send(Request(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_APPLY),
             limits);
  link->Expect<handshake::handShakeRspMessage>(
      Answer(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_APPLY));

  handshake::syncRequest sync;
  sync.set_source_addr("127.0.0.1");
  sync.set_source_port(channel_port);
  link->Send(Request(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_SYNC),
             sync);
}

// 3. Register as a payload, and send a heartbeat. Returns the id.
int Register(ServiceLink* link) {
  access::payloadReqMessage request;
  request.set_src_id(kGimbalNode);
  request.set_payload_type(access::PAYLOAD_GIMBAL);
  request.set_product_alias(kName);
  request.set_payload_position(kPosition);
  request.set_psdklib_version("2.0.0");
  request.set_payload_version("0.1");
  link->Send(
      Request(COMPONENT_ID_ACCESS, access::PAYLOAD_SERVICE_PAYLOAD_REGISTER),
      request);
  const auto answer = link->Expect<access::payloadRspMessage>(
      Answer(COMPONENT_ID_ACCESS, access::PAYLOAD_SERVICE_PAYLOAD_REGISTER));

  access::heartbeatMessage heartbeat;
  heartbeat.set_src_node_id(kGimbalNode);
  heartbeat.set_time_interval(kHeartbeatInterval);
  link->Send(Report(COMPONENT_ID_ACCESS, access::PAYLOAD_TOPIC_HEARTBEAT),
             heartbeat);
  const auto list = link->Expect<access::payloadList>(
      Report(COMPONENT_ID_ACCESS, access::PAYLOAD_TOPIC_LIST_REPORT));
  link->transcript().Say("is payload " + std::to_string(answer.payload_id()) +
                         ", one of " +
                         std::to_string(list.payload_list_size()));
  return answer.payload_id();
}

// 4. Measure how far this clock is from the server's. The fourth time stamp of
// the round trip never travels.
void AlignClock(ServiceLink* link) {
  timesync::TimeSyncRequest request;
  request.set_timestamp_cli_send(Now());
  link->Send(Request(COMPONENT_ID_TIMESYNC, timesync::SERVICE_ID_TIME_SYNC_SRV),
             request);
  const auto times = link->Expect<timesync::TimeSyncResponse>(
      Answer(COMPONENT_ID_TIMESYNC, timesync::SERVICE_ID_TIME_SYNC_SRV));
  const int64_t received = Now();
  if (times.timestamp_cli_send() != request.timestamp_cli_send()) {
    throw std::runtime_error("the time server answers another request");
  }
  const int64_t offset =
      ((times.timestamp_srv_recv() - times.timestamp_cli_send()) +
       (times.timestamp_srv_send() - received)) /
      2;
  link->transcript().Say("is " + std::to_string(offset) +
                         " us off the server's clock");
}

// 5. Serve gimbal commands until the link has something else to say.
void ServeGimbal(UdpSocket* socket, ServiceLink* link) {
  Gimbal gimbal(link->transcript());
  while (socket->IsFirst(link->socket(), kPatience)) {
    const std::optional<Datagram> datagram =
        socket->Receive(std::chrono::seconds(0));
    ChannelSender sender(
        kGimbalNode, kGroundNode,
        [&](auto, const std::string& bytes) {
          socket->Send(bytes, datagram->from);
        },
        link->transcript());
    gimbal.Handle(datagram->bytes, &sender);
  }
}

// 6. Listen to what the aircraft tells its subscribers.
void ReadTelemetry(ServiceLink* link) {
  const auto velocity = link->Expect<sdksub::Velocity>(
      Report(COMPONENT_ID_SDK_SUB, sdksub::FLY_CONDITION_TOPIC_VELOCITY));
  const auto battery = link->Expect<sdksub::BatteryInfo>(
      Report(COMPONENT_ID_SDK_SUB, sdksub::FLY_CONDITION_TOPIC_BATTERY_INFO));
  link->transcript().Say("knows: velocity x " +
                         std::to_string(velocity.data().x()) + ", battery at " +
                         std::to_string(battery.percentage()) + " %");
}

// 7. Upload a file: the receiver asks for it piece by piece. This example's own
// choice: sizes are in bytes; the sender of the file sends verifyDigest, with
// the digest in lower-case hexadecimal, and the receiver compares and ends the
// session.
void Upload(ServiceLink* link) {
  std::string file;
  for (int line = 1; line <= 200; ++line) {
    file += "joint " + std::to_string(line) + "\n";
  }
  stream::requestUpload upload;
  upload.set_stream_size(static_cast<int64_t>(file.size()));
  upload.set_stream_name("calibration.txt");
  upload.set_session_size(kMaxFrameSize - 100);
  upload.set_session_name("calibration-1");
  link->Send(Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_UPLOAD),
             upload);
  const auto accepted = link->Expect<stream::responseUpload>(
      Answer(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_UPLOAD));
  if (accepted.session_size() < 1 ||
      accepted.session_size() > upload.session_size()) {
    throw std::runtime_error("the pieces are to be of a size not offered");
  }

  size_t sent = 0;
  stream::responseData piece;  // Keeps its memory from piece to piece.
  while (sent < file.size()) {
    const auto wanted = link->Expect<stream::requestData>(
        Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_REQUEST));
    // Offsets come from the other side: never trust them with a pointer.
    if (wanted.session() != upload.session_name() || wanted.length() < 1 ||
        wanted.length() > accepted.session_size() || wanted.offset() < 0 ||
        wanted.offset() >= upload.stream_size()) {
      throw std::runtime_error("asked for a piece that does not exist");
    }
    piece.set_offset(wanted.offset());
    piece.set_session(wanted.session());
    piece.mutable_data()->assign(file, static_cast<size_t>(wanted.offset()),
                                 static_cast<size_t>(wanted.length()));
    piece.set_length(static_cast<int>(piece.data().size()));
    link->Send(Report(COMPONENT_ID_STREAM, stream::REPORT_ID_STREAM_DATA),
               piece);
    sent += piece.data().size();
  }

  // The digest travels as text: raw bytes would fail the UTF-8 check.
  std::array<char, SHA256_DIGEST_STRING_LENGTH> hex;
  SHA256Data(reinterpret_cast<const uint8_t*>(file.data()), file.size(),
             hex.data());
  stream::verifyDigest digest;
  digest.set_digest_type(stream::STREAM_DIGEST_SHA256);
  digest.set_digest_data(hex.data());
  digest.set_session_name(upload.session_name());
  link->Send(Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_VERIFY),
             digest);
  const auto finish = link->Expect<stream::finishSession>(
      Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_FINISH));
  if (finish.session_name() != upload.session_name()) {
    throw std::runtime_error("the receiver closes another session");
  }
  link->transcript().Say("closes " + finish.session_name() + ": " +
                         finish.finish_desc());
}

// 8. Leave a line in the log. This example's own choice: logMessage travels
// under LOGGER_REPORT_WRITE.
void WriteLog(ServiceLink* link, int payload_id) {
  logger::logMessage log;
  log.set_payload_id(payload_id);
  log.set_payload_name(kName);
  log.set_content("all exchanges succeeded");
  link->Send(Report(COMPONENT_ID_LOGGER, logger::LOGGER_REPORT_WRITE), log);
}

}  // namespace

int main(int argc, char** argv) {
  return RunWithPort(argc, argv, 1, [](uint16_t port) {
    const Transcript transcript("gimbal");
    ServiceLink link(0, transcript);
    link.Connect(LocalAddress(port));
    UdpSocket channel(0);

    transcript.Begin(Stage::kAddress);
    Discover(&link);
    transcript.Begin(Stage::kHandshake);
    ShakeHands(&link, channel.port());
    transcript.Begin(Stage::kRegistration);
    const int payload_id = Register(&link);
    transcript.Begin(Stage::kClock);
    AlignClock(&link);
    transcript.Begin(Stage::kCommands);
    ServeGimbal(&channel, &link);
    transcript.Begin(Stage::kTelemetry);
    ReadTelemetry(&link);
    transcript.Begin(Stage::kFile);
    Upload(&link);
    transcript.Begin(Stage::kLog);
    WriteLog(&link, payload_id);
  });
}
