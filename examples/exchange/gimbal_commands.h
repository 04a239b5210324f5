// What the ground station asks of a gimbal, and how it checks the answers.
#ifndef EXAMPLES_EXCHANGE_GIMBAL_COMMANDS_H_
#define EXAMPLES_EXCHANGE_GIMBAL_COMMANDS_H_

#include "transcript.h"
#include "udp_socket.h"

// Sends the gimbal good and bad commands. Throws std::runtime_error when an
// answer is missing or is not the one that belongs to the request.
void CommandGimbal(const Address& gimbal, const Transcript& transcript);

#endif  // EXAMPLES_EXCHANGE_GIMBAL_COMMANDS_H_
