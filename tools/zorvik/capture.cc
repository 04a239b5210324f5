#include "capture.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <stdexcept>

namespace {

using View = std::basic_string_view<uint8_t>;

constexpr uint16_t kIpv4 = 0x0800, kIpv6 = 0x86dd;
constexpr uint8_t kTcp = 6, kUdp = 17;

uint16_t Word(View bytes, size_t at) {
  return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

// Takes away what is in front of the IP packet. Empty when there is none,
// nothing when the link type is unknown.
std::optional<View> SkipLink(int link_type, View bytes) {
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
      return std::nullopt;
  }
}

std::string AddressOf(int family, const uint8_t* address, uint16_t port) {
  char text[INET6_ADDRSTRLEN];
  inet_ntop(family, address, text, sizeof text);
  const std::string name =
      family == AF_INET ? text : '[' + std::string(text) + ']';
  return name + ':' + std::to_string(port);
}

// Of a capture in nanoseconds, which come where timeval has microseconds. Those
// that are whole microseconds are shown as such.
std::string TimeOf(const timeval& time) {
  tm parts{};
  char text[32] = "";
  if (gmtime_r(&time.tv_sec, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  }
  char fraction[24];
  const long nanoseconds = time.tv_usec;
  nanoseconds % 1000 == 0
      ? std::snprintf(fraction, sizeof fraction, ".%06ldZ", nanoseconds / 1000)
      : std::snprintf(fraction, sizeof fraction, ".%09ldZ", nanoseconds);
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

Packet FindDatagram(int link_type, const pcap_pkthdr& header,
                    const uint8_t* packet, Datagram* datagram) {
  View bytes =
      SkipLink(link_type, View(packet, header.caplen)).value_or(View());
  if (bytes.empty()) return Packet::kOther;
  const int version = bytes[0] >> 4;
  const int family = version == 4 ? AF_INET : AF_INET6;
  const uint8_t *source = nullptr, *destination = nullptr;
  uint8_t next = 0;
  int fragment = 0;
  if (version == 4) {
    const size_t size = (bytes[0] & 15) * 4;
    if (size < 20 || bytes.size() < size) return Packet::kOther;
    next = bytes[9];
    fragment = Word(bytes, 6) & 0x1fff;
    source = &bytes[12];
    destination = &bytes[16];
    bytes = bytes.substr(size);
  } else if (version == 6) {
    if (bytes.size() < 40) return Packet::kOther;
    next = bytes[6];
    source = &bytes[8];
    destination = &bytes[24];
    bytes = bytes.substr(40);
    // Hop-by-hop, routing and destination options, and fragments.
    while (fragment == 0 &&
           (next == 0 || next == 43 || next == 44 || next == 60)) {
      const size_t size = next == 44 || bytes.size() < 2 ? 8 : bytes[1] * 8 + 8;
      if (bytes.size() < size) return Packet::kOther;
      if (next == 44) fragment = Word(bytes, 2) & 0xfff8;
      next = bytes[0];
      bytes = bytes.substr(size);
    }
  } else {
    return Packet::kOther;
  }
  if (next == kTcp) return Packet::kTcp;
  if (next != kUdp) return Packet::kOther;
  if (fragment != 0) return Packet::kFragment;
  if (bytes.size() < 8) return Packet::kOther;
  datagram->source_port = Word(bytes, 0);
  datagram->destination_port = Word(bytes, 2);
  datagram->source = AddressOf(family, source, datagram->source_port);
  datagram->destination =
      AddressOf(family, destination, datagram->destination_port);
  const size_t length = Word(bytes, 4);
  if (length < 8) return Packet::kOther;
  datagram->whole = bytes.size() >= length;
  bytes = bytes.substr(8, length - 8);
  datagram->payload.assign(bytes.begin(), bytes.end());
  return Packet::kDatagram;
}

std::string Packets::Unread() const {
  std::string text;
  const auto add = [&](size_t count, const char* kind) {
    if (count == 0) return;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + ' ' + kind;
  };
  add(tcp, "of TCP");
  add(fragments, "of fragments behind the first");
  return text;
}

Packets ReadCapture(Source* source,
                    const std::function<void(const Datagram&)>& use) {
  cookie_io_functions_t functions{};
  functions.read = ReadCookie;
  FILE* file = fopencookie(source, "rb", functions);
  if (file == nullptr) throw std::runtime_error("out of memory");
  char error[PCAP_ERRBUF_SIZE] = "";
  pcap_t* opened = pcap_fopen_offline_with_tstamp_precision(
      file, PCAP_TSTAMP_PRECISION_NANO, error);
  if (opened == nullptr) {
    std::fclose(file);
    throw std::runtime_error(std::string("a broken capture: ") + error);
  }
  const std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture(opened, pcap_close);
  const int link_type = pcap_datalink(opened);
  if (!SkipLink(link_type, View())) {
    const char* name = pcap_datalink_val_to_name(link_type);
    throw std::runtime_error(
        "a capture of the link type " +
        (name == nullptr ? std::to_string(link_type) : std::string(name)) +
        ", which is not read");
  }
  pcap_pkthdr* header = nullptr;
  const uint8_t* packet = nullptr;
  Packets packets;
  int result = 0;
  while ((result = pcap_next_ex(opened, &header, &packet)) == 1) {
    Datagram datagram;
    datagram.number = ++packets.all;
    switch (FindDatagram(link_type, *header, packet, &datagram)) {
      case Packet::kDatagram:
        datagram.time = TimeOf(header->ts);
        use(datagram);
        break;
      case Packet::kTcp:
        ++packets.tcp;
        break;
      case Packet::kFragment:
        ++packets.fragments;
        break;
      case Packet::kOther:
        break;
    }
  }

  if (result != PCAP_ERROR_BREAK) {
    throw std::runtime_error("a broken capture: packet " +
                             std::to_string(packets.all + 1) + ": " +
                             pcap_geterr(opened));
  }
  return packets;
}
