// A record of datagrams that Wireshark and tshark open.
#ifndef EXAMPLES_EXCHANGE_CAPTURE_H_
#define EXAMPLES_EXCHANGE_CAPTURE_H_

#include <netinet/in.h>

#include <fstream>
#include <string>

// Writes datagrams into a capture file of the pcap format, each behind the IPv4
// and UDP headers that it has on the wire.
class Capture {
 public:
  // Overwrites the file. Throws std::system_error when it cannot be written.
  explicit Capture(const std::string& path);

  // Throws std::system_error when the file takes no more.
  void Add(const sockaddr_in& from, const sockaddr_in& to,
           const std::string& datagram);

 private:
  std::ofstream file_;
};

#endif  // EXAMPLES_EXCHANGE_CAPTURE_H_
