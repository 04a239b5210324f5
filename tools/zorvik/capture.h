// The UDP datagrams of captures, from pcap and pcapng files.
#ifndef TOOLS_ZORVIK_CAPTURE_H_
#define TOOLS_ZORVIK_CAPTURE_H_

#include <pcap/pcap.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "source.h"

struct Datagram {
  size_t number = 0;  // Of its packet, from 1.
  std::string time;   // As 2026-11-21T10:00:00.000000Z, or in nanoseconds.
  std::string source, destination;  // Address and port.
  uint16_t source_port = 0, destination_port = 0;
  std::string payload;
  bool whole = true;  // Neither the first of fragments nor cut by the capture.
};

// What is in a packet. Fragments are those of datagrams, behind the first one.
enum class Packet { kDatagram, kTcp, kFragment, kOther };

// How many packets a capture has, and how many of them nobody looks into.
struct Packets {
  size_t all = 0, tcp = 0, fragments = 0;

  // What is not looked into, in words; empty when there is no such packet.
  std::string Unread() const;
};

// Whether that is how a pcap or pcapng file begins. It takes four bytes.
bool IsCapture(std::string_view begin);

// Finds the datagram in a packet, without its time.
Packet FindDatagram(int link_type, const pcap_pkthdr& header,
                    const uint8_t* packet, Datagram* datagram);

// Calls back with each datagram. Throws std::runtime_error where the file is
// broken or its link type is unknown.
Packets ReadCapture(Source* source,
                    const std::function<void(const Datagram&)>& use);

#endif  // TOOLS_ZORVIK_CAPTURE_H_
