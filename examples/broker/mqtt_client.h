// One connection to an MQTT broker, over libmosquitto.
#ifndef EXAMPLES_BROKER_MQTT_CLIENT_H_
#define EXAMPLES_BROKER_MQTT_CLIENT_H_

#include <mosquitto.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_set>

// Where the broker is, and as whom to connect.
struct Broker {
  std::string host = "127.0.0.1";
  uint16_t port = 0;  // 0: 1883, or 8883 with TLS.
  std::string user;   // Empty: without a user.
  std::string password;
  // With a file of CA certificates (PEM): TLS. The broker's certificate has to
  // be of one of them, and for this host.
  std::string ca_file;
};

// A retained publication that says whether the client is connected. The client
// publishes it each time it has connected; the other one is its last will,
// which the broker publishes when the connection breaks or ends.
struct Presence {
  std::string topic;
  std::string connected;
  std::string gone;
};

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
//
// Every call throws std::runtime_error, with the broker's reason, once the
// broker has refused something or has ended the connection.
class MqttClient {
 public:
  // The broker keeps the session of this name, and what arrives for it, while
  // the client is away. Throws std::runtime_error when there is no connection.
  MqttClient(const Broker& broker, const std::string& session,
             std::optional<Presence> presence = std::nullopt);
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

  // Waits until it has connected again this many times. False when it has not
  // in time.
  bool AwaitReconnections(int count, std::chrono::milliseconds wait);

 private:
  // Disconnects, and ends the library's thread.
  struct End {
    void operator()(mosquitto* client) const;
  };

  // The library's thread calls these.
  static void OnConnect(mosquitto*, void* self, int reason, int,
                        const mosquitto_property*);
  static void OnDisconnect(mosquitto*, void* self, int reason,
                           const mosquitto_property*);
  static void OnSubscribe(mosquitto*, void* self, int, int count,
                          const int* granted, const mosquitto_property*);
  static void OnPublish(mosquitto*, void* self, int id, int reason,
                        const mosquitto_property*);
  static void OnMessage(mosquitto*, void* self,
                        const mosquitto_message* message,
                        const mosquitto_property* properties);
  static void OnLog(mosquitto*, void* self, int level, const char* text);

  void Connect(const Broker& broker);
  void Send(const std::string& topic, const std::string& bytes, bool retained);
  void SayConnected();
  // Whether a publication of this number arrived before; remembers it.
  bool ArrivedBefore(std::string number);
  bool HasLoggedError();
  std::string NoConnection(const std::string& reason);

  // Waits for what one of the callbacks brings about.
  template <typename Condition>
  bool WaitFor(std::unique_lock<std::mutex>* lock,
               std::chrono::milliseconds wait, Condition condition);

  const std::string where_;
  const std::optional<Presence> presence_;
  // No two clients, or runs of one, have the same.
  const std::string run_;

  std::mutex log_mutex_;
  std::string logged_error_;

  // Guards all below. It is held during calls of the library, too: they may be
  // made in callbacks, and so take no lock that is held while a callback runs.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string failure_;
  int connections_ = 0;
  std::optional<int> granted_;
  std::map<int, std::string> under_way_;  // Topics, by the library's id.
  std::deque<Publication> arrived_;
  uint64_t published_ = 0;
  // The last numbers that arrived, the oldest first, and the same to look up.
  std::deque<std::string> last_numbers_;
  std::unordered_set<std::string> known_numbers_;
  std::unique_ptr<mosquitto, End> client_;
};

#endif  // EXAMPLES_BROKER_MQTT_CLIENT_H_
