#include "mqtt_client.h"

#include <mqtt_protocol.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <stdexcept>

namespace {

constexpr int kAtLeastOnce = 1;
constexpr size_t kMostUnderWay = 500;
// More than the senders together can have under way.
constexpr size_t kRememberedNumbers = 10000;
constexpr char kNumber[] = "publication";
constexpr std::chrono::seconds kPatience(20);
constexpr int kKeepAliveSeconds = 10;
constexpr uint32_t kKeepSessionSeconds = 3600;
// MQTT 5: reason codes from here on are failures.
constexpr int kRefused = 0x80;

void Check(int result, const std::string& what) {
  if (result != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error(what + ": " + mosquitto_strerror(result));
  }
}

// Properties of a packet, to be filled and freed.
class Properties {
 public:
  Properties() = default;
  ~Properties() { mosquitto_property_free_all(&list_); }
  Properties(const Properties&) = delete;
  Properties& operator=(const Properties&) = delete;

  mosquitto_property** out() { return &list_; }
  const mosquitto_property* get() const { return list_; }

 private:
  mosquitto_property* list_ = nullptr;
};

// The number of a publication. Empty when it has none.
std::string NumberIn(const mosquitto_property* properties) {
  std::string number;
  for (bool skip_first = false; properties != nullptr; skip_first = true) {
    char* name = nullptr;
    char* value = nullptr;
    properties = mosquitto_property_read_string_pair(
        properties, MQTT_PROP_USER_PROPERTY, &name, &value, skip_first);
    if (properties != nullptr && std::string(name) == kNumber) number = value;
    std::free(name);
    std::free(value);
  }
  return number;
}

std::string RandomRun() {
  std::random_device device;
  return std::to_string(device()) + "-" + std::to_string(device());
}

int PortOf(const Broker& broker) {
  if (broker.port != 0) return broker.port;
  return broker.ca_file.empty() ? 1883 : 8883;
}

MqttClient* Self(void* self) { return static_cast<MqttClient*>(self); }

}  // namespace

MqttClient::MqttClient(const Broker& broker, const std::string& session,
                       std::optional<Presence> presence)
    : where_(broker.host + " port " + std::to_string(PortOf(broker))),
      presence_(std::move(presence)),
      run_(RandomRun()) {
  // TLS may write to a connection that the broker has just closed.
  std::signal(SIGPIPE, SIG_IGN);
  mosquitto_lib_init();
  constexpr bool kForgetSession = false;
  client_.reset(mosquitto_new(session.c_str(), kForgetSession, this));
  if (!client_) throw std::runtime_error("cannot make an MQTT client");
  mosquitto_connect_v5_callback_set(client_.get(), &OnConnect);
  mosquitto_disconnect_v5_callback_set(client_.get(), &OnDisconnect);
  mosquitto_subscribe_v5_callback_set(client_.get(), &OnSubscribe);
  mosquitto_publish_v5_callback_set(client_.get(), &OnPublish);
  mosquitto_message_v5_callback_set(client_.get(), &OnMessage);
  mosquitto_log_callback_set(client_.get(), &OnLog);
  Connect(broker);
}

