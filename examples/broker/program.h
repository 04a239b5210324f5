// How the programs of the broker example take their arguments and end.
#ifndef EXAMPLES_BROKER_PROGRAM_H_
#define EXAMPLES_BROKER_PROGRAM_H_

#include <cstdint>
#include <exception>
#include <iostream>
#include <string>

// Runs body(port, argument) with the broker's port and one more argument.
// Returns the exit code: 0, 1 when the body throws, 2 for a wrong command line.
template <typename Body>
int RunProgram(int argc, char** argv, const std::string& argument, Body body) {
  try {
    if (argc == 3) {
      const int port = std::stoi(argv[1]);
      if (port > 0 && port < 65536) {
        body(static_cast<uint16_t>(port), std::string(argv[2]));
        return 0;
      }
    }
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << '\n';
    return 1;
  }
  std::cerr << "usage: " << argv[0] << " BROKER_PORT " << argument << '\n';
  return 2;
}

#endif  // EXAMPLES_BROKER_PROGRAM_H_
