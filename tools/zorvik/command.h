// The subcommands of the program.
#ifndef TOOLS_ZORVIK_COMMAND_H_
#define TOOLS_ZORVIK_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>

#include "vocabulary.h"

// Runs a subcommand whose options have been read. Returns the exit status: 0,
// or 1 when something could not be read.
using Run = std::function<int(Vocabulary*)>;

// Thrown when the command line makes no sense: exit status 2.
struct WrongUse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Each adds its subcommand with its options to the program.
Run AddDecode(CLI::App* program);
Run AddIds(CLI::App* program);

#endif  // TOOLS_ZORVIK_COMMAND_H_
