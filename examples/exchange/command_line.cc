#include "command_line.h"

#include <getopt.h>

#include <cstdlib>
#include <exception>
#include <iostream>

#include "udp_socket.h"

namespace {

// Zero when the text is no port.
long Port(const char* text) {
  char* end;
  const long port = std::strtol(text, &end, 10);
  return *end == '\0' && port >= 1 && port <= 65535 ? port : 0;
}

}  // namespace

int RunWithPort(int argc, char** argv,
                const std::function<void(uint16_t port)>& exchange) {
  static const option kOptions[] = {
      {"port", required_argument, nullptr, 'p'},
      {"capture", required_argument, nullptr, 'c'},
      {}};
  long port = 45450;
  const char* capture = nullptr;
  for (int option;
       (option = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    if (option == 'p') {
      port = Port(optarg);
    } else if (option == 'c') {
      capture = optarg;
    } else {
      port = 0;
    }
  }
  if (port == 0 || optind != argc) {
    std::cerr << "usage: " << argv[0]
              << " [--port 1..65535] [--capture FILE]\n";
    return 2;
  }
  try {
    if (capture != nullptr) UdpSocket::CaptureInto(capture);
    exchange(static_cast<uint16_t>(port));
    return 0;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return 1;
  }
}
