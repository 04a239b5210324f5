#include "net.h"

#include <mosquitto.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "command.h"

namespace {

constexpr std::chrono::seconds kPatience(20);
constexpr int kKeepAliveSeconds = 20, kAtLeastOnce = 1;

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error(what + ": " + std::strerror(errno));
}

// Calls the function with each address of that name until it returns a socket.
Descriptor Open(const std::string& host, const std::string& port, int flags,
                const std::function<bool(int, const addrinfo&)>& use) {
  const std::string where = host + (host.empty() ? "" : " ") + "port " + port;
  addrinfo hints{}, *list = nullptr;
  hints.ai_socktype = SOCK_DGRAM;
  hints.ai_flags = flags;
  const int result = getaddrinfo(host.empty() ? nullptr : host.c_str(),
                                 port.c_str(), &hints, &list);
  if (result != 0)
    throw std::runtime_error(where + ": " + gai_strerror(result));
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(list,
                                                             freeaddrinfo);
  for (; list != nullptr; list = list->ai_next) {
    Descriptor socket(::socket(
        list->ai_family, list->ai_socktype | SOCK_CLOEXEC, list->ai_protocol));
    if (socket.number() >= 0 && use(socket.number(), *list)) return socket;
  }
  Fail(where);
}

bool IsMulticast(const addrinfo& address) {
  if (address.ai_family == AF_INET) {
    sockaddr_in name{};
    std::memcpy(&name, address.ai_addr, sizeof name);
    return IN_MULTICAST(ntohl(name.sin_addr.s_addr));
  }
  sockaddr_in6 name{};
  std::memcpy(&name, address.ai_addr, sizeof name);
  return IN6_IS_ADDR_MULTICAST(&name.sin6_addr);
}

// Joins the group when the address is a multicast address.
bool Join(int socket, const addrinfo& address) {
  if (!IsMulticast(address)) return true;
  if (address.ai_family == AF_INET) {
    sockaddr_in name{};
    std::memcpy(&name, address.ai_addr, sizeof name);
    ip_mreq group{name.sin_addr, {}};
    return setsockopt(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group,
                      sizeof group) == 0;
  }
  sockaddr_in6 name{};
  std::memcpy(&name, address.ai_addr, sizeof name);
  ipv6_mreq group{name.sin6_addr, 0};
  return setsockopt(socket, IPPROTO_IPV6, IPV6_JOIN_GROUP, &group,
                    sizeof group) == 0;
}

// The host and the port of "HOST:PORT"; the port is empty when there is none.
std::pair<std::string, std::string> Split(const std::string& address) {
  size_t colon = address.rfind(':');
  if (address[0] == '[' && address.find(']') != std::string::npos) {
    const size_t end = address.find(']');
    return {address.substr(1, end - 1),
            end + 1 < address.size() ? address.substr(end + 2) : ""};
  }
  if (colon == std::string::npos) return {address, ""};
  return {address.substr(0, colon), address.substr(colon + 1)};
}

// Throws WrongUse for what is no number of a port; some functions would take it
// modulo 65536.
void CheckPort(const std::string& port, const std::string& place) {
  const bool is_number = !port.empty() && port.size() <= 5 &&
                         port.find_first_not_of("0123456789") == port.npos;
  if (!is_number || std::stoi(port) < 1 || std::stoi(port) > 65535) {
    throw WrongUse(place + " has no port from 1 to 65535");
  }
}

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) close(number_);
}

Place PlaceOf(const std::string& text) {
  Place place;
  const size_t colon = text.find(':');
  place.scheme = text.substr(0, colon);
  std::string address =
      colon == std::string::npos ? "" : text.substr(colon + 1);
  if (place.scheme == "mqtt") {
    const size_t slash = address.find('/');
    if (slash != std::string::npos) place.topic = address.substr(slash + 1);
    address = address.substr(0, slash);
  }
  std::tie(place.host, place.port) = Split(address);
  if ((place.scheme == "udp" && !place.host.empty() && !place.port.empty()) ||
      (place.scheme == "mqtt" && !place.host.empty() && !place.topic.empty())) {
    if (!place.port.empty()) CheckPort(place.port, text);
    return place;
  }
  throw WrongUse(text + " is neither udp:HOST:PORT nor mqtt:HOST:PORT/TOPIC");
}

void AddBrokerOptions(CLI::App* app, BrokerOptions* options) {
  const char* group = "Broker";
  CLI::Option* user =
      app->add_option("--user", options->user, "User at the broker")
          ->group(group);
  app->add_option("--password-file", options->password_file,
                  "File with the password in its first line")
      ->needs(user)
      ->group(group)
      ->type_name("FILE");
  app->add_option("--ca", options->ca_file,
                  "File with the certificates to trust: connect with TLS")
      ->group(group)
      ->type_name("FILE");
}

void CheckBrokerOptions(const BrokerOptions& options,
                        const std::vector<std::string>& places) {
  const bool has_broker = std::any_of(
      places.begin(), places.end(),
      [](const std::string& place) { return place.rfind("mqtt:", 0) == 0; });
  if (!has_broker && !(options.user + options.ca_file).empty()) {
    throw WrongUse("--user, --password-file and --ca are for a broker");
  }
}

