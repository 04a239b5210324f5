// Plays the other side to the programs of the broker example, on a broker that
// run-broker has started: what they answer, refuse and repeat.
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>
#include <mqtt_protocol.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <thread>

#include "accessMessage.pb.h"
#include "channelMessage.pb.h"
#include "mqtt_client.h"
#include "nodes.h"
#include "topics.h"

namespace {

using namespace zorvik::channel;
using namespace zorvik::access;
using Lines = std::vector<std::string>;

constexpr std::chrono::seconds kPatience(20);
constexpr std::chrono::milliseconds kSilence(300);

std::string Environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

Broker OwnBroker() {
  Broker broker;
  broker.port = static_cast<uint16_t>(std::stoi(Environment("BROKER_PORT")));
  return broker;
}

// Why it fails.
std::string Failure(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "no failure";
}

// A program of the example, whose output is read line by line.
class Program {
 public:
  explicit Program(Lines words) {
    words[0] = std::string(BROKER_PROGRAMS) + "/" + words[0];
    words.insert(words.end(), {"--port", Environment("BROKER_PORT")});
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    id_ = fork();
    if (id_ == 0) {
      std::vector<char*> argv;
      for (std::string& word : words) argv.push_back(word.data());
      argv.push_back(nullptr);
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(ends[1], STDOUT_FILENO);
      dup2(ends[1], STDERR_FILENO);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(ends[1]);
    output_ = ends[0];
  }
  ~Program() {
    if (id_ > 0) End(SIGKILL);
    close(output_);
  }

  void ReadUntil(const std::string& text) {
    std::string line;
    do {
      if (!ReadLine(&line)) {
        ADD_FAILURE() << "no line has: " << text;
        return;
      }
    } while (line.find(text) == std::string::npos);
  }

  // Its exit code, or minus the number of the signal that ended it.
  int End(int with = 0) {
    kill(id_, with);
    std::string line;
    while (ReadLine(&line)) {
    }
    int status = 0;
    waitpid(id_, &status, 0);
    id_ = 0;
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  }

  // The lines so far, without those about what it sends.
  const Lines& said() const { return said_; }

 private:
  bool ReadLine(std::string* line) {
    line->clear();
    for (;;) {
      pollfd readable{output_, POLLIN, 0};
      if (poll(&readable, 1, 20000) == 0) {
        ADD_FAILURE() << "it says nothing any more";
        kill(id_, SIGKILL);
        return false;
      }
      char c;
      if (read(output_, &c, 1) != 1) return false;
      if (c == '\n') break;
      line->push_back(c);
    }
    if ((*line)[0] != ' ' && line->find("] sends ") == std::string::npos) {
      said_.push_back(*line);
    }
    return true;
  }

  pid_t id_;
  int output_;
  Lines said_;
};

// Publishes with a number of one's own, or none, beside another property.
class RawSender {
 public:
  RawSender() : client_(mosquitto_new(nullptr, true, nullptr)) {
    mosquitto_int_option(client_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    EXPECT_EQ(mosquitto_connect(client_, "127.0.0.1", OwnBroker().port, 60), 0);
    mosquitto_loop_start(client_);
  }
  ~RawSender() {
    mosquitto_disconnect(client_);
    mosquitto_loop_stop(client_, false);
    mosquitto_destroy(client_);
  }
  void Publish(const std::string& topic, const std::string& bytes,
               const std::string& number) {
    mosquitto_property* list = nullptr;
    mosquitto_property_add_string_pair(&list, MQTT_PROP_USER_PROPERTY, "trace",
                                       "1");
    if (!number.empty()) {
      mosquitto_property_add_string_pair(&list, MQTT_PROP_USER_PROPERTY,
                                         "publication", number.c_str());
    }
    const int size = static_cast<int>(bytes.size());
    EXPECT_EQ(mosquitto_publish_v5(client_, nullptr, topic.c_str(), size,
                                   bytes.data(), 1, false, list),
              0);
    mosquitto_property_free_all(&list);
  }

 private:
  mosquitto* const client_;
};

template <typename Message>
std::string Bytes(const std::string& text) {
  Message message;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &message));
  return message.SerializeAsString();
}

template <typename Message>
std::string Text(const std::string& bytes) {
  Message message;
  EXPECT_TRUE(message.ParseFromString(bytes));
  return message.ShortDebugString();
}

// An envelope with this content: the name of a message and its fields, as text.
std::string Envelope(int type, int from, int to, const std::string& content) {
  return Bytes<channelTopicMessage>("topic_type: " + std::to_string(type) +
                                    " src_node_id: " + std::to_string(from) +
                                    " dst_node_id: " + std::to_string(to) +
                                    " data { " + content + " }");
}
std::string Any(const std::string& message, const std::string& fields) {
  return "[type.googleapis.com/zorvik." + message + "] { " + fields + " }";
}
std::string Malformed(const std::string& message) {
  return "type_url: 'type.googleapis.com/zorvik." + message +
         "' value: '\\377'";
}
// The fields of the content of an envelope for this node.
std::string FieldsOf(const std::string& bytes, int to = kGroundNode) {
  const std::string text = Text<channelTopicMessage>(bytes);
  EXPECT_NE(text.find(" dst_node_id: " + std::to_string(to) + " "),
            std::string::npos)
      << text;
  const size_t begin = text.find("] {") + 4;
  return text.substr(begin, text.rfind(" } }") - begin);
}

// Each test has an aircraft of its own: the broker keeps what is retained.
class BrokerPeers : public testing::Test {
 protected:
  std::string Topic(int node, const std::string& what) const {
    return TopicOf(aircraft_, node, what);
  }

