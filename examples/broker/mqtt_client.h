// One connection to an MQTT broker, over libmosquitto.
#ifndef EXAMPLES_BROKER_MQTT_CLIENT_H_
#define EXAMPLES_BROKER_MQTT_CLIENT_H_

#include <mosquitto.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>

struct Publication {
  std::string topic;
  std::string bytes;
  // The same publication arrived before. Another one with equal bytes is none.
  bool repeated;
};

// Delivers at least once (quality of service 1): what is published is kept and
// sent again until the broker has it, across lost connections too, and what is
// subscribed to may come twice.
//
// This example's own choice: each publication has a number in a user property
// of MQTT 5, "publication", which is the same when it is delivered again. MQTT
// itself marks only each hop, by its DUP flag and packet id, and the client
// library does not pass these on.
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
                        const mosquitto_message* message,
                        const mosquitto_property* properties);

  // Whether a publication of this number arrived before; remembers it.
  bool ArrivedBefore(std::string number);

  // Waits for what one of the calls above brings about.
  template <typename Condition>
  bool WaitFor(std::chrono::milliseconds wait, Condition condition);

  std::mutex mutex_;
  std::condition_variable changed_;
  bool connected_ = false;
  int subscriptions_ = 0;
  int under_way_ = 0;
  std::deque<Publication> arrived_;
  // No two clients, or runs of one, have the same.
  const std::string run_;
  uint64_t published_ = 0;
  // The last numbers that arrived, the oldest first, and the same to look up.
  std::deque<std::string> last_numbers_;
  std::unordered_set<std::string> known_numbers_;
  std::unique_ptr<mosquitto, decltype(&mosquitto_destroy)> client_;
};

#endif  // EXAMPLES_BROKER_MQTT_CLIENT_H_
