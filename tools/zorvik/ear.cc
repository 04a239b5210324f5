#include "ear.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "capture.h"
#include "command.h"

namespace {

using Clock = std::chrono::steady_clock;

class UdpEar : public Ear {
 public:
  explicit UdpEar(const std::string& address) : socket_(ListenOn(address)) {}
  int descriptor() const override { return socket_.number(); }
  void Hear(const Use& use) override {
    for (int i = 0; i < 1000; ++i) {
      const ssize_t size =
          recv(descriptor(), &buffer_[0], buffer_.size(), MSG_DONTWAIT);
      if (size < 0) return;
      use(buffer_.substr(0, size));
    }
  }

 private:
  const Descriptor socket_;
  std::string buffer_ = std::string(65536, '\0');
};

// Hears all datagrams of a port, or those that look like envelopes.
class InterfaceEar : public Ear {
 public:
  InterfaceEar(const std::string& name, int port,
               std::function<bool(const std::string& bytes)> wanted)
      : port_(port), wanted_(std::move(wanted)) {
    char error[PCAP_ERRBUF_SIZE] = "";
    capture_.reset(pcap_open_live(name.c_str(), 65535, 1, 100, error));
    if (capture_ == nullptr ||
        pcap_setnonblock(capture_.get(), 1, error) != 0) {
      throw std::runtime_error(error);
    }
    bpf_program filter{};
    if (pcap_compile(capture_.get(), &filter, "udp or (vlan and udp)", 1,
                     PCAP_NETMASK_UNKNOWN) == 0) {
      pcap_setfilter(capture_.get(), &filter);
      pcap_freecode(&filter);
    }
  }
  int descriptor() const override {
    return pcap_get_selectable_fd(capture_.get());
  }
  void Hear(const Use& use) override {
    pcap_pkthdr* header = nullptr;
    const uint8_t* packet = nullptr;
    int result = 0;
    for (int i = 0; i < 1000; ++i) {
      result = pcap_next_ex(capture_.get(), &header, &packet);
      if (result != 1) break;
      Datagram datagram;
      if (FindDatagram(pcap_datalink(capture_.get()), *header, packet,
                       &datagram) != Packet::kDatagram) {
        continue;
      }
      if (port_ != 0 ? datagram.source_port == port_ ||
                           datagram.destination_port == port_
                     : wanted_(datagram.payload)) {
        use(datagram.payload);
      }
    }
    if (result < 0) throw std::runtime_error(pcap_geterr(capture_.get()));
  }
  std::string Remark() override {
    pcap_stat stat{};
    if (pcap_stats(capture_.get(), &stat) != 0 || stat.ps_drop == 0) return "";
    return std::to_string(stat.ps_drop) + " packets were too many to hear";
  }

 private:
  std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture_{nullptr, pcap_close};
  const int port_;
  const std::function<bool(const std::string& bytes)> wanted_;
};

// Connects again when the broker goes away.
class BrokerEar : public Ear {
 public:
  BrokerEar(const Place& place, const BrokerOptions& options)
      : place_(place), options_(options) {
    Connect();
  }
  int descriptor() const override {
    return broker_ == nullptr ? -1 : broker_->descriptor();
  }
  void Hear(const Use& use) override {
    const Clock::time_point now = Clock::now();
    try {
      if (broker_ != nullptr) {
        broker_->Loop(0);
      } else if (now >= next_try_) {
        Connect();
      }
    } catch (const std::runtime_error& error) {
      broker_.reset();
      trouble_ = error.what();
      next_try_ = now + std::chrono::seconds(1);
    }
    for (const std::string& bytes : heard_) use(bytes);
    heard_.clear();
  }
  std::string Trouble() const override {
    return broker_ == nullptr ? trouble_ : "";
  }

 private:
  void Connect() {
    auto broker = std::make_unique<Broker>(place_, options_);
    broker->Subscribe(place_.topic,
                      [this](const std::string&, const std::string& bytes) {
                        heard_.push_back(bytes);
                      });
    broker_ = std::move(broker);
  }

  const Place place_;
  const BrokerOptions options_;
  std::unique_ptr<Broker> broker_;
  std::string trouble_;
  Clock::time_point next_try_;
  std::vector<std::string> heard_;
};

}  // namespace

std::unique_ptr<Ear> EarAt(const std::string& place,
                           const EarOptions& options) {
  const std::string scheme = place.substr(0, place.find(':'));
  const std::string rest =
      place.substr(std::min(scheme.size() + 1, place.size()));
  if (!rest.empty() && scheme == "udp") return std::make_unique<UdpEar>(rest);
  if (!rest.empty() && scheme == "if") {
    return std::make_unique<InterfaceEar>(rest, options.port, options.wanted);
  }
  if (scheme == "mqtt") {
    return std::make_unique<BrokerEar>(PlaceOf(place), options.broker);
  }
  throw WrongUse(place +
                 " is none of udp:PORT, udp:HOST:PORT, if:INTERFACE and "
                 "mqtt:HOST:PORT/TOPIC");
}

void Listen(const std::vector<std::unique_ptr<Ear>>& ears, int milliseconds,
            const Ear::Use& use) {
  std::vector<pollfd> all = {{STDIN_FILENO, POLLIN, 0}};
  if (!isatty(STDIN_FILENO)) all[0].fd = -1;
  for (const auto& ear : ears) all.push_back({ear->descriptor(), POLLIN, 0});
  // A broker has to be talked to now and then.
  poll(all.data(), all.size(), std::min(milliseconds, 500));
  for (const auto& ear : ears) ear->Hear(use);
}
