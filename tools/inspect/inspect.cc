// Prints encoded messages for people: ids by name, contents unpacked.
#include <getopt.h>
#include <google/protobuf/stubs/logging.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "input.h"
#include "lookup.h"
#include "printer.h"
#include "wire.h"

namespace {

constexpr char kHelp[] =
    R"(usage: inspect [OPTION]... [FILE]

Prints encoded messages: every field that is set, ids by name next to their
numbers, the content of an envelope as its own message, unknown fields. Reads
standard input when there is no FILE, or FILE is -.

  -t, --type NAME         full name of the message; without it, the channel
                          envelope, zorvik.channel.channelTopicMessage
  -d, --delimited         many messages, each behind its length as a varint
  -l, --lines             many messages, each on a line of hex digits
  -x, --hex               the input is hex digits, with or without white space
  -b, --binary            the input is the bytes themselves
      --descriptors FILE  descriptor set of the schemas; without it,
                          )" DESCRIPTOR_SET R"(
      --catalogue FILE    catalogue of the same schemas; without it,
                          )" CATALOGUE R"(
  -h, --help              this text

Without -x, -b or -l, input of nothing but an even number of hex digits and
white space is taken for hex, anything else for binary.

Exit code: 0; 1 when something could not be read, with the offset of the fault
and the reason on standard error; 2 when the command line makes no sense.

  inspect envelope.bin
  echo 0a0608e2ffffff0f | inspect --type zorvik.gimbal.UavGimbalAttitudeInformationReport
  tshark -r demo.pcap -Y zorvik -T fields -e udp.payload | inspect --lines
)";

struct Options {
  std::string type = "zorvik.channel.channelTopicMessage";
  std::string descriptors = DESCRIPTOR_SET;
  std::string catalogue = CATALOGUE;
  std::string file = "-";
  Encoding encoding = Encoding::kDetect;
  Framing framing = Framing::kSingle;
};

[[noreturn]] void ExitWithUsage(const std::string& what) {
  std::cerr << "inspect: " << what << "; inspect --help tells more\n";
  std::exit(2);
}

Options Parse(int argc, char** argv) {
  static const option kOptions[] = {
      {"type", required_argument, nullptr, 't'},
      {"delimited", no_argument, nullptr, 'd'},
      {"lines", no_argument, nullptr, 'l'},
      {"hex", no_argument, nullptr, 'x'},
      {"binary", no_argument, nullptr, 'b'},
      {"descriptors", required_argument, nullptr, 'D'},
      {"catalogue", required_argument, nullptr, 'C'},
      {"help", no_argument, nullptr, 'h'},
      {}};
  Options options;
  for (int c;
       (c = getopt_long(argc, argv, ":t:dlxbh", kOptions, nullptr)) != -1;) {
    switch (c) {
      case 't':
        options.type = optarg;
        break;
      case 'd':
        options.framing = Framing::kDelimited;
        break;
      case 'l':
        options.framing = Framing::kLines;
        break;
      case 'x':
        options.encoding = Encoding::kHex;
        break;
      case 'b':
        options.encoding = Encoding::kBinary;
        break;
      case 'D':
        options.descriptors = optarg;
        break;
      case 'C':
        options.catalogue = optarg;
        break;
      case 'h':
        std::cout << kHelp;
        std::exit(0);
      case ':':
        ExitWithUsage(std::string(argv[optind - 1]) + " needs a value");
      default:
        ExitWithUsage(std::string("no option is called ") + argv[optind - 1]);
    }
  }
  if (options.framing == Framing::kLines &&
      options.encoding == Encoding::kBinary) {
    ExitWithUsage("lines are hex, not binary");
  }
  if (argc - optind > 1) ExitWithUsage("more than one file");
  if (optind < argc) options.file = argv[optind];
  return options;
}

std::string Read(const std::string& path) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& stream = path == "-" ? std::cin : file;
  std::string content((std::istreambuf_iterator<char>(stream)), {});
  if (!stream) throw std::runtime_error("cannot be read");
  return content;
}

class Inspector {
 public:
  Inspector(const Options& options, Lookup* lookup)
      : options_(options), lookup_(lookup) {}

  int Run() {
    type_ = lookup_->FindMessage(options_.type);
    if (type_ == nullptr) {
      ExitWithUsage("no message is called " + options_.type);
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
    const auto message = lookup_->New(type_);
    if (message->ParseFromString(piece.bytes)) {
      std::cout << piece.place << ": " << options_.type << ", "
                << piece.bytes.size() << " bytes\n";
      Printer(lookup_, &std::cout).Print(*message, 1);
    }
    const std::optional<Fault> fault = FindFault(piece.bytes, type_, *lookup_);
    if (fault) {
      Complain(piece.place + ": offset " +
               std::to_string(piece.offset + fault->offset) + ": " +
               fault->reason);
    }
  }

  void Complain(const std::string& what) {
    std::cout << std::flush;
    std::cerr << "inspect: "
              << (options_.file == "-" ? "standard input" : options_.file)
              << ": " << what << '\n';
    result_ = 1;
  }

  const Options& options_;
  Lookup* const lookup_;
  const google::protobuf::Descriptor* type_ = nullptr;
  int result_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  google::protobuf::SetLogHandler(nullptr);
  const Options options = Parse(argc, argv);
  try {
    Lookup lookup(options.descriptors, options.catalogue);
    return Inspector(options, &lookup).Run();
  } catch (const std::exception& error) {
    std::cerr << "inspect: " << error.what() << '\n';
    return 1;
  }
}