  // The next publication of a topic; others are dropped.
  std::string Await(const std::string& topic) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      const auto publication = client_.Receive(kSilence);
      if (publication && publication->topic == topic) return publication->bytes;
    }
    ADD_FAILURE() << "nothing comes on " << topic;
    return "";
  }

  std::string Retained(const std::string& topic) const {
    MqttClient late(OwnBroker(), "late for " + topic);
    late.Subscribe(topic);
    const auto publication = late.Receive(kPatience);
    return publication ? publication->bytes : "nothing is retained";
  }

  const std::string aircraft_ =
      testing::UnitTest::GetInstance()->current_test_info()->name();
  MqttClient client_{OwnBroker(), aircraft_ + "-peer"};
};

struct Command {
  std::string bytes;
  std::string number = "";  // Of the publication.
};
struct Device {
  std::string name;
  int node;
  payloadType type;
  channelTopicType topic;
  std::string topic_name;
  std::string request;            // The message that it takes.
  std::vector<Command> commands;  // After ones that it has to ignore.
  Lines sends;                    // The fields of what it sends.
  Lines says;
};

std::string Release(int channel) {
  return Envelope(CHANNEL_TOPIC_TYPE_THROWER_ACTION, kGroundNode, kThrowerNode,
                  Any("protocol.throwActionMessage",
                      "channel_index_active: " + std::to_string(channel)));
}

