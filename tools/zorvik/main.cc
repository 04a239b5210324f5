// The program zorvik: options, files and exit status of all its subcommands.
#include <google/protobuf/stubs/logging.h>
#include <signal.h>

#include <exception>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command.h"
#include "text.h"

std::filesystem::path DataFolder() {
  const auto self = std::filesystem::canonical("/proc/self/exe");
  return (self.parent_path() / DATA_FOLDER).lexically_normal();
}

namespace {

volatile sig_atomic_t stopped = 0;

// As CLI11 has it, without lists of which options exclude which.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override {
    return CLI::Formatter::make_usage(app, std::move(name)) + '\n';
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_name();
    return type.empty() || option->get_positional()
               ? ""
               : ' ' + type.substr(0, type.find(':'));
  }
};

int Complain(const std::string& what, int status) {
  std::cout << std::flush;
  std::cerr << "zorvik: " << Readable(what) << '\n';
  return status;
}

// Names the help of the subcommand that was meant.
int ComplainOfUse(const std::string& what, const CLI::App& program) {
  std::string name = "zorvik";
  for (const CLI::App* app = &program; !app->get_subcommands().empty();) {
    app = app->get_subcommands().back();
    name += ' ' + app->get_name();
  }
  return Complain(what + "; " + name + " --help tells more", 2);
}

// Of what stands where a subcommand is to be.
std::string UnknownWord(const std::string& word,
                        const std::vector<CLI::App*>& subcommands) {
  const bool option = !word.empty() && word[0] == '-';
  std::vector<std::string> names;
  for (const CLI::App* app : subcommands) names.push_back(app->get_name());
  try {
    return word + " is no subcommand; there is " +
           Choose(option ? "option" : "subcommand", word, names);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

int Main(int argc, char** argv) {
  const std::filesystem::path data = DataFolder();
  std::string descriptors = data / "ZorvikPBProto.binpb";
  std::string catalogue = data / "catalogue.json";

  CLI::App program("Messages of the Zorvik vocabulary at hand.", "zorvik");
  program.formatter(std::make_shared<HelpFormatter>());
  program.set_version_flag("--version", "zorvik " VERSION);
  program.add_option("--descriptors", descriptors, "Descriptor set to use")
      ->type_name("FILE");
  program.add_option("--catalogue", catalogue, "Catalogue of the same schemas")
      ->type_name("FILE");
  program.fallthrough();
  program.require_subcommand(1);
  program.footer(
      "Exit status: 0; 1 when something could not be read, with the reason on\n"
      "standard error; 2 when the command line makes no sense.\n\n"
      "zorvik SUBCOMMAND --help shows the options of a subcommand.");

  // In the order of the subcommands.
  const std::vector<Run> runs = {AddCheck(&program),    AddDecode(&program),
                                 AddEncode(&program),   AddIds(&program),
                                 AddSimulate(&program), AddWatch(&program)};
  const std::vector<CLI::App*> subcommands =
      program.get_subcommands([](CLI::App*) { return true; });
  try {
    program.parse(argc, argv);
    for (size_t i = 0; i < runs.size(); ++i) {
      if (!subcommands[i]->parsed()) continue;
      Vocabulary vocabulary(descriptors, catalogue);
      const int status = runs[i](&vocabulary);
      if (!std::cout.flush()) throw CannotWrite();
      return status;
    }
    return 2;  // Not reached: there has to be a subcommand.
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      program.exit(error);
      return std::cout.flush() ? 0 : Complain(CannotWrite().what(), 1);
    }
    const std::vector<std::string> unknown = program.remaining();
    const bool none = program.get_subcommands().empty() && !unknown.empty();
    return ComplainOfUse(
        none ? UnknownWord(unknown[0], subcommands) : error.what(), program);
  } catch (const WrongUse& error) {
    return ComplainOfUse(error.what(), program);
  } catch (const std::exception& error) {
    return Complain(error.what(), 1);
  }
}

}  // namespace

void TakeSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) { stopped = 1; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(signal, &action, nullptr);
  }
}

bool Stopped() { return stopped != 0; }

int main(int argc, char** argv) {
  google::protobuf::SetLogHandler(nullptr);
  std::ios::sync_with_stdio(false);
  try {
    return Main(argc, argv);
  } catch (const std::exception& error) {
    return Complain(error.what(), 1);
  }
}
