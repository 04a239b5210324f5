// One connection to an MQTT broker, over libmosquitto.
#ifndef EXAMPLES_BROKER_MQTT_CLIENT_H_
#define EXAMPLES_BROKER_MQTT_CLIENT_H_

#include <mosquitto.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

struct Publication {
  std::string topic;
  std::string bytes;
};

// Delivers at least once (quality of service 1): what is published is kept and
// sent again until the broker has it, across lost connections too, and what is
// subscribed to may come twice.
class MqttClient {
 public:
  // Connects to a broker on this machine. The broker keeps the session of this
  // name, and what arrives for it, while the client is away. Throws
  // std::runtime_error when there is no broker.
  MqttClient(const std::string& session, uint16_t port);
  ~MqttClient();
  MqttClient(const MqttClient&) = delete;
  MqttClient& operator=(const MqttClient&) = delete;

  // Returns once the broker has agreed.
  void Subscribe(const std::string& pattern);

  // Hands over to the background. The broker gives a retained publication, the
  // last one of its topic, to everybody who subscribes later. Waits while too
  // many publications are under way.
  void Publish(const std::string& topic, const std::string& bytes,
               bool retained = false);

  // Waits until the broker has everything. False when it does not in time.
  bool Flush(std::chrono::milliseconds wait);

  // Nothing when no publication arrives in time.
  std::optional<Publication> Receive(std::chrono::milliseconds wait);

 private:
  // The library's thread calls these.
  static void OnConnect(mosquitto*, void* self, int result);
  static void OnSubscribe(mosquitto*, void* self, int, int, const int*);
  static void OnPublish(mosquitto*, void* self, int);
  static void OnMessage(mosquitto*, void* self,
                        const mosquitto_message* message);

  // Waits for what one of the calls above brings about.
  template <typename Condition>
  bool WaitFor(std::chrono::milliseconds wait, Condition condition);

  std::mutex mutex_;
  std::condition_variable changed_;
  bool connected_ = false;
  int subscriptions_ = 0;
  int under_way_ = 0;
  std::deque<Publication> arrived_;
  std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> client_;
};

#endif  // EXAMPLES_BROKER_MQTT_CLIENT_H_
