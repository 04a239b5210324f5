// The command line that both programs share, and how they end.
#ifndef EXAMPLES_EXCHANGE_COMMAND_LINE_H_
#define EXAMPLES_EXCHANGE_COMMAND_LINE_H_

#include <cstdint>
#include <functional>

// Runs the program with the port of the ground station's link, 45450 or the
// number after --port. With --capture FILE, all datagrams that the program
// sends and receives go into a capture file as well. Returns its exit code: 0;
// 1 with one line on standard error when the exchange throws; 2 when the
// command line makes no sense.
int RunWithPort(int argc, char** argv,
                const std::function<void(uint16_t port)>& exchange);

#endif  // EXAMPLES_EXCHANGE_COMMAND_LINE_H_
