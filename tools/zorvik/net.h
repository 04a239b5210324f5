// Where messages are sent to and heard from: UDP and MQTT brokers.
#ifndef TOOLS_ZORVIK_NET_H_
#define TOOLS_ZORVIK_NET_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// As in "udp:HOST:PORT" and "mqtt:HOST:PORT/TOPIC"; an IPv6 address is between
// brackets.
struct Place {
  std::string scheme, host, port, topic;
};
// Throws WrongUse, unless the scheme is "udp" or "mqtt" and all of it is there.
// A broker's port may be missing.
Place PlaceOf(const std::string& text);

struct BrokerOptions {
  std::string user, password_file, ca_file;
};
void AddBrokerOptions(CLI::App* app, BrokerOptions* options);
// Throws WrongUse when there are some and none of the places is at a broker.
void CheckBrokerOptions(const BrokerOptions& options,
                        const std::vector<std::string>& places);

// A file descriptor that is closed.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(other.number_) {
    other.number_ = -1;
  }
  Descriptor& operator=(Descriptor&&) = delete;
  int number() const { return number_; }

 private:
  int number_;
};

// A connection to a broker. All of it throws std::runtime_error.
class Broker {
 public:
  using Use =
      std::function<void(const std::string& topic, const std::string& bytes)>;

  // Waits until the broker has taken it.
  Broker(const Place& place, const BrokerOptions& options);
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  // Waits until the broker has acknowledged it.
  void Publish(const std::string& topic, const std::string& bytes);
  // Waits until the broker has taken it; what comes then goes to the function.
  void Subscribe(const std::string& topic, Use use);
  // Lets that much time pass for what comes.
  void Loop(int milliseconds);
  // Of its socket.
  int descriptor() const;

 private:
  struct State;
  void Check(int result, const std::string& what);
  void WaitFor(const std::function<bool()>& done, const std::string& what);

  const std::string where_;
  const std::unique_ptr<State> state_;
};

// Sends messages to a place, each in a datagram or publication of its own.
// Throws std::runtime_error.
using Send = std::function<void(const std::string& bytes)>;
Send SenderTo(const Place& place, const BrokerOptions& options);

// A UDP socket from which all goes to a place. Throws std::runtime_error.
Descriptor ConnectTo(const Place& place);

// A socket that hears what is sent to "HOST:PORT" or "PORT", also to a
// multicast address. Throws std::runtime_error.
Descriptor ListenOn(const std::string& address);

#endif  // TOOLS_ZORVIK_NET_H_