void MqttClient::Connect(const Broker& broker) {
  mosquitto* const client = client_.get();
  mosquitto_reconnect_delay_set(client, 1, 1, false);
  Check(
      mosquitto_int_option(client, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5),
      "cannot choose MQTT 5");
  if (!broker.user.empty()) {
    Check(mosquitto_username_pw_set(
              client, broker.user.c_str(),
              broker.password.empty() ? nullptr : broker.password.c_str()),
          "cannot set the user");
  }
  if (!broker.ca_file.empty()) {
    if (!std::ifstream(broker.ca_file)) {
      throw std::runtime_error("cannot read " + broker.ca_file + ": " +
                               std::strerror(errno));
    }
    Check(mosquitto_tls_set(client, broker.ca_file.c_str(), nullptr, nullptr,
                            nullptr, nullptr),
          "cannot use " + broker.ca_file);
  }
  if (presence_) {
    Check(mosquitto_will_set_v5(client, presence_->topic.c_str(),
                                static_cast<int>(presence_->gone.size()),
                                presence_->gone.data(), kAtLeastOnce,
                                /*retain=*/true, nullptr),
          "cannot set a last will");
  }
  Properties properties;
  Check(mosquitto_property_add_int32(properties.out(),
                                     MQTT_PROP_SESSION_EXPIRY_INTERVAL,
                                     kKeepSessionSeconds),
        "cannot ask for a session");
  const int result =
      mosquitto_connect_bind_v5(client, broker.host.c_str(), PortOf(broker),
                                kKeepAliveSeconds, nullptr, properties.get());
  if (result != MOSQ_ERR_SUCCESS) {
    throw std::runtime_error(NoConnection(mosquitto_strerror(result)));
  }
  Check(mosquitto_loop_start(client), "cannot start the MQTT client");
  // The library ends without a callback when TLS fails.
  std::unique_lock<std::mutex> lock(mutex_);
  const auto connected = [this] { return connections_ > 0; };
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!WaitFor(&lock, std::chrono::milliseconds(100), connected)) {
    if (HasLoggedError() || std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error(NoConnection("no answer"));
    }
  }
  lock.unlock();
  // The library writes several lines for each publication, if they are taken.
  mosquitto_log_callback_set(client, nullptr);
}

void MqttClient::End::operator()(mosquitto* client) const {
  // The broker publishes the last will of a client that leaves, too.
  mosquitto_disconnect_v5(client, MQTT_RC_DISCONNECT_WITH_WILL_MSG, nullptr);
  mosquitto_loop_stop(client, false);
  mosquitto_destroy(client);
}

void MqttClient::Subscribe(const std::string& pattern) {
  std::unique_lock<std::mutex> lock(mutex_);
  WaitFor(&lock, kPatience, [] { return true; });  // Throws after a failure.
  granted_.reset();
  Check(mosquitto_subscribe_v5(client_.get(), nullptr, pattern.c_str(),
                               kAtLeastOnce, 0, nullptr),
        "cannot subscribe to " + pattern);
  if (!WaitFor(&lock, kPatience, [this] { return granted_.has_value(); })) {
    throw std::runtime_error("no answer to the subscription to " + pattern);
  }
  if (*granted_ >= kRefused) {
    throw std::runtime_error("the broker refuses the subscription to " +
                             pattern + ": " +
                             mosquitto_reason_string(*granted_));
  }
}

void MqttClient::Publish(const std::string& topic, const std::string& bytes,
                         bool retained) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!WaitFor(&lock, kPatience,
               [this] { return under_way_.size() < kMostUnderWay; })) {
    throw std::runtime_error("the broker takes nothing any more");
  }
  Send(topic, bytes, retained);
}

void MqttClient::Send(const std::string& topic, const std::string& bytes,
                      bool retained) {
  const std::string number = run_ + "-" + std::to_string(++published_);
  Properties properties;
  Check(mosquitto_property_add_string_pair(
            properties.out(), MQTT_PROP_USER_PROPERTY, kNumber, number.c_str()),
        "cannot number a publication");
  int id;
  const int result = mosquitto_publish_v5(
      client_.get(), &id, topic.c_str(), static_cast<int>(bytes.size()),
      bytes.data(), kAtLeastOnce, retained, properties.get());
  // Without a connection the client keeps it and sends it later.
  if (result != MOSQ_ERR_NO_CONN) Check(result, "cannot publish to " + topic);
  under_way_[id] = topic;
}

void MqttClient::SayConnected() {
  if (!presence_) return;
  try {
    Send(presence_->topic, presence_->connected, /*retained=*/true);
  } catch (const std::exception& error) {
    failure_ = error.what();  // The library is C and lets nothing through.
  }
}

bool MqttClient::Flush(std::chrono::milliseconds wait) {
  std::unique_lock<std::mutex> lock(mutex_);
  return WaitFor(&lock, wait, [this] { return under_way_.empty(); });
}

std::optional<Publication> MqttClient::Receive(std::chrono::milliseconds wait) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!WaitFor(&lock, wait, [this] { return !arrived_.empty(); })) {
    return std::nullopt;
  }
  Publication publication = std::move(arrived_.front());
  arrived_.pop_front();
  return publication;
}

bool MqttClient::AwaitReconnections(int count, std::chrono::milliseconds wait) {
  std::unique_lock<std::mutex> lock(mutex_);
  return WaitFor(&lock, wait, [&] { return connections_ > count; });
}

