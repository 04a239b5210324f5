#include "udp_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "capture.h"

namespace {

constexpr size_t kLargestDatagram = 65507;

std::optional<Capture> capture;

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int Opened() {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) Fail("cannot open a UDP socket");
  return fd;
}

void Wait(pollfd* sockets, nfds_t count, std::chrono::milliseconds wait) {
  if (poll(sockets, count, static_cast<int>(wait.count())) < 0) {
    Fail("cannot wait for a datagram");
  }
}

}  // namespace

Address LocalAddress(uint16_t port) {
  Address address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

UdpSocket::UdpSocket(uint16_t port) : fd_(Opened()) {
  const Address address = LocalAddress(port);
  if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
      0) {
    const int reason = errno;
    close(fd_);
    errno = reason;
    Fail("cannot use UDP port " + std::to_string(port) +
         " (--port chooses another)");
  }
}

UdpSocket::~UdpSocket() { close(fd_); }

void UdpSocket::CaptureInto(const std::string& path) { capture.emplace(path); }

uint16_t UdpSocket::port() const { return ntohs(address().sin_port); }

Address UdpSocket::address() const {
  Address address = {};
  socklen_t size = sizeof address;
  if (getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    Fail("cannot ask a socket for its address");
  }
  return address;
}

void UdpSocket::Send(const std::string& bytes, const Address& to) {
  const ssize_t sent =
      sendto(fd_, bytes.data(), bytes.size(), 0,
             reinterpret_cast<const sockaddr*>(&to), sizeof to);
  if (sent != static_cast<ssize_t>(bytes.size())) {
    Fail("cannot send to UDP port " + std::to_string(ntohs(to.sin_port)));
  }
  if (capture) capture->Add(address(), to, bytes);
}

std::optional<Datagram> UdpSocket::Receive(std::chrono::milliseconds wait) {
  pollfd readable = {fd_, POLLIN, 0};
  Wait(&readable, 1, wait);
  if (readable.revents == 0) return std::nullopt;
  Datagram datagram = {std::string(kLargestDatagram, '\0'), {}};
  socklen_t size = sizeof datagram.from;
  const ssize_t received =
      recvfrom(fd_, datagram.bytes.data(), datagram.bytes.size(), 0,
               reinterpret_cast<sockaddr*>(&datagram.from), &size);
  if (received < 0) Fail("cannot receive a datagram");
  datagram.bytes.resize(static_cast<size_t>(received));
  if (capture) capture->Add(datagram.from, address(), datagram.bytes);
  return datagram;
}

bool UdpSocket::IsFirst(const UdpSocket& other,
                        std::chrono::milliseconds wait) const {
  std::array<pollfd, 2> sockets = {{{fd_, POLLIN, 0}, {other.fd_, POLLIN, 0}}};
  Wait(sockets.data(), sockets.size(), wait);
  return sockets[0].revents != 0;
}
