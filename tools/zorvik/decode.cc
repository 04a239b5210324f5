// zorvik decode: encoded messages as text.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "command.h"
#include "decoder.h"
#include "input.h"
#include "source.h"
#include "text.h"

namespace pb = google::protobuf;

namespace {

struct DecodeOptions {
  std::string type;
  std::string file = "-";
  std::string fields;
  InputOptions input;
  Output output = Output::kTree;
  bool whole = false;
  bool list = false;
};

// Splits the paths at commas. Throws WrongUse for one that no message can have:
// behind an Any, it depends on the content.
std::vector<std::string> PathsOf(const std::string& list,
                                 const pb::Descriptor* type) {
  std::vector<std::string> paths;
  std::istringstream stream(list);
  for (std::string path; std::getline(stream, path, ',');) {
    if (path.empty()) throw WrongUse("--fields has an empty path");
    const pb::Descriptor* at = type;
    bool goes_on = false;  // Into the content of an Any.
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '.');) {
      goes_on = at != nullptr && at->full_name() == "google.protobuf.Any";
      if (goes_on) break;
      const pb::FieldDescriptor* field =
          at == nullptr ? nullptr : at->FindFieldByName(name);
      if (field == nullptr) {
        throw WrongUse((at == nullptr ? path : at->full_name()) +
                       " has no field " + Escaped(name));
      }
      at = field->message_type();
    }
    if (at != nullptr && !goes_on) {
      throw WrongUse(path + " is a message; name a field of it");
    }
    paths.push_back(path);
  }
  return paths;
}

int List(const Vocabulary& vocabulary) {
  for (const catalogue::Message& message : vocabulary.catalogue().messages()) {
    std::cout << message.name() << '\n';
  }
  return 0;
}

int RunDecode(DecodeOptions options, Vocabulary* vocabulary) {
  if (options.list) return List(*vocabulary);
  DecoderOptions how;
  how.type = MeantType(options.type, *vocabulary);
  how.output = options.fields.empty() ? options.output : Output::kFields;
  how.fields = PathsOf(options.fields, how.type);
  how.print.colours = HasColours();
  if (options.whole) how.print.most_bytes = std::numeric_limits<int>::max();

  FileRun run(options.file);
  Decoder decoder(how, vocabulary, &std::cout,
                  [&](const std::string& what) { run.Complain(what); });
  options.input.match = [&](const std::string& bytes) {
    const Match match = decoder.MatchOf(bytes);
    // With a type that somebody has named, any datagram may be one.
    return match == Match::kNone && !options.type.empty() ? Match::kPoor
                                                          : match;
  };
  return run.Read([&](Source* source) {
    const std::string unread =
        ReadInput(source, options.input, [&](const Piece& piece) {
          decoder.Show(piece);
          if (!(std::cout << std::flush)) throw CannotWrite();
        });
    if (!unread.empty()) run.Remark(unread);
  });
}

}  // namespace

const pb::Descriptor* MeantType(const std::string& name,
                                const Vocabulary& vocabulary) {
  try {
    return vocabulary.Meant(name.empty() ? kEnvelope : name);
  } catch (const std::runtime_error& error) {
    throw WrongUse(error.what());
  }
}

void FileRun::Remark(const std::string& what) const {
  std::cout << std::flush;
  std::cerr << "zorvik: " << (file_ == "-" ? "standard input" : Readable(file_))
            << ": " << what << '\n';
}

void FileRun::Complain(const std::string& what) {
  Remark(what);
  status_ = 1;
}

int FileRun::Read(const std::function<void(Source*)>& use) {
  try {
    Source source(ReadFile(file_));
    use(&source);
  } catch (const CannotWrite&) {
    throw;
  } catch (const std::runtime_error& error) {
    Complain(error.what());
  }
  return status_;
}

bool HasColours() {
  const char* none = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) && (none == nullptr || *none == '\0') &&
         terminal != nullptr && std::string(terminal) != "dumb";
}

