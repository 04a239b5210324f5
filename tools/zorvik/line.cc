#include "line.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <utility>

#include "command.h"

namespace {

struct Address {
  sockaddr_storage name{};
  socklen_t size = 0;  // 0 while it is not known.
};

Address AddressOf(const Place& place) {
  const Descriptor socket = ConnectTo(place);
  Address address;
  address.size = sizeof address.name;
  getpeername(socket.number(), reinterpret_cast<sockaddr*>(&address.name),
              &address.size);
  return address;
}

class UdpLine : public Line {
 public:
  UdpLine(Descriptor socket, Side side, const Address& device)
      : socket_(std::move(socket)), side_(side), from_{device, device} {}

  void Send(const std::string& bytes) override {
    ssize_t sent = 0;
    if (side_ == Side::kDevice) {
      sent = send(socket_.number(), bytes.data(), bytes.size(), 0);
    } else {
      const bool frame = !bytes.empty() && bytes[0] == 0;
      const Address& to = from_[from_[frame].size > 0 ? frame : !frame];
      if (to.size == 0) return;
      sent = sendto(socket_.number(), bytes.data(), bytes.size(), 0,
                    reinterpret_cast<const sockaddr*>(&to.name), to.size);
    }
    if (sent < 0 && errno != ECONNREFUSED && errno != ENOBUFS) {
      throw std::runtime_error(std::string("cannot send: ") +
                               std::strerror(errno));
    }
  }

  std::optional<std::string> Receive(int milliseconds) override {
    pollfd one{socket_.number(), POLLIN, 0};
    if (poll(&one, 1, milliseconds) <= 0) return std::nullopt;
    Address from;
    from.size = sizeof from.name;
    const ssize_t size =
        recvfrom(socket_.number(), &buffer_[0], buffer_.size(), MSG_DONTWAIT,
                 reinterpret_cast<sockaddr*>(&from.name), &from.size);
    if (size < 0) return std::nullopt;  // Nobody listens there yet.
    std::string bytes = buffer_.substr(0, static_cast<size_t>(size));
    from_[!bytes.empty() && bytes[0] == 0] = from;
    return bytes;
  }

 private:
  const Descriptor socket_;
  const Side side_;
  // A device may have a socket for envelopes and another one for frames.
  Address from_[2];
  std::string buffer_ = std::string(65536, '\0');
};

class BrokerLine : public Line {
 public:
  BrokerLine(const Place& place, Side side, const BrokerOptions& options)
      : broker_(place, options),
        topic_(place.topic + (side == Side::kDevice ? "/out" : "/in")) {
    broker_.Subscribe(place.topic + (side == Side::kDevice ? "/in" : "/out"),
                      [this](const std::string&, const std::string& bytes) {
                        received_.push_back(bytes);
                      });
  }

  void Send(const std::string& bytes) override {
    broker_.Publish(topic_, bytes);
  }

  std::optional<std::string> Receive(int milliseconds) override {
    if (received_.empty()) broker_.Loop(milliseconds);
    if (received_.empty()) return std::nullopt;
    std::string bytes = std::move(received_.front());
    received_.pop_front();
    return bytes;
  }

 private:
  Broker broker_;
  const std::string topic_;
  std::deque<std::string> received_;
};

}  // namespace

std::unique_ptr<Line> LineAt(const std::string& text, Side side,
                             const BrokerOptions& options,
                             const std::string& device) {
  const Place place = PlaceOf(text);
  const Place device_place = device.empty() ? Place() : PlaceOf(device);
  CheckBrokerOptions(options, {text});
  if (!device.empty() &&
      (place.scheme == "mqtt" || device_place.scheme == "mqtt")) {
    throw WrongUse("the address of a device is for UDP");
  }
  if (place.scheme == "mqtt") {
    return std::make_unique<BrokerLine>(place, side, options);
  }
  return std::make_unique<UdpLine>(
      side == Side::kDevice ? ConnectTo(place) : ListenOn(text.substr(4)), side,
      device.empty() ? Address() : AddressOf(device_place));
}
