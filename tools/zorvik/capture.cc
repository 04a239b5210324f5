#include "capture.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>

namespace {

using View = std::basic_string_view<uint8_t>;

constexpr uint16_t kIpv4 = 0x0800, kIpv6 = 0x86dd;
constexpr uint8_t kUdp = 17;

uint16_t Word(View bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

// Takes away what is in front of the IP packet. Empty when there is none.
View SkipLink(int link_type, View bytes) {
  const auto skip = [&](size_t size, size_t type_at) {
    if (bytes.size() < size) return View();
    uint16_t type = Word(bytes, type_at);
    while (type == 0x8100 || type == 0x88a8) {  // In a virtual LAN.
      if (bytes.size() < size + 4) return View();
      type = Word(bytes, size + 2);
      size += 4;
    }
    return type == kIpv4 || type == kIpv6 ? bytes.substr(size) : View();
  };
  switch (link_type) {
    case DLT_EN10MB:
      return skip(14, 12);
    case DLT_LINUX_SLL:
      return skip(16, 14);
    case DLT_LINUX_SLL2:
      return skip(20, 0);
    case DLT_NULL:
    case DLT_LOOP:
      return bytes.size() < 4 ? View() : bytes.substr(4);
    case DLT_RAW:
    case DLT_IPV4:
    case DLT_IPV6:
      return bytes;
    default:
      return {};
  }
}

std::string AddressOf(int family, const uint8_t* address, uint16_t port) {
  char text[INET6_ADDRSTRLEN];
  inet_ntop(family, address, text, sizeof text);
  const std::string name =
      family == AF_INET ? text : '[' + std::string(text) + ']';
  return name + ':' + std::to_string(port);
}

std::string TimeOf(const timeval& time) {
  tm parts{};
  char text[32] = "";
  if (gmtime_r(&time.tv_sec, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  }
  char fraction[24];
  std::snprintf(fraction, sizeof fraction, ".%06ldZ",
                static_cast<long>(time.tv_usec));
  return std::string(text) + fraction;
}

// What libpcap reads from: a file made of the source.
ssize_t ReadCookie(void* cookie, char* buffer, size_t size) {
  auto* source = static_cast<Source*>(cookie);
  try {
    const std::string_view ready = source->Peek(1).empty()
                                       ? std::string_view()
                                       : source->Ready().substr(0, size);
    std::copy(ready.begin(), ready.end(), buffer);
    source->Drop(ready.size());
    return static_cast<ssize_t>(ready.size());
  } catch (const std::exception&) {
    return -1;
  }
}

}  // namespace

bool IsCapture(std::string_view begin) {
  for (const char* magic :
       {"\xa1\xb2\xc3\xd4", "\xd4\xc3\xb2\xa1", "\xa1\xb2\x3c\x4d",
        "\x4d\x3c\xb2\xa1", "\x0a\x0d\x0d\x0a"}) {
    if (begin.substr(0, 4) == magic) return true;
  }
  return false;
}

bool FindDatagram(int link_type, const pcap_pkthdr& header,
                  const uint8_t* packet, Datagram* datagram) {
  View bytes = SkipLink(link_type, View(packet, header.caplen));
  if (bytes.empty()) return false;
  const int version = bytes[0] >> 4;
  const int family = version == 4 ? AF_INET : AF_INET6;
  const uint8_t *source = nullptr, *destination = nullptr;
  if (version == 4) {
    const size_t size = (bytes[0] & 15) * 4;
    if (size < 20 || bytes.size() < size || bytes[9] != kUdp) return false;
    if ((Word(bytes, 6) & 0x1fff) != 0) return false;  // A later fragment.
    source = &bytes[12];
    destination = &bytes[16];
    bytes = bytes.substr(size);
  } else if (version == 6) {
    if (bytes.size() < 40) return false;
    uint8_t next = bytes[6];
    source = &bytes[8];
    destination = &bytes[24];
    bytes = bytes.substr(40);
    // Hop-by-hop, routing and destination options, and fragments.
    while (next == 0 || next == 43 || next == 44 || next == 60) {
      const size_t size = next == 44 || bytes.size() < 2 ? 8 : bytes[1] * 8 + 8;
      if (bytes.size() < size) return false;
      if (next == 44) {
        if ((Word(bytes, 2) & 0xfff8) != 0) return false;
      }
      next = bytes[0];
      bytes = bytes.substr(size);
    }
    if (next != kUdp) return false;
  } else {
    return false;
  }
  if (bytes.size() < 8) return false;
  datagram->source_port = Word(bytes, 0);
  datagram->destination_port = Word(bytes, 2);
  datagram->source = AddressOf(family, source, datagram->source_port);
  datagram->destination =
      AddressOf(family, destination, datagram->destination_port);
  const size_t length = Word(bytes, 4);
  if (length < 8) return false;
  datagram->whole = bytes.size() >= length;
  bytes = bytes.substr(8, length - 8);
  datagram->payload.assign(bytes.begin(), bytes.end());
  datagram->time = TimeOf(header.ts);
  return true;
}

size_t ReadCapture(Source* source,
                   const std::function<void(const Datagram&)>& use) {
  cookie_io_functions_t functions{};
  functions.read = ReadCookie;
  FILE* file = fopencookie(source, "rb", functions);
  if (file == nullptr) throw std::runtime_error("out of memory");
  char error[PCAP_ERRBUF_SIZE] = "";
  pcap_t* opened = pcap_fopen_offline(file, error);
  if (opened == nullptr) {
    std::fclose(file);
    throw std::runtime_error(std::string("a broken capture: ") + error);
  }
  const std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture(opened, pcap_close);
  pcap_pkthdr* header = nullptr;
  const uint8_t* packet = nullptr;
  size_t count = 0;
  int result = 0;
  while ((result = pcap_next_ex(opened, &header, &packet)) == 1) {
    Datagram datagram;
    datagram.number = ++count;
    if (FindDatagram(pcap_datalink(opened), *header, packet, &datagram)) {
      use(datagram);
    }
  }
  if (result != PCAP_ERROR_BREAK) {
    throw std::runtime_error("a broken capture: packet " +
                             std::to_string(count + 1) + ": " +
                             pcap_geterr(opened));
  }
  return count;
}