struct Broker::State {
  State() {
    // TLS may write to a connection that the broker has just closed.
    std::signal(SIGPIPE, SIG_IGN);
    mosquitto_lib_init();
  }
  ~State() {
    mosquitto_disconnect(client);
    mosquitto_destroy(client);
    mosquitto_lib_cleanup();
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  mosquitto* client = nullptr;
  int connected = -1;  // What the broker answered.
  int subscribed = -1;
  int published = 0;  // Number of the last that was acknowledged.
  Use use;
};

namespace {

int PortOf(const Place& place, const BrokerOptions& options) {
  if (!place.port.empty()) return std::atoi(place.port.c_str());
  return options.ca_file.empty() ? 1883 : 8883;
}

}  // namespace

Broker::Broker(const Place& place, const BrokerOptions& options)
    : where_(place.host + ":" + std::to_string(PortOf(place, options))),
      state_(std::make_unique<State>()) {
  mosquitto* client = mosquitto_new(nullptr, true, state_.get());
  if (client == nullptr) throw std::runtime_error("cannot make an MQTT client");
  state_->client = client;
  mosquitto_connect_callback_set(client, [](mosquitto*, void* self, int code) {
    static_cast<State*>(self)->connected = code;
  });
  mosquitto_publish_callback_set(client, [](mosquitto*, void* self, int id) {
    static_cast<State*>(self)->published = id;
  });
  mosquitto_subscribe_callback_set(
      client, [](mosquitto*, void* self, int, int count, const int* granted) {
        static_cast<State*>(self)->subscribed = count > 0 ? granted[0] : 128;
      });
  mosquitto_message_callback_set(
      client, [](mosquitto*, void* self, const mosquitto_message* message) {
        const auto* bytes = static_cast<const char*>(message->payload);
        static_cast<State*>(self)->use(message->topic,
                                       std::string(bytes, message->payloadlen));
      });
  std::string password;
  if (!options.password_file.empty()) {
    std::ifstream file(options.password_file);
    if (!std::getline(file, password)) Fail(options.password_file);
  }
  if (!options.user.empty()) {
    Check(mosquitto_username_pw_set(client, options.user.c_str(),
                                    password.c_str()),
          "cannot set the user");
  }
  if (!options.ca_file.empty()) {
    Check(mosquitto_tls_set(client, options.ca_file.c_str(), nullptr, nullptr,
                            nullptr, nullptr),
          "cannot use " + options.ca_file);
  }
  Check(mosquitto_connect(client, place.host.c_str(), PortOf(place, options),
                          kKeepAliveSeconds),
        "cannot connect");
  WaitFor([this] { return state_->connected >= 0; }, "no answer");
  if (state_->connected != 0) {
    throw std::runtime_error(where_ + ": " +
                             mosquitto_connack_string(state_->connected));
  }
}

Broker::~Broker() = default;

void Broker::Check(int result, const std::string& what) {
  if (result == MOSQ_ERR_SUCCESS) return;
  throw std::runtime_error(where_ + ": " + what + ": " +
                           (result == MOSQ_ERR_ERRNO
                                ? std::strerror(errno)
                                : mosquitto_strerror(result)));
}

int Broker::descriptor() const { return mosquitto_socket(state_->client); }

void Broker::Loop(int milliseconds) {
  const int result = mosquitto_loop(state_->client, milliseconds, 1);
  // The answer says more than the connection that is closed behind it.
  if (state_->connected <= 0) Check(result, "the connection is lost");
}

void Broker::WaitFor(const std::function<bool()>& done,
                     const std::string& what) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    Loop(100);
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error(where_ + ": " + what);
    }
  }
}

void Broker::Publish(const std::string& topic, const std::string& bytes) {
  int id = 0;
  Check(mosquitto_publish(state_->client, &id, topic.c_str(),
                          static_cast<int>(bytes.size()), bytes.data(),
                          kAtLeastOnce, false),
        "cannot publish to " + topic);
  WaitFor([&] { return state_->published == id; }, "no acknowledgement");
}

void Broker::Subscribe(const std::string& topic, Use use) {
  state_->use = std::move(use);
  Check(
      mosquitto_subscribe(state_->client, nullptr, topic.c_str(), kAtLeastOnce),
      "cannot subscribe to " + topic);
  WaitFor([this] { return state_->subscribed >= 0; }, "no answer");
  if (state_->subscribed > 2) {
    throw std::runtime_error(where_ + ": may not subscribe to " + topic);
  }
}

Descriptor ConnectTo(const Place& place) {
  return Open(
      place.host, place.port, 0, [](int number, const addrinfo& address) {
        return connect(number, address.ai_addr, address.ai_addrlen) == 0;
      });
}

Send SenderTo(const Place& place, const BrokerOptions& options) {
  if (place.scheme == "mqtt") {
    const auto broker = std::make_shared<Broker>(place, options);
    return [broker, topic = place.topic](const std::string& bytes) {
      broker->Publish(topic, bytes);
    };
  }
  const auto socket = std::make_shared<Descriptor>(ConnectTo(place));
  const std::string where = place.host + " port " + place.port;
  return [socket, where](const std::string& bytes) {
    if (send(socket->number(), bytes.data(), bytes.size(), 0) < 0) Fail(where);
  };
}

Descriptor ListenOn(const std::string& address) {
  const bool is_port =
      address.find_first_not_of("0123456789") == std::string::npos;
  const auto [host, port] =
      is_port ? std::pair(std::string(), address) : Split(address);
  CheckPort(port, "udp:" + address);
  return Open(host, port, AI_PASSIVE, [](int number, const addrinfo& name) {
    // Of a group, each gets all; of anything else, it would take the datagrams
    // from a node that listens.
    const int shared = IsMulticast(name);
    setsockopt(number, SOL_SOCKET, SO_REUSEADDR, &shared, sizeof shared);
    return bind(number, name.ai_addr, name.ai_addrlen) == 0 &&
           Join(number, name);
  });
}
