// The other end of the link: grants an address, keeps the registry, commands
// the gimbal, tells it how the aircraft flies, takes its file and its log.
// Start gimbal_node on the same machine; either may come first.
#include <sha256.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

#include "accessMessage.pb.h"
#include "command_line.h"
#include "discoveryMessage.pb.h"
#include "gimbal_commands.h"
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

// This example's own choice: a fixed number, and a lease in seconds.
constexpr int kServerRandom = 4711;
constexpr uint32_t kLeaseTime = 3600;
constexpr int kPayloadId = 3;
constexpr int64_t kLargestFile = 1 << 20;
constexpr int kLargestPiece = 1000;

// 1. Grant an address to the node that asks for one.
void GrantAddress(ServiceLink* link) {
  const Subject kBroadcast = Request(COMPONENT_ID_DISCOVERY,
                                     discovery::SERVICE_ID_DISCOVERY_BROADCAST);
  discovery::addrDiscovery broadcast;
  do {  // The node repeats its broadcast until it has the answer.
    broadcast = link->Expect<discovery::addrDiscovery>(
        kBroadcast, std::chrono::seconds(10));
    discovery::addrServer server;
    server.set_client_random(broadcast.client_random());
    server.set_server_random(kServerRandom);
    link->Send(Answer(COMPONENT_ID_DISCOVERY,
                      discovery::SERVICE_ID_DISCOVERY_BROADCAST),
               server);
  } while (link->IsNext(kBroadcast));

  const auto request = link->Expect<discovery::addrRequest>(
      Request(COMPONENT_ID_DISCOVERY, discovery::SERVICE_ID_DISCOVERY_REQUEST));
  if (request.client_random() != broadcast.client_random() ||
      request.server_random() != kServerRandom) {
    throw std::runtime_error("the request belongs to another discovery");
  }
  discovery::addrResponse grant;
  grant.set_client_random(request.client_random());
  grant.set_server_random(request.server_random());
  // This example's own choice: an address as dotted decimal numbers.
  grant.set_ip_addr("127.0.0.1");
  grant.set_lease_time(kLeaseTime);
  link->Send(
      Answer(COMPONENT_ID_DISCOVERY, discovery::SERVICE_ID_DISCOVERY_REQUEST),
      grant);
}

// 2. Take the node's limits. Returns where it wants its topics.
Address ShakeHands(ServiceLink* link) {
  link->Expect<handshake::handShakeMessage>(
      Request(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_APPLY));
  handshake::handShakeRspMessage answer;
  answer.set_source_id(kGimbalNode);
  answer.set_position(1);
  link->Send(Answer(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_APPLY),
             answer);

  const auto sync = link->Expect<handshake::syncRequest>(
      Request(COMPONENT_ID_HANDSHAKE, handshake::SERVICE_ID_HS_SYNC));
  if (sync.source_port() < 1 || sync.source_port() > 65535) {
    throw std::runtime_error("the node names a port that cannot be");
  }
  link->transcript().Say("finds the gimbal on UDP port " +
                         std::to_string(sync.source_port()));
  return LocalAddress(static_cast<uint16_t>(sync.source_port()));
}

// 3. Register the payload, and publish the registry once it is alive.
void RegisterPayload(ServiceLink* link) {
  const auto request = link->Expect<access::payloadReqMessage>(
      Request(COMPONENT_ID_ACCESS, access::PAYLOAD_SERVICE_PAYLOAD_REGISTER));
  access::payloadRspMessage answer;
  answer.set_payload_id(kPayloadId);
  link->Send(
      Answer(COMPONENT_ID_ACCESS, access::PAYLOAD_SERVICE_PAYLOAD_REGISTER),
      answer);

  link->Expect<access::heartbeatMessage>(
      Report(COMPONENT_ID_ACCESS, access::PAYLOAD_TOPIC_HEARTBEAT));
  access::payloadList list;
  access::payloadInfo* payload = list.add_payload_list();
  payload->set_payload_id(kPayloadId);
  payload->set_payload_type(request.payload_type());
  payload->set_is_online(1);  // This example's own choice: 1 is online.
  payload->set_last_active_time(static_cast<uint64_t>(Now()));
  payload->set_payload_position(request.payload_position());
  payload->set_psdklib_version(request.psdklib_version());
  payload->set_payload_version(request.payload_version());
  link->Send(Report(COMPONENT_ID_ACCESS, access::PAYLOAD_TOPIC_LIST_REPORT),
             list);
}

// 4. Tell the node what time it is here.
void ServeTime(ServiceLink* link) {
  const auto request = link->Expect<timesync::TimeSyncRequest>(
      Request(COMPONENT_ID_TIMESYNC, timesync::SERVICE_ID_TIME_SYNC_SRV));
  timesync::TimeSyncResponse response;
  response.set_timestamp_srv_recv(Now());
  response.set_timestamp_cli_send(request.timestamp_cli_send());
  response.set_timestamp_srv_send(Now());
  link->Send(Answer(COMPONENT_ID_TIMESYNC, timesync::SERVICE_ID_TIME_SYNC_SRV),
             response);
}