std::vector<Device> Devices() {
  const std::string status =
      "type: \"example thrower\" multi_channel_num: 8 channel_valid_state: 255 "
      "current_channel_state: ";
  const std::string frame =
      " tarNum: 1 tarInfo { tNum: 1 tName: \"example target\" } workMode: ";
  const auto control = [](const std::string& fields) {
    return Envelope(CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL, kGroundNode,
                    kTracerNode,
                    Any("protocol.TracerWorkModeControlMessage", fields));
  };
  const auto rotate =
      Envelope(CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE, kGroundNode, kGimbalNode,
               Any("gimbal.UavGimbalRotateReqMessage",
                   "seq: 5 rotationValue { yaw: 7 }"));
  return {{"thrower",
           kThrowerNode,
           PAYLOAD_THROWER,
           CHANNEL_TOPIC_TYPE_THROWER_ACTION,
           "CHANNEL_TOPIC_TYPE_THROWER_ACTION (10102)",
           "protocol.throwActionMessage",
           // Equal bytes are another command, an equal number is the same one.
           {{Release(0)},
            {Release(7), "a"},
            {Release(7), "a"},
            {Release(7), "b"},
            {Release(7)},
            {Release(0)},
            {Release(8)}},
           {status + "255", status + "255", status + "127", status + "127",
            status + "126", status + "126"},
           {"releases a load of channel 0, which has 1 left",
            "releases a load of channel 7, which has 1 left",
            "has had this command already",
            "releases a load of channel 7, which has 0 left",
            "has no load in channel 7",
            "releases a load of channel 0, which has 0 left",
            "has no load in channel 8", "sent 6 envelopes, received 10"}},
          {"tracer",
           kTracerNode,
           PAYLOAD_TRACER,
           CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL,
           "CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL (10202)",
           "protocol.TracerWorkModeControlMessage",
           {{control("seq: 4294967295 workMode: 3")},
            {control("seq: 2 workMode: 6")}},
           {"seq: 4294967295", "frameNum: 1" + frame + "3", "seq: 2",
            "frameNum: 2" + frame + "6"},
           {"sent 4 envelopes, received 6"}},
          {"gimbal",
           kGimbalNode,
           PAYLOAD_GIMBAL,
           CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE,
           "CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE (10404)",
           "gimbal.UavGimbalRotateReqMessage",
           {{rotate}},
           {"seq: 5", "attitude { yaw: 7 }"},
           {"sent 2 envelopes, received 5"}}};
}

TEST_F(BrokerPeers, PayloadRegistersAndCarriesOutCommands) {
  for (const Device& device : Devices()) {
    SCOPED_TRACE(device.name);
    const int node = device.node;
    const std::string id = std::to_string(node);
    const std::string type = "payload_type: " + std::to_string(device.type);
    client_.Subscribe(Topic(node, "+"));
    Program payload({"broker_payload", "--aircraft", aircraft_, device.name});

    // It asks again until it has an id, and keeps that.
    for (const std::string answer : {"\xff", "", "\x08\x2a", "\x08\x2b"}) {
      if (answer != "\x08\x2b") {
        EXPECT_EQ(Text<payloadReqMessage>(Await(Topic(node, "register"))),
                  "src_id: " + id + " " + type + " product_alias: \"example " +
                      device.name + "\"");
      }
      client_.Publish(Topic(node, "registered"), answer);
    }
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(Text<heartbeatMessage>(Await(Topic(node, "heartbeat"))),
                "src_node_id: " + id + " time_interval: 1000");
    }
    EXPECT_EQ(Text<payloadInfo>(Retained(Topic(node, "online"))),
              type + " is_online: 1");

    RawSender sender;
    const std::string empty = Any(device.request, "");
    for (const std::string& ignored :
         {Envelope(device.topic, kGroundNode, node, Malformed(device.request)),
          Envelope(device.topic, kGroundNode, node,
                   Any("access.payloadReqMessage", "")),
          Envelope(device.topic, kGroundNode, node + 1, empty),
          std::string("\xff")}) {
      sender.Publish(Topic(node, "in"), ignored, "");
    }
    for (const Command& command : device.commands) {
      sender.Publish(Topic(node, "in"), command.bytes, command.number);
    }
    Lines sent;
    std::string last;
    while (sent.size() < device.sends.size() && !HasFailure()) {
      last = Await(Topic(node, "out"));
      sent.push_back(FieldsOf(last));
    }
    EXPECT_EQ(sent, device.sends);
    EXPECT_EQ(Retained(Topic(node, "state")), last);

    EXPECT_EQ(payload.End(SIGTERM), 0);
    EXPECT_EQ(Text<payloadInfo>(Await(Topic(node, "online"))), type);
    const std::string ignores = "ignores " + device.topic_name + " to node ";
    Lines says = {
        "is payload 42", ignores + id + ", with malformed content",
        ignores + id + ", with content of another type than the topic's",
        ignores + std::to_string(node + 1) + ", for another node",
        "ignores bytes, no envelope"};
    says.insert(says.end(), device.says.begin(), device.says.end());
    for (std::string& line : says) line = "[" + device.name + "] " + line;
    EXPECT_EQ(payload.said(), says);
  }
}

