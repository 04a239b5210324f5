// zorvik decode: encoded messages for people.
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "input.h"
#include "printer.h"
#include "vocabulary.h"
#include "wire.h"

namespace {

struct Options {
  std::string type = "zorvik.channel.channelTopicMessage";
  std::string file = "-";
  Encoding encoding = Encoding::kDetect;
  Framing framing = Framing::kSingle;
};

std::string Read(const std::string& path) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& stream = path == "-" ? std::cin : file;
  std::string content((std::istreambuf_iterator<char>(stream)), {});
  if (!stream) throw std::runtime_error("cannot be read");
  return content;
}

class Decoder {
 public:
  Decoder(const Options& options, Vocabulary* vocabulary)
      : options_(options), vocabulary_(vocabulary) {}

  int Run() {
    type_ = vocabulary_->FindMessage(options_.type);
    if (type_ == nullptr) {
      throw WrongUse("no message is called " + options_.type);
    }
    std::vector<Piece> pieces;
    std::optional<std::string> fault;
    try {
      Split(Read(options_.file), options_.encoding, options_.framing, &pieces);
    } catch (const std::exception& error) {
      fault = error.what();
    }
    for (const Piece& piece : pieces) Show(piece);
    if (fault) Complain(*fault);
    return result_;
  }

 private:
  // A message that cannot be read is passed over; a content that cannot be is
  // shown as bytes.
  void Show(const Piece& piece) {
    const auto message = vocabulary_->New(type_);
    if (message->ParseFromString(piece.bytes)) {
      std::cout << piece.place << ": " << options_.type << ", "
                << piece.bytes.size() << " bytes\n";
      Printer(vocabulary_, &std::cout).Print(*message, 1);
    }
    const std::optional<Fault> fault =
        FindFault(piece.bytes, type_, *vocabulary_);
    if (fault) {
      Complain(piece.place + ": offset " +
               std::to_string(piece.offset + fault->offset) + ": " +
               fault->reason);
    }
  }

  void Complain(const std::string& what) {
    std::cout << std::flush;
    std::cerr << "zorvik: "
              << (options_.file == "-" ? "standard input" : options_.file)
              << ": " << what << '\n';
    result_ = 1;
  }

  const Options& options_;
  Vocabulary* const vocabulary_;
  const google::protobuf::Descriptor* type_ = nullptr;
  int result_ = 0;
};

}  // namespace

Run AddDecode(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "decode",
      "Prints encoded messages: every field that is set, ids by name next to\n"
      "their numbers, the content of an envelope as its own message, unknown\n"
      "fields");
  const auto options = std::make_shared<Options>();
  app->add_option("FILE", options->file, "Standard input without it, or for -");
  app->add_option("-t,--type", options->type, "Full name of the message")
      ->type_name("NAME")
      ->capture_default_str();
  const auto add_framing = [&](const char* name, Framing framing,
                               const char* about) {
    return app->add_flag_callback(
        name, [options, framing] { options->framing = framing; }, about);
  };
  const auto add_encoding = [&](const char* name, Encoding encoding,
                                const char* about) {
    return app->add_flag_callback(
        name, [options, encoding] { options->encoding = encoding; }, about);
  };
  CLI::Option* delimited =
      add_framing("-d,--delimited", Framing::kDelimited,
                  "Many messages, each behind its length as a varint");
  CLI::Option* lines = add_framing("-l,--lines", Framing::kLines,
                                   "Many messages, each on a line of hex");
  CLI::Option* hex = add_encoding("-x,--hex", Encoding::kHex,
                                  "Hex digits, with or without white space");
  CLI::Option* binary =
      add_encoding("-b,--binary", Encoding::kBinary, "The bytes themselves");
  lines->excludes(delimited)->excludes(binary);
  hex->excludes(binary);
  app->footer(
      "Without -x, -b or -l, input of nothing but an even number of hex "
      "digits\n"
      "and white space is taken for hex, anything else for binary.\n\n"
      "Examples:\n"
      "  zorvik decode envelope.bin\n"
      "  echo 0a0608e2ffffff0f | zorvik decode -t "
      "zorvik.gimbal.UavGimbalAttitudeInformationReport\n"
      "  tshark -r demo.pcap -Y zorvik -T fields -e udp.payload | "
      "zorvik decode --lines");
  return [options](Vocabulary* vocabulary) {
    return Decoder(*options, vocabulary).Run();
  };
}
