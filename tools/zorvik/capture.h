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
  size_t number = 0;                // Of its packet, from 1.
  std::string time;                 // As 2026-11-21T10:00:00.000000Z.
  std::string source, destination;  // Address and port.
  uint16_t source_port = 0, destination_port = 0;
  std::string payload;
  bool whole = true;  // Neither the first of fragments nor cut by the capture.
};

// Whether that is how a pcap or pcapng file begins. It takes four bytes.
bool IsCapture(std::string_view begin);

// Finds the datagram in a packet. False when it has none.
bool FindDatagram(int link_type, const pcap_pkthdr& header,
                  const uint8_t* packet, Datagram* datagram);

// Calls back with each datagram. Returns the number of packets. Throws
// std::runtime_error where the file is broken.
size_t ReadCapture(Source* source,
                   const std::function<void(const Datagram&)>& use);

#endif  // TOOLS_ZORVIK_CAPTURE_H_