// What it says it has sent is what arrives, whenever it is stopped, and no
// command is lost. The broker tells that it is gone when it could not say so.
TEST_F(BrokerPeers, PayloadIsStoppedAtWork) {
  client_.Subscribe(Topic(kThrowerNode, "+"));
  const Lines words = {"broker_payload", "--aircraft", aircraft_, "thrower"};
  const auto sends_until_gone = [&] {
    int sends = 0;
    while (const auto publication = client_.Receive(kPatience)) {
      sends += publication->topic == Topic(kThrowerNode, "out");
      if (publication->topic == Topic(kThrowerNode, "online") &&
          Text<payloadInfo>(publication->bytes) == "payload_type: 1") {
        return sends;
      }
    }
    ADD_FAILURE() << "nobody says that it is gone";
    return sends;
  };

  constexpr int kCommands = 400;
  int done = 0;
  for (const int with : {SIGTERM, SIGINT, 0}) {
    Program payload(words);
    Await(Topic(kThrowerNode, "register"));
    MqttClient sender(OwnBroker(), "sender");
    for (int i = 0; i < kCommands; ++i) {
      sender.Publish(Topic(kThrowerNode, "in"), Release(0));
    }
    payload.ReadUntil("channel 0");
    if (with == 0) {
      for (int i = 1; i < 3 * kCommands - done && !HasFailure(); ++i) {
        payload.ReadUntil("channel 0");
      }
    }
    EXPECT_EQ(payload.End(with == 0 ? SIGTERM : with), 0);
    EXPECT_TRUE(sender.Flush(kPatience));
    const int sends = sends_until_gone();
    done += sends;
    const std::string sent = "[thrower] sent " + std::to_string(sends) + " ";
    EXPECT_EQ(payload.said().back().substr(0, sent.size()), sent);
  }
  EXPECT_EQ(done, 3 * kCommands);

  Program payload(words);
  Await(Topic(kThrowerNode, "register"));
  EXPECT_EQ(payload.End(SIGKILL), -SIGKILL);
  EXPECT_EQ(sends_until_gone(), 0);
  EXPECT_EQ(Text<payloadInfo>(Retained(Topic(kThrowerNode, "online"))),
            "payload_type: 1");
}

// The real broker lets everybody subscribe, and only withholds what is
// published.
TEST(MqttClient, SubscriptionIsRefused) {
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(listener, any, size), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  ASSERT_EQ(getsockname(listener, any, &size), 0);
  std::thread broker([&] {
    const int peer = accept(listener, nullptr, nullptr);
    char packet[1000];
    EXPECT_GT(read(peer, packet, sizeof packet), 0);
    EXPECT_EQ(write(peer, "\x20\x03\0\0\0", 5), 5);  // CONNACK
    EXPECT_GT(read(peer, packet, sizeof packet), 4);
    char refusal[] = "\x90\x04??\0\x87";  // SUBACK, with the packet's id
    std::copy_n(packet + 2, 2, refusal + 2);
    EXPECT_EQ(write(peer, refusal, 6), 6);
    EXPECT_GT(read(peer, packet, sizeof packet), 0);  // Until it disconnects.
    close(peer);
  });
  Broker fake;
  fake.port = ntohs(address.sin_port);
  EXPECT_EQ(Failure([&] { MqttClient(fake, "any").Subscribe("a/b"); }),
            "the broker refuses the subscription to a/b: Not authorized");
  broker.join();
  close(listener);
}

