#include "capture.h"

#include <netinet/ip.h>
#include <netinet/udp.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <system_error>

namespace {

// Both in the byte order of this machine, which the magic number tells.
struct FileHeader {
  uint32_t magic = 0xa1b2c3d4;  // Time stamps in microseconds.
  uint16_t major = 2;
  uint16_t minor = 4;
  int32_t time_zone = 0;
  uint32_t accuracy = 0;
  uint32_t longest = 65535;
  uint32_t link_type = 228;  // IPv4 packets without a link layer.
};

struct RecordHeader {
  uint32_t seconds;
  uint32_t microseconds;
  uint32_t stored;
  uint32_t original;
};

// The Internet checksum.
uint16_t Checksum(const iphdr& header) {
  uint16_t words[sizeof header / 2];
  std::memcpy(words, &header, sizeof header);
  uint32_t sum = 0;
  for (const uint16_t word : words) sum += word;
  sum = (sum & 0xffff) + (sum >> 16);
  return static_cast<uint16_t>(~(sum + (sum >> 16)));
}

template <typename Header>
void Append(const Header& header, std::string* bytes) {
  bytes->append(reinterpret_cast<const char*>(&header), sizeof header);
}

}  // namespace

Capture::Capture(const std::string& path)
    : file_(path, std::ios::binary | std::ios::trunc) {
  std::string bytes;
  Append(FileHeader(), &bytes);
  if (!(file_ << bytes << std::flush)) {
    throw std::system_error(errno, std::generic_category(),
                            "cannot write " + path);
  }
}

void Capture::Add(const sockaddr_in& from, const sockaddr_in& to,
                  const std::string& datagram) {
  udphdr udp = {};  // Its checksum is left out, which IPv4 allows.
  udp.source = from.sin_port;
  udp.dest = to.sin_port;
  udp.len = htons(static_cast<uint16_t>(sizeof udp + datagram.size()));

  iphdr ip = {};
  ip.version = 4;
  ip.ihl = sizeof ip / 4;
  ip.tot_len =
      htons(static_cast<uint16_t>(sizeof ip + sizeof udp + datagram.size()));
  ip.ttl = 64;
  ip.protocol = IPPROTO_UDP;
  ip.saddr = from.sin_addr.s_addr;
  ip.daddr = to.sin_addr.s_addr;
  ip.check = Checksum(ip);

  const int64_t now = std::chrono::duration_cast<std::chrono::microseconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  const auto size =
      static_cast<uint32_t>(sizeof ip + sizeof udp + datagram.size());
  std::string bytes;
  Append(RecordHeader{static_cast<uint32_t>(now / 1000000),
                      static_cast<uint32_t>(now % 1000000), size, size},
         &bytes);
  Append(ip, &bytes);
  Append(udp, &bytes);
  if (!(file_ << bytes << datagram << std::flush)) {
    throw std::system_error(errno, std::generic_category(),
                            "cannot write the capture file");
  }
}
