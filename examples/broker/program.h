// How the programs of the broker example take their arguments and end.
#ifndef EXAMPLES_BROKER_PROGRAM_H_
#define EXAMPLES_BROKER_PROGRAM_H_

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "mqtt_client.h"

struct Arguments {
  Broker broker;
  std::string aircraft = "aircraft-1";
  std::vector<std::string> words;  // What is no option.
};

// Thrown for arguments that make no sense.
class WrongUse : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The number that a text is. Throws WrongUse for anything else, and for a
// number out of these bounds, with the name of what it is.
uint32_t Number(const std::string& text, uint32_t least, uint32_t most,
                const std::string& name);

// Runs the body with what the command line says. Returns the exit code: 0; 1
// with one line on standard error when the body throws; 2 with one line for a
// wrong command line. --help prints the words that the program takes, what it
// is for, and the options.
int RunProgram(int argc, char** argv, const std::string& words,
               const std::string& about,
               const std::function<void(const Arguments&)>& body);

#endif  // EXAMPLES_BROKER_PROGRAM_H_
