// Datagrams on the loopback address, with bounded waits.
#ifndef EXAMPLES_EXCHANGE_UDP_SOCKET_H_
#define EXAMPLES_EXCHANGE_UDP_SOCKET_H_

#include <netinet/in.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

// Where a datagram came from or goes to.
using Address = sockaddr_in;

// The address of a port on this machine.
Address LocalAddress(uint16_t port);

struct Datagram {
  std::string bytes;
  Address from;
};

// Every failure throws std::system_error and says what was tried.
class UdpSocket {
 public:
  // Port 0 lets the system choose.
  explicit UdpSocket(uint16_t port);
  ~UdpSocket();
  UdpSocket(const UdpSocket&) = delete;
  UdpSocket& operator=(const UdpSocket&) = delete;

  // From here on, all sockets of this program add what they send and receive
  // to a capture file.
  static void CaptureInto(const std::string& path);

  uint16_t port() const;

  void Send(const std::string& bytes, const Address& to);

  // Nothing when no datagram arrives in time.
  std::optional<Datagram> Receive(std::chrono::milliseconds wait);

  // True when a datagram is waiting at this socket, false when one is waiting
  // at the other or the time is over.
  bool IsFirst(const UdpSocket& other, std::chrono::milliseconds wait) const;

 private:
  Address address() const;

  const int fd_;
};

#endif  // EXAMPLES_EXCHANGE_UDP_SOCKET_H_
