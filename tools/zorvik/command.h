// The subcommands of the program.
#ifndef TOOLS_ZORVIK_COMMAND_H_
#define TOOLS_ZORVIK_COMMAND_H_

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include "source.h"
#include "vocabulary.h"

// Runs a subcommand whose options have been read. Returns the exit status: 0,
// or 1 when something could not be read.
using Run = std::function<int(Vocabulary*)>;

// Thrown when the command line makes no sense: exit status 2.
struct WrongUse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Thrown when standard output takes no more.
struct CannotWrite : std::runtime_error {
  CannotWrite() : std::runtime_error("the output cannot be written") {}
};

constexpr char kEnvelope[] = "zorvik.channel.channelTopicMessage";

// The message of an option; the envelope when it is empty. Throws WrongUse.
const google::protobuf::Descriptor* MeantType(const std::string& name,
                                              const Vocabulary& vocabulary);

// A run over one input file, or standard input for "-".
class FileRun {
 public:
  explicit FileRun(std::string file) : file_(std::move(file)) {}
  // Says it on standard error, behind what was printed and the file's name.
  void Remark(const std::string& what) const;
  // The same of what makes the run fail.
  void Complain(const std::string& what);
  // Reads the file. Complains of what is thrown, unless the output ends.
  // Returns the exit status.
  int Read(const std::function<void(Source*)>& use);

 private:
  const std::string file_;
  int status_ = 0;
};

// The folder with the descriptor set, the catalogue and the vectors, seen from
// the program.
std::filesystem::path DataFolder();

// From now on SIGINT, SIGTERM and SIGHUP do not end the program.
void TakeSignals();

// Whether one of them has come since.
bool Stopped();

// Whether standard output is a terminal for which colours are welcome.
bool HasColours();

// Each adds its subcommand with its options to the program.
Run AddCheck(CLI::App* program);
Run AddDecode(CLI::App* program);
Run AddEncode(CLI::App* program);
Run AddIds(CLI::App* program);
Run AddSimulate(CLI::App* program);
Run AddWatch(CLI::App* program);

#endif  // TOOLS_ZORVIK_COMMAND_H_