// 6. What the aircraft sends to subscribers. Nothing subscribes here, as the
// vocabulary has no message for it. This example's own choice: m/s, mAh, mV and
// mA.
void PublishTelemetry(ServiceLink* link) {
  sdksub::Velocity velocity;
  velocity.mutable_data()->set_x(3.5F);
  velocity.mutable_data()->set_z(-0.25F);
  link->Send(Report(COMPONENT_ID_SDK_SUB, sdksub::FLY_CONDITION_TOPIC_VELOCITY),
             velocity);

  sdksub::BatteryInfo battery;
  battery.set_capacity(5000);
  battery.set_voltage(22800);
  battery.set_current(-1200);
  battery.set_percentage(81);
  link->Send(
      Report(COMPONENT_ID_SDK_SUB, sdksub::FLY_CONDITION_TOPIC_BATTERY_INFO),
      battery);
}

// 7. Take a file, piece by piece, and compare its digest.
void TakeFile(ServiceLink* link) {
  const auto upload = link->Expect<stream::requestUpload>(
      Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_UPLOAD));
  if (upload.stream_size() < 0 || upload.stream_size() > kLargestFile) {
    throw std::runtime_error("the node offers a file of a size that cannot be");
  }
  stream::responseUpload accepted;
  accepted.set_session_size(
      std::clamp(upload.session_size(), 1, kLargestPiece));
  link->Send(Answer(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_UPLOAD),
             accepted);

  std::string file;
  while (static_cast<int64_t>(file.size()) < upload.stream_size()) {
    stream::requestData wanted;
    wanted.set_offset(static_cast<int64_t>(file.size()));
    wanted.set_length(static_cast<int>(std::min<int64_t>(
        accepted.session_size(), upload.stream_size() - wanted.offset())));
    wanted.set_session(upload.session_name());
    link->Send(Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_REQUEST),
               wanted);
    const auto piece = link->Expect<stream::responseData>(
        Report(COMPONENT_ID_STREAM, stream::REPORT_ID_STREAM_DATA));
    // Nothing but the sender makes length agree with data.
    if (piece.session() != wanted.session() ||
        piece.offset() != wanted.offset() ||
        piece.length() != wanted.length() ||
        piece.data().size() != static_cast<size_t>(wanted.length())) {
      throw std::runtime_error("another piece arrived than the one asked for");
    }
    file += piece.data();
  }

  const auto digest = link->Expect<stream::verifyDigest>(
      Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_VERIFY));
  std::array<char, SHA256_DIGEST_STRING_LENGTH> hex;
  SHA256Data(reinterpret_cast<const uint8_t*>(file.data()), file.size(),
             hex.data());
  if (digest.digest_type() != stream::STREAM_DIGEST_SHA256 ||
      digest.digest_data() != hex.data() ||
      digest.session_name() != upload.session_name()) {
    throw std::runtime_error("the file and its digest do not fit");
  }
  stream::finishSession finish;
  finish.set_session_name(upload.session_name());
  finish.set_finish_desc(std::to_string(file.size()) + " bytes verified");
  link->Send(Request(COMPONENT_ID_STREAM, stream::SERVICE_ID_STREAM_FINISH),
             finish);
}

// 8. Read the line for the log.
void ReadLog(ServiceLink* link) {
  const auto log = link->Expect<logger::logMessage>(
      Report(COMPONENT_ID_LOGGER, logger::LOGGER_REPORT_WRITE));
  link->transcript().Say("logs for payload " +
                         std::to_string(log.payload_id()) + ": " +
                         log.content());
}

}  // namespace

int main(int argc, char** argv) {
  return RunWithPort(argc, argv, 0, [](uint16_t port) {
    const Transcript transcript("ground");
    ServiceLink link(port, transcript);
    transcript.Say("listens on UDP port " +
                   std::to_string(link.socket().port()));

    transcript.Begin(Stage::kAddress);
    GrantAddress(&link);
    transcript.Begin(Stage::kHandshake);
    const Address gimbal = ShakeHands(&link);
    transcript.Begin(Stage::kRegistration);
    RegisterPayload(&link);
    transcript.Begin(Stage::kClock);
    ServeTime(&link);
    transcript.Begin(Stage::kCommands);
    CommandGimbal(gimbal, transcript);
    transcript.Begin(Stage::kTelemetry);
    PublishTelemetry(&link);
    transcript.Begin(Stage::kFile);
    TakeFile(&link);
    transcript.Begin(Stage::kLog);
    ReadLog(&link);
  });
}
