// The command line that both programs share, and how they end.
#ifndef EXAMPLES_EXCHANGE_COMMAND_LINE_H_
#define EXAMPLES_EXCHANGE_COMMAND_LINE_H_

#include <cstdint>
#include <functional>

// Runs the program with the port of the ground station's link, 45450 or the
// number after --port, which is at least the lowest. With --capture FILE, all
// datagrams that the program sends and receives go into a capture file as well;
// with --verbose it tells more. Returns its exit code: 0; 1 when the exchange
// throws, 2 when the command line makes no sense, each with one line on
// standard error.
int RunWithPort(int argc, char** argv, uint16_t lowest,
                const std::function<void(uint16_t port)>& exchange);

#endif  // EXAMPLES_EXCHANGE_COMMAND_LINE_H_
