#include "program.h"

#include <getopt.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>

namespace {

constexpr char kOptionsHelp[] = R"(
  --host HOST           name or address of the broker, otherwise 127.0.0.1
  --port N              its port, otherwise 1883, and 8883 with --ca
  --user NAME           user at the broker
  --password-file FILE  its password, the first line of this file; otherwise
                        the one in the variable BROKER_PASSWORD, if there is one
  --ca FILE             use TLS, and trust the CA certificates in this file (PEM)
  --aircraft NAME       aircraft in the topics, otherwise aircraft-1
  --help
)";

std::string FirstLineOf(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) {
    throw std::runtime_error("cannot read a password from " + path + ": " +
                             (file.eof() ? "it is empty" : strerror(errno)));
  }
  return line;
}

// False when help was asked for.
bool Parse(int argc, char** argv, Arguments* arguments) {
  static const option kOptions[] = {
      {"host", required_argument, nullptr, 'h'},
      {"port", required_argument, nullptr, 'p'},
      {"user", required_argument, nullptr, 'u'},
      {"password-file", required_argument, nullptr, 'f'},
      {"ca", required_argument, nullptr, 'c'},
      {"aircraft", required_argument, nullptr, 'a'},
      {"help", no_argument, nullptr, '0'},
      {}};
  opterr = 0;
  Broker* const broker = &arguments->broker;
  std::string password_file;
  for (int option;
       (option = getopt_long(argc, argv, ":", kOptions, nullptr)) != -1;) {
    switch (option) {
      case 'h':
        broker->host = optarg;
        break;
      case 'p':
        broker->port =
            static_cast<uint16_t>(Number(optarg, 1, 65535, "--port"));
        break;
      case 'u':
        broker->user = optarg;
        break;
      case 'f':
        password_file = optarg;
        break;
      case 'c':
        broker->ca_file = optarg;
        break;
      case 'a':
        arguments->aircraft = optarg;
        break;
      case ':':
        throw WrongUse(std::string(argv[optind - 1]) + " needs a value");
      case '0':
        return false;
      default:
        throw WrongUse(std::string("no option ") + argv[optind - 1]);
    }
  }
  arguments->words.assign(argv + optind, argv + argc);
  if (!password_file.empty()) {
    broker->password = FirstLineOf(password_file);
  } else if (const char* password = std::getenv("BROKER_PASSWORD")) {
    broker->password = password;
  }
  return true;
}

}  // namespace

uint32_t Number(const std::string& text, uint32_t least, uint32_t most,
                const std::string& name) {
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end || number < least || number > most) {
    throw WrongUse(name + " is a number from " + std::to_string(least) +
                   " to " + std::to_string(most) + ", not '" + text + "'");
  }
  return number;
}

int RunProgram(int argc, char** argv, const std::string& words,
               const std::string& about,
               const std::function<void(const Arguments&)>& body) {
  const std::string path = argv[0];
  const std::string name = path.substr(path.rfind('/') + 1);
  try {
    Arguments arguments;
    if (!Parse(argc, argv, &arguments)) {
      std::cout << "usage: " << name << " [OPTION ...] " << words << "\n\n"
                << about << '\n'
                << kOptionsHelp;
      return 0;
    }
    body(arguments);
    return 0;
  } catch (const WrongUse& error) {
    std::cerr << name << ": " << error.what() << "; see " << name
              << " --help\n";
    return 2;
  } catch (const std::exception& error) {
    std::cerr << name << ": " << error.what() << '\n';
    return 1;
  }
}
