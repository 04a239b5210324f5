#include "command_line.h"

#include <getopt.h>

#include <charconv>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "transcript.h"
#include "udp_socket.h"

namespace {

constexpr uint16_t kPort = 45450;

void ShowHelp(const std::string& program, uint16_t lowest) {
  std::cout
      << "usage: " << program << " [--port N] [--capture FILE] [--verbose]\n\n"
      << "  --port N        UDP port of the ground station's link, " << kPort
      << " if not given"
      << (lowest == 0 ? ";\n                  0 takes any free one" : "")
      << "\n  --capture FILE  writes all datagrams into a file for Wireshark\n"
      << "  --verbose       tells of messages that arrive, too, and shows "
         "long\n"
      << "                  ones to their end\n";
}

bool ReadPort(const char* text, uint16_t* port) {
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, *port);
  return error == std::errc() && rest == end;
}

}  // namespace

int RunWithPort(int argc, char** argv, uint16_t lowest,
                const std::function<void(uint16_t port)>& exchange) {
  static const option kOptions[] = {
      {"port", required_argument, nullptr, 'p'},
      {"capture", required_argument, nullptr, 'c'},
      {"verbose", no_argument, nullptr, 'v'},
      {"help", no_argument, nullptr, 'h'},
      {}};
  const std::string program = std::filesystem::path(argv[0]).filename();
  const auto refuse = [&](const std::string& why) {
    std::cerr << program << ": " << why << "; see --help\n";
    return 2;
  };
  uint16_t port = kPort;
  const char* capture = nullptr;
  for (int option;
       (option = getopt_long_only(argc, argv, ":", kOptions, nullptr)) != -1;) {
    const std::string given = argv[optind - 1];
    if (option == 'p') {
      if (!ReadPort(optarg, &port) || port < lowest) {
        return refuse("--port takes a number from " + std::to_string(lowest) +
                      " to 65535, not '" + optarg + "'");
      }
    } else if (option == 'c') {
      capture = optarg;
    } else if (option == 'v') {
      Transcript::TellAll();
    } else if (option == 'h') {
      ShowHelp(program, lowest);
      return 0;
    } else {
      return refuse(option == ':' ? given + " needs a value"
                                  : "no option " + given);
    }
  }
  if (optind != argc) return refuse(std::string("no option ") + argv[optind]);
  try {
    if (capture != nullptr) UdpSocket::CaptureInto(capture);
    exchange(port);
    return 0;
  } catch (const std::exception& error) {
    std::cerr << program << ": " << error.what() << '\n';
    return 1;
  }
}