template <typename Condition>
bool MqttClient::WaitFor(std::unique_lock<std::mutex>* lock,
                         std::chrono::milliseconds wait, Condition condition) {
  const bool met = changed_.wait_for(
      *lock, wait, [&] { return !failure_.empty() || condition(); });
  if (!failure_.empty()) throw std::runtime_error(failure_);
  return met;
}

bool MqttClient::HasLoggedError() {
  const std::lock_guard<std::mutex> lock(log_mutex_);
  return !logged_error_.empty();
}

// The library's own words are the better ones where it has any, as for TLS.
std::string MqttClient::NoConnection(const std::string& reason) {
  const std::lock_guard<std::mutex> lock(log_mutex_);
  return "cannot connect to a broker at " + where_ + ": " +
         (logged_error_.empty() ? reason : logged_error_);
}

void MqttClient::OnConnect(mosquitto*, void* self, int reason, int,
                           const mosquitto_property*) {
  MqttClient* const client = Self(self);
  const std::lock_guard<std::mutex> lock(client->mutex_);
  if (reason != 0) {
    // A broker that knows no MQTT 5 answers with a code of MQTT 3.1.1.
    client->failure_ = "the broker at " + client->where_ +
                       " refuses the connection: " +
                       (reason < kRefused ? mosquitto_connack_string(reason)
                                          : mosquitto_reason_string(reason));
  } else {
    ++client->connections_;
    client->SayConnected();
  }
  client->changed_.notify_all();
}

void MqttClient::OnDisconnect(mosquitto*, void* self, int reason,
                              const mosquitto_property*) {
  MqttClient* const client = Self(self);
  const std::lock_guard<std::mutex> lock(client->mutex_);
  if (!client->failure_.empty()) return;
  if (reason >= kRefused) {
    client->failure_ = std::string("the broker ends the connection: ") +
                       mosquitto_reason_string(reason);
  } else if (client->connections_ == 0 && reason != 0) {
    client->failure_ = client->NoConnection(reason == MOSQ_ERR_KEEPALIVE
                                                ? "no answer"
                                                : mosquitto_strerror(reason));
  }
  client->changed_.notify_all();
}

void MqttClient::OnSubscribe(mosquitto*, void* self, int, int count,
                             const int* granted, const mosquitto_property*) {
  const std::lock_guard<std::mutex> lock(Self(self)->mutex_);
  if (count > 0) Self(self)->granted_ = granted[0];
  Self(self)->changed_.notify_all();
}

void MqttClient::OnPublish(mosquitto*, void* self, int id, int reason,
                           const mosquitto_property*) {
  MqttClient* const client = Self(self);
  const std::lock_guard<std::mutex> lock(client->mutex_);
  if (reason >= kRefused && client->failure_.empty()) {
    client->failure_ = "the broker refuses a publication to " +
                       client->under_way_[id] + ": " +
                       mosquitto_reason_string(reason);
  }
  client->under_way_.erase(id);
  client->changed_.notify_all();
}

void MqttClient::OnMessage(mosquitto*, void* self,
                           const mosquitto_message* message,
                           const mosquitto_property* properties) {
  const auto* bytes = static_cast<const char*>(message->payload);
  const std::lock_guard<std::mutex> lock(Self(self)->mutex_);
  Self(self)->arrived_.push_back(
      {message->topic,
       std::string(bytes, static_cast<size_t>(message->payloadlen)),
       Self(self)->ArrivedBefore(NumberIn(properties))});
  Self(self)->changed_.notify_all();
}

void MqttClient::OnLog(mosquitto*, void* self, int level, const char* text) {
  if (level != MOSQ_LOG_ERR) return;
  const std::lock_guard<std::mutex> lock(Self(self)->log_mutex_);
  Self(self)->logged_error_ = text;
}

bool MqttClient::ArrivedBefore(std::string number) {
  if (number.empty()) return false;
  if (!known_numbers_.insert(number).second) return true;
  last_numbers_.push_back(std::move(number));
  if (last_numbers_.size() > kRememberedNumbers) {
    known_numbers_.erase(last_numbers_.front());
    last_numbers_.pop_front();
  }
  return false;
}