class GroundPeers : public BrokerPeers {
 protected:
  GroundPeers() {
    client_.Subscribe(TopicOf(aircraft_, "+", "in"));
    client_.Subscribe(TopicOf(aircraft_, "+", "registered"));
  }

  void Register(int node, int src_id) {
    client_.Publish(
        Topic(node, "register"),
        Bytes<payloadReqMessage>("src_id: " + std::to_string(src_id)));
  }
  std::string IdOf(int node) {
    return Text<payloadRspMessage>(Await(Topic(node, "registered")));
  }
  void Beat(int node, int src_node_id) {
    client_.Publish(
        Topic(node, "heartbeat"),
        Bytes<heartbeatMessage>("src_node_id: " + std::to_string(src_node_id)));
  }
  void Answer(int node, channelTopicType topic, const std::string& content) {
    client_.Publish(Topic(node, "out"),
                    Envelope(topic, node, kGroundNode, content));
  }
  // All three are registered, and two of them are alive.
  void Begin() {
    // The ground station may not have subscribed yet.
    for (int tries = 0; tries < 60; ++tries) {
      Register(kThrowerNode, kThrowerNode);
      if (client_.Receive(kSilence)) break;
    }
    Register(kGimbalNode, kGimbalNode);
    EXPECT_EQ(IdOf(kGimbalNode), "payload_id: 2");
    Register(kTracerNode, kTracerNode);
    EXPECT_EQ(IdOf(kTracerNode), "payload_id: 3");
    Beat(kThrowerNode, kThrowerNode);
    Beat(kGimbalNode, kGimbalNode);
  }

  Program ground_{{"broker_ground", "--aircraft", aircraft_, "1"}};
};

TEST_F(GroundPeers, TakesTheRightAnswersAlone) {
  Begin();
  Register(kThrowerNode, kThrowerNode);
  EXPECT_EQ(IdOf(kThrowerNode), "payload_id: 1") << "the one that it has";
  Register(20, kGimbalNode);
  ground_.ReadUntil("ignores a registration under node 20");
  client_.Publish(TopicOf(aircraft_, "9x", "register"), "\x08\x09");
  ground_.ReadUntil("ignores a registration under node 0");
  Beat(kTracerNode, kGimbalNode);
  EXPECT_FALSE(client_.Receive(kSilence)) << "it is another node that is alive";
  Beat(kTracerNode, kTracerNode);

  const auto command = [&](int node) {
    return FieldsOf(Await(Topic(node, "in")), node);
  };
  EXPECT_EQ(command(kGimbalNode), "seq: 1 rotationValue { yaw: 10 }");
  EXPECT_EQ(command(kThrowerNode), "channel_index_active: 1");
  EXPECT_EQ(command(kTracerNode), "seq: 1 workMode: 1");

  const std::string turned = "gimbal.UavGimbalRspMessage";
  const std::string changed = "protocol.TracerWorkModeControlRspMessage";
  const std::string status = "protocol.throwerStatusMessage";
  const auto ignores = [&](int node, const std::string& what) {
    ground_.ReadUntil("ignores node " + std::to_string(node) + ", which " +
                      what);
  };
  Answer(kGimbalNode, CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP,
         Any(turned, "seq: 2"));
  ignores(kGimbalNode, "answers seq 2");
  Answer(kTracerNode, CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL_RSP,
         Any(changed, ""));
  ignores(kTracerNode, "answers seq 0");
  client_.Publish(Topic(kGimbalNode, "out"),
                  Envelope(CHANNEL_TOPIC_TYPE_THROWER_STATUS, kThrowerNode,
                           kGroundNode, Any(status, "")));
  ignores(kGimbalNode, "sends as node 10");
  Answer(kGimbalNode, CHANNEL_TOPIC_TYPE_THROWER_STATUS, Any(status, ""));
  ignores(kGimbalNode, "sends CHANNEL_TOPIC_TYPE_THROWER_STATUS (10101)");
  Answer(kThrowerNode, CHANNEL_TOPIC_TYPE_THROWER_STATUS, Malformed(status));
  ignores(kThrowerNode,
          "sends CHANNEL_TOPIC_TYPE_THROWER_STATUS (10101) to node 1, with "
          "malformed content");

  Answer(kGimbalNode, CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP,
         Any(turned, "seq: 1"));
  Answer(kGimbalNode, CHANNEL_TOPIC_TYPE_GIMBAL_ATTITUDE_INFO,
         Any("gimbal.UavGimbalAttitudeInformationReport", ""));
  Answer(kTracerNode, CHANNEL_TOPIC_TYPE_TRACER_WORKMODE_CONTROL_RSP,
         Any(changed, "seq: 1"));
  Answer(kTracerNode, CHANNEL_TOPIC_TYPE_TRACER_MEASURE_INFO,
         Any("protocol.tracerMeasureInfoMessage", ""));
  Answer(kThrowerNode, CHANNEL_TOPIC_TYPE_THROWER_STATUS, Any(status, ""));

  // A status that comes twice is no answer to the second of two releases.
  RawSender sender;
  const auto tell = [&](const std::string& number) {
    sender.Publish(Topic(kThrowerNode, "out"),
                   Envelope(CHANNEL_TOPIC_TYPE_THROWER_STATUS, kThrowerNode,
                            kGroundNode, Any(status, "")),
                   number);
  };
  EXPECT_EQ(command(kThrowerNode), "channel_index_active: 7");
  tell("a");
  EXPECT_EQ(command(kThrowerNode), "channel_index_active: 7");
  tell("a");
  sender.Publish(Topic(kThrowerNode, "out"), "\xff", "");
  ignores(kThrowerNode, "sends bytes, no envelope");
  tell("b");
  ground_.ReadUntil("sent 5 envelopes, received 7");
  EXPECT_EQ(ground_.End(), 0);
}

