#include "mqtt_client.h"

#include <mqtt_protocol.h>

#include <cstdlib>
#include <random>
#include <stdexcept>

namespace {

constexpr int kAtLeastOnce = 1;
constexpr int kMostUnderWay = 500;
// More than the senders together can have under way.
constexpr size_t kRememberedNumbers = 10000;
constexpr char kNumber[] = "publication";
constexpr std::chrono::seconds kPatience(20);
constexpr uint32_t kKeepSessionSeconds = 3600;

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

MqttClient* Self(void* self) { return static_cast<MqttClient*>(self); }

}  // namespace

MqttClient::MqttClient(const std::string& session, uint16_t port)
    : run_(RandomRun()), client_(nullptr, &mosquitto_destroy) {
  mosquitto_lib_init();
  constexpr bool kForgetSession = false;
  client_.reset(mosquitto_new(session.c_str(), kForgetSession, this));
  if (!client_) throw std::runtime_error("cannot make an MQTT client");
  mosquitto_connect_callback_set(client_.get(), &OnConnect);
  mosquitto_subscribe_callback_set(client_.get(), &OnSubscribe);
  mosquitto_publish_callback_set(client_.get(), &OnPublish);
  mosquitto_message_v5_callback_set(client_.get(), &OnMessage);
  mosquitto_reconnect_delay_set(client_.get(), 1, 1, false);
  Check(mosquitto_int_option(client_.get(), MOSQ_OPT_PROTOCOL_VERSION,
                             MQTT_PROTOCOL_V5),
        "cannot choose MQTT 5");
  Properties properties;
  Check(mosquitto_property_add_int32(properties.out(),
                                     MQTT_PROP_SESSION_EXPIRY_INTERVAL,
                                     kKeepSessionSeconds),
        "cannot ask for a session");
  Check(mosquitto_connect_bind_v5(client_.get(), "127.0.0.1", port, 10, nullptr,
                                  properties.get()),
        "cannot connect to a broker on port " + std::to_string(port));
  Check(mosquitto_loop_start(client_.get()), "cannot start the MQTT client");
  if (!WaitFor(kPatience, [this] { return connected_; })) {
    throw std::runtime_error("the broker does not answer");
  }
}

MqttClient::~MqttClient() {
  mosquitto_disconnect(client_.get());
  mosquitto_loop_stop(client_.get(), false);
}

void MqttClient::Subscribe(const std::string& pattern) {
  const int before = subscriptions_;
  Check(mosquitto_subscribe(client_.get(), nullptr, pattern.c_str(),
                            kAtLeastOnce),
        "cannot subscribe to " + pattern);
  if (!WaitFor(kPatience, [&] { return subscriptions_ > before; })) {
    throw std::runtime_error("the broker does not take the subscription to " +
                             pattern);
  }
}

void MqttClient::Publish(const std::string& topic, const std::string& bytes,
                         bool retained) {
  if (!WaitFor(kPatience, [this] { return under_way_ < kMostUnderWay; })) {
    throw std::runtime_error("the broker takes nothing any more");
  }
  std::string number = run_ + "-";
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++under_way_;
    number += std::to_string(++published_);
  }
  Properties properties;
  Check(mosquitto_property_add_string_pair(
            properties.out(), MQTT_PROP_USER_PROPERTY, kNumber, number.c_str()),
        "cannot number a publication");
  const int result = mosquitto_publish_v5(
      client_.get(), nullptr, topic.c_str(), static_cast<int>(bytes.size()),
      bytes.data(), kAtLeastOnce, retained, properties.get());
  // Without a connection the client keeps it and sends it later.
  if (result != MOSQ_ERR_NO_CONN) Check(result, "cannot publish to " + topic);
}

bool MqttClient::Flush(std::chrono::milliseconds wait) {
  return WaitFor(wait, [this] { return under_way_ == 0; });
}

std::optional<Publication> MqttClient::Receive(std::chrono::milliseconds wait) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!changed_.wait_for(lock, wait, [this] { return !arrived_.empty(); })) {
    return std::nullopt;
  }
  Publication publication = std::move(arrived_.front());
  arrived_.pop_front();
  return publication;
}

template <typename Condition>
bool MqttClient::WaitFor(std::chrono::milliseconds wait, Condition condition) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, wait, condition);
}

void MqttClient::OnConnect(mosquitto*, void* self, int result) {
  const std::lock_guard<std::mutex> lock(Self(self)->mutex_);
  Self(self)->connected_ = result == 0;
  Self(self)->changed_.notify_all();
}

void MqttClient::OnSubscribe(mosquitto*, void* self, int, int, const int*) {
  const std::lock_guard<std::mutex> lock(Self(self)->mutex_);
  ++Self(self)->subscriptions_;
  Self(self)->changed_.notify_all();
}

void MqttClient::OnPublish(mosquitto*, void* self, int) {
  const std::lock_guard<std::mutex> lock(Self(self)->mutex_);
  --Self(self)->under_way_;
  Self(self)->changed_.notify_all();
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