Run AddDecode(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "decode", "Print encoded messages, with their faults");
  const auto options = std::make_shared<DecodeOptions>();
  app->add_option("FILE", options->file, "Standard input without it, or for -");
  app->add_option(
         "-t,--type", options->type,
         "Name of the message, its last part, in C++ or as a type URL;\n"
         "the channel envelope without it")
      ->type_name("NAME");
  app->add_flag("--list", options->list, "List the messages and do no more");
  const auto add_form = [&](const char* name, Form form, const char* about) {
    return app
        ->add_flag_callback(
            name, [options, form] { options->input.form = form; }, about)
        ->group("Input, if it is not to be recognised");
  };
  const auto add_framing = [&](const char* name, Framing framing,
                               const char* about) {
    return app
        ->add_flag_callback(
            name, [options, framing] { options->input.framing = framing; },
            about)
        ->group("Input, if it is not to be recognised");
  };
  CLI::Option* binary =
      add_form("-b,--binary", Form::kBinary, "The bytes themselves");
  CLI::Option* hex =
      add_form("-x,--hex", Form::kHex, "Hex digits, also with 0x or \\x");
  CLI::Option* base64 = add_form("--base64", Form::kBase64, "Base64");
  CLI::Option* capture =
      add_form("--capture", Form::kCapture,
               "The UDP datagrams of a pcap or pcapng file,\n"
               "but no TCP, and no fragments");
  CLI::Option* single = add_framing("--single", Framing::kSingle,
                                    "One message, also when it is in lines");
  CLI::Option* delimited =
      add_framing("-d,--delimited", Framing::kDelimited,
                  "Many messages, each behind its length as a varint");
  CLI::Option* lines = add_framing("-l,--lines", Framing::kLines,
                                   "Many messages, each on a line of text");
  app->add_option("--port", options->input.port,
                  "Of a capture, all datagrams from or to this UDP port;\n"
                  "without it, those that look like the message")
      ->check(CLI::Range(1, 65535))
      ->type_name("PORT");
  binary->excludes(hex)->excludes(base64)->excludes(capture)->excludes(lines);
  hex->excludes(base64)->excludes(capture);
  base64->excludes(capture);
  for (CLI::Option* framing : {single, delimited, lines}) {
    capture->excludes(framing);
  }
  single->excludes(delimited)->excludes(lines);
  delimited->excludes(lines);
  const auto add_output = [&](const char* name, Output output,
                              const char* about) {
    return app
        ->add_flag_callback(
            name, [options, output] { options->output = output; }, about)
        ->group("Output, if it is not to be a tree");
  };
  CLI::Option* one_line = add_output("-1,--one-line", Output::kOneLine,
                                     "One line for each message");
  CLI::Option* json =
      add_output("-j,--json", Output::kJson,
                 "One JSON object a line, which zorvik encode takes");
  app->add_option("-f,--fields", options->fields,
                  "The values of these fields between tabs, such as\n"
                  "topic_type,data.rotationValue.pitch")
      ->type_name("PATH,...")
      ->group("Output, if it is not to be a tree")
      ->excludes(json)
      ->excludes(one_line);
  json->excludes(one_line);
  app->add_flag("--whole", options->whole, "Long fields of bytes are not cut");
  app->footer(
      "What a message has before and behind a fault is shown; the fault and "
      "its\n"
      "offset are on standard error. JSON has all bytes of a message as "
      "\"raw\"\n"
      "where it does not say all of it.\n\n"
      "Examples:\n"
      "  $ zorvik decode envelope.bin\n"
      "  $ zorvik decode demo.pcap --one-line\n"
      "  $ zorvik decode -t UavResetReqMessage <<<'08 04 10 03'\n"
      "  $ zorvik decode --json demo.pcap | jq .message.data\n"
      "  $ tshark -r demo.pcap -Y zorvik -T fields -e udp.payload | "
      "zorvik decode");
  return [options](Vocabulary* vocabulary) {
    return RunDecode(*options, vocabulary);
  };
}