TEST_F(GroundPeers, FailsWhenACommandIsRefused) {
  Begin();
  Beat(kTracerNode, kTracerNode);
  Answer(kGimbalNode, CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE_RSP,
         Any("gimbal.UavGimbalRspMessage", "seq: 1 rlt: 4"));
  ground_.ReadUntil("broker_ground: node 9 refuses seq 1 with rlt 4");
  EXPECT_EQ(ground_.End(), 1);
}

TEST_F(GroundPeers, FailsWhenAPayloadIsGone) {
  // One that is not registered is none of its payloads.
  client_.Publish(Topic(20, "online"), "\x10\x01", /*retained=*/true);
  Begin();
  client_.Publish(Topic(kThrowerNode, "online"), "", /*retained=*/true);
  ground_.ReadUntil("broker_ground: node 10 is gone");
  EXPECT_EQ(ground_.End(), 1);
}

// On a broker with users, TLS and an ACL, as run-broker --secure starts it.
std::string File(const std::string& name) {
  return Environment("BROKER_FOLDER") + "/" + name;
}

Broker As(const std::string& user) {
  Broker broker = OwnBroker();
  broker.user = user;
  std::getline(std::ifstream(File(user + ".password")), broker.password);
  broker.ca_file = File("ca.crt");
  return broker;
}

std::string Publishing(const std::string& topic, size_t bytes) {
  return Failure([&] {
    MqttClient client(As("gimbal"), "any");
    client.Publish(topic, std::string(bytes, 'x'));
    client.Flush(kPatience);
  });
}

