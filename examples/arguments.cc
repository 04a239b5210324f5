#include "arguments.h"

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

int RunWithPort(int argc, char** argv,
                const std::function<void(uint16_t port)>& exchange) {
  long port = 45450;
  if (argc == 3 && std::string(argv[1]) == "--port") {
    port = std::strtol(argv[2], nullptr, 10);
  } else if (argc != 1) {
    port = 0;
  }
  if (port < 1 || port > 65535) {
    std::cerr << "usage: " << argv[0] << " [--port 1..65535]\n";
    return 2;
  }
  try {
    exchange(static_cast<uint16_t>(port));
    return 0;
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return 1;
  }
}