TEST(Secure, TellsWhyThereIsNoConnection) {
  const std::string make = "cd '" + File("") +
                           "' && openssl req -x509 -newkey rsa:2048 -nodes "
                           "-subj /CN=other -keyout other.key -out other.crt "
                           "2>other.log";
  ASSERT_EQ(std::system(make.c_str()), 0);
  const Broker right = As("gimbal");
  ASSERT_EQ(Failure([&] { MqttClient(right, "any"); }), "no failure");
  const std::string there = "127.0.0.1 port " + std::to_string(right.port);
  const std::string refuses = "the broker at " + there + " refuses ";
  const std::string none = "cannot connect to a broker at ";
  const struct {
    std::function<void(Broker&)> change;
    std::string begin;
    std::string end;
  } kCases[] = {
      {[](Broker& to) { to.user = to.password = ""; }, refuses,
       "Not authorized"},
      {[](Broker& to) { to.user = "stranger"; }, refuses, "Not authorized"},
      {[](Broker& to) { to.password += "x"; }, refuses, "Not authorized"},
      {[](Broker& to) { to.ca_file = File("other.crt"); }, none + there,
       "certificate verify failed"},
      {[](Broker& to) { to.host = "localhost"; }, none + "localhost port ",
       "certificate verify failed"},
      {[](Broker& to) { to.ca_file = ""; }, none + there,
       "The connection was lost."},
      {[](Broker& to) { to.ca_file = File("no.crt"); },
       "cannot read " + File("no.crt"), "No such file or directory"},
      {[](Broker& to) { to.host = "no.such.host.invalid"; },
       none + "no.such.host.invalid", "Lookup error."},
      {[](Broker& to) { to.port = 1; }, none + "127.0.0.1 port 1",
       "Connection refused"},
  };
  for (const auto& [change, begin, end] : kCases) {
    Broker broker = right;
    change(broker);
    const std::string failure = Failure([&] { MqttClient(broker, "any"); });
    EXPECT_EQ(failure.substr(0, begin.size()), begin);
    ASSERT_GE(failure.size(), end.size());
    EXPECT_EQ(failure.substr(failure.size() - end.size()), end);
  }
}

TEST(Secure, NobodyActsAsAnother) {
  const std::string aircraft = "zorvik/aircraft-1/";
  const std::string refuses = "the broker refuses a publication to ";
  for (const std::string topic : {"9/in", "9/registered", "10/out", "10/state",
                                  "10/register", "10/heartbeat", "10/online"}) {
    EXPECT_EQ(Publishing(aircraft + topic, 1),
              refuses + aircraft + topic + ": Not authorized");
  }
  EXPECT_EQ(Publishing(aircraft + "9/out", 65536), "no failure");
  EXPECT_EQ(Publishing(aircraft + "9/out", 65537),
            refuses + aircraft + "9/out: Packet too large");

  // As a program that has its password from the environment.
  const Broker broker = As("tracer");
  setenv("BROKER_PASSWORD", broker.password.c_str(), /*overwrite=*/1);
  Program payload(
      {"broker_payload", "--user", "tracer", "--ca", broker.ca_file, "gimbal"});
  payload.ReadUntil("broker_payload: " + refuses + aircraft +
                    "9/online: Not authorized");
  EXPECT_EQ(payload.End(), 1);

  // It reads what is for itself alone.
  MqttClient tracer(As("tracer"), "any");
  tracer.Subscribe("#");
  MqttClient ground(As("ground"), "any");
  ground.Publish(aircraft + "9/in", "for the gimbal");
  ground.Publish(aircraft + "11/in", "for the tracer");
  const auto first = tracer.Receive(kPatience);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->bytes, "for the tracer");
  EXPECT_FALSE(tracer.Receive(kSilence));

  // Nor does it take over a session by its name.
  MqttClient gimbal(As("gimbal"), "gimbal");
  gimbal.Subscribe(aircraft + "9/in");
  MqttClient thief(As("thrower"), "gimbal");
  ground.Publish(aircraft + "9/in", "for the gimbal");
  EXPECT_TRUE(gimbal.Receive(kPatience));
  EXPECT_FALSE(gimbal.AwaitReconnections(1, kSilence));
}

}  // namespace
