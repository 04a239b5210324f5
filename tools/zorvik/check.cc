// zorvik check: whether traffic, a codec or a device keeps to the rules.
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "check_audit.h"
#include "check_cases.h"
#include "check_codec.h"
#include "check_device.h"
#include "check_report.h"
#include "command.h"
#include "decoder.h"
#include "ear.h"
#include "input.h"
#include "line.h"
#include "simulate.h"
#include "source.h"
#include "text.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Traffic {
  std::string file = "-";
  std::vector<std::string> live;
  double seconds = 0;
  uint64_t count = 0;
  InputOptions input;
  BrokerOptions broker;
  ReportOptions report;
};

void Warn(const std::string& what) {
  std::cout << std::flush;
  std::cerr << "zorvik: " << what << '\n';
}

class TrafficCheck {
 public:
  TrafficCheck(const Traffic& options, Vocabulary* vocabulary)
      : options_(options),
        none_(nullptr),
        decoder_(ForEnvelopes(vocabulary), vocabulary, &none_,
                 [](const std::string&) {}),
        post_(vocabulary),
        report_(kTraffic, Subject(), options.report, vocabulary),
        audit_(&post_, &report_, /*one_sided=*/false) {}

  int Run() {
    const bool read = options_.live.empty() ? Read() : Hear();
    audit_.End();
    const int result = report_.Finish();
    return read ? result : 1;
  }

 private:
  static DecoderOptions ForEnvelopes(Vocabulary* vocabulary) {
    DecoderOptions options;
    options.type = MeantType("", *vocabulary);
    return options;
  }

  std::string Subject() const {
    if (options_.live.empty()) {
      return options_.file == "-" ? "standard input" : options_.file;
    }
    std::string all;
    for (const std::string& place : options_.live) {
      all += (all.empty() ? "" : ", ") + place;
    }
    return all;
  }

  Match MatchOf(const std::string& bytes) const {
    return post_.IsFrame(bytes) ? Match::kGood : decoder_.MatchOf(bytes);
  }

  // False when not all of it could be read.
  bool Read() {
    bool good = true;
    InputOptions input = options_.input;
    input.match = [this](const std::string& bytes) { return MatchOf(bytes); };
    try {
      Source source(ReadFile(options_.file));
      if (source.Peek(1)
              .empty()) {  // It may be a message, but nothing was sent.
        Warn(Subject() + ": is empty; nothing was tested");
        return true;
      }
      const std::string unread =
          ReadInput(&source, input, [&](const Piece& piece) {
            if (piece.fault.empty()) {
              audit_.Take(piece.place, piece.bytes);
            } else {
              Warn(Subject() + ": " + piece.place + ": " + piece.fault);
              good = false;
            }
          });
      if (!unread.empty()) Warn(Subject() + ": " + unread);
    } catch (const std::runtime_error& error) {
      Warn(Subject() + ": " + error.what());
      good = false;
    }
    return good;
  }

  bool Hear() {
    const EarOptions how{options_.input.port,
                         [this](const std::string& bytes) {
                           return MatchOf(bytes) != Match::kNone;
                         },
                         options_.broker};
    std::vector<std::unique_ptr<Ear>> ears;
    for (const std::string& place : options_.live) {
      ears.push_back(EarAt(place, how));
    }
    const Clock::time_point begin = Clock::now();
    uint64_t count = 0;
    std::string trouble;
    while (!Stopped() && (options_.count == 0 || count < options_.count)) {
      const std::chrono::duration<double> passed = Clock::now() - begin;
      if (options_.seconds > 0 && passed.count() >= options_.seconds) break;
      ::Listen(ears, 100, [&](const std::string& bytes) {
        if (options_.count > 0 && count >= options_.count) return;
        audit_.Take("message " + std::to_string(++count), bytes);
      });
      for (const auto& ear : ears) {
        if (ear->Trouble() == trouble || ear->Trouble().empty()) continue;
        trouble = ear->Trouble();
        Warn(trouble + "; trying again");
      }
    }
    for (const auto& ear : ears) {
      const std::string remark = ear->Remark();
      if (!remark.empty()) Warn(remark);
    }
    return true;
  }

  const Traffic& options_;
  std::ostream none_;
  const Decoder decoder_;
  const Post post_;
  Report report_;
  Audit audit_;
};

void AddTraffic(CLI::App* check, Run* run) {
  CLI::App* app =
      check->add_subcommand("traffic", "Hold what nodes send to the rules");
  const auto options = std::make_shared<Traffic>();
  CLI::Option* file = app->add_option(
      "FILE", options->file,
      "A capture or a recording, in the forms that decode takes;\n"
      "standard input without it, or for -");
  CLI::Option* delimited = app->add_flag_callback(
      "-d,--delimited",
      [options] { options->input.framing = Framing::kDelimited; },
      "Many messages, each behind its length as a varint");
  app->add_option(
         "--port", options->input.port,
         "Of a capture or an interface, all datagrams from or to this\n"
         "UDP port; without it, those that look like messages")
      ->check(CLI::Range(1, 65535))
      ->type_name("PORT");
  CLI::Option* live =
      app->add_option("--live", options->live,
                      "Listen to udp:PORT, udp:HOST:PORT, if:INTERFACE or\n"
                      "mqtt:HOST:PORT/TOPIC; may be repeated")
          ->type_name("PLACE")
          ->allow_extra_args(false)
          ->excludes(file)
          ->excludes(delimited);
  app->add_option("--for", options->seconds, "Listen so long")
      ->check(CLI::Range(0.1, 1e7))
      ->needs(live)
      ->type_name("SECONDS");
  app->add_option("--count", options->count, "Listen to so many messages")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->needs(live)
      ->type_name("NUMBER");
  AddBrokerOptions(app, &options->broker);
  AddReportOptions(app, &options->report);
  app->footer(
      "A recording has to hold whole exchanges, from the first request on. "
      "Besides\n"
      "envelopes it may hold frames: 16 bits each for the role (1 request, 2 "
      "answer,\n"
      "3 report), the component and the id, most significant byte first, and "
      "then\n"
      "the message. How ids travel is open; this form is the program's own.\n\n"
      "Exit status: 0; 1 when a rule has failed or nothing was tested; 2 when "
      "the\n"
      "command line makes no sense.\n\n"
      "Examples:\n"
      "  $ zorvik check traffic flight.pcap\n"
      "  $ zorvik check traffic --delimited --junit report.xml "
      "recording.bin\n"
      "  $ zorvik check traffic --live mqtt:localhost/zorvik/# --for 60");
  app->parse_complete_callback([options, run] {
    *run = [options](Vocabulary* vocabulary) {
      CheckBrokerOptions(options->broker, options->live);
      return TrafficCheck(*options, vocabulary).Run();
    };
  });
}

struct Codec {
  std::vector<std::string> program;
  std::string message, vectors, bounds;
  double patience = 60;
  ReportOptions report;
};

int RunCodec(const Codec& options, Vocabulary* vocabulary) {
  std::string command;
  for (const std::string& word : options.program) {
    command += (command.empty() ? "" : " ") + word;
  }
  Report report(kCodec, command, options.report, vocabulary);
  std::optional<Bounds> bounds;
  if (!options.bounds.empty()) bounds.emplace(options.bounds);
  const Bounds* limits = bounds ? &*bounds : nullptr;
  const auto* only = options.message.empty()
                         ? nullptr
                         : MeantType(options.message, *vocabulary);
  const std::vector<Case> cases =
      CasesFor(vocabulary, options.vectors, limits, only);
  CodecCheck(vocabulary, limits, &report)
      .Run(options.program, cases, options.patience);
  return report.Finish();
}

void AddCodec(CLI::App* check, Run* run) {
  CLI::App* app = check->add_subcommand(
      "codec", "Test another implementation of the wire format");
  const auto options = std::make_shared<Codec>();
  options->vectors = (DataFolder() / "vectors").string();
  app->add_option("PROGRAM", options->program,
                  "The program behind the pipe and its arguments, behind --")
      ->required();
  app->add_option("-t,--type", options->message,
                  "Only the cases of this message")
      ->type_name("NAME");
  app->add_option("--vectors", options->vectors,
                  "Folder of the vectors, instead of the installed ones")
      ->type_name("FOLDER");
  app->add_option("--bounds", options->bounds,
                  "An options file of nanopb: the program has its bounds, "
                  "keeps\n"
                  "no unknown fields and ends a text at its first zero byte")
      ->type_name("FILE");
  app->add_option("--patience", options->patience,
                  "How long the program may be silent")
      ->check(CLI::Range(0.1, 2e6))
      ->type_name("SECONDS");
  AddReportOptions(app, &options->report);
  app->footer(
      "The program reads one JSON object a line and answers each with one on a "
      "line.\n"
      "A case has the full name of a \"message\", its \"bytes\" in hex and, "
      "mostly, its\n"
      "\"json\" form as a text. The answer has the \"bytes\" of the message "
      "read and written\n"
      "again, its \"json\" form and, as \"fromJson\", the bytes written "
      "after reading the\n"
      "\"json\" of the case; an \"error\" in place of all for bytes that it "
      "refuses, and a\n"
      "\"jsonError\" in place of \"fromJson\". A program without JSON leaves "
      "it out.\n\n"
      "Examples:\n"
      "  $ zorvik check codec -- ./my_peer --fast\n"
      "  $ zorvik check codec -t UavResetReqMessage -- python3 peer.py");
  app->parse_complete_callback([options, run] {
    *run = [options](Vocabulary* vocabulary) {
      return RunCodec(*options, vocabulary);
    };
  });
}

struct Device {
  std::string declaration, place, address;
  double patience = 10;
  BrokerOptions broker;
  ReportOptions report;
};

int RunDevice(const Device& options, Vocabulary* vocabulary) {
  const Post post(vocabulary);
  const Declaration device = ReadDeclaration(options.declaration, post);
  Report report(kDevice,
                device.name.empty() ? options.declaration : device.name,
                options.report, vocabulary);
  const auto line = LineAt(options.place, Side::kCounterpart, options.broker,
                           options.address);
  PlayDevice(device, post, line.get(), options.patience, &report, Stopped);
  return report.Finish();
}

void AddDevice(CLI::App* check, Run* run) {
  CLI::App* app =
      check->add_subcommand("device", "Play the exchanges with a device");
  const auto options = std::make_shared<Device>();
  app->add_option("DECLARATION", options->declaration,
                  "JSON file with what the device claims to be")
      ->required();
  app->add_option("--at", options->place,
                  "udp:HOST:PORT to listen at, or mqtt:HOST:PORT/TOPIC: the\n"
                  "device publishes on TOPIC/out and subscribes to TOPIC/in")
      ->type_name("PLACE")
      ->required();
  app->add_option("--to", options->address,
                  "udp:HOST:PORT where the device listens, for one that sends\n"
                  "nothing before it is asked")
      ->type_name("PLACE");
  app->add_option("--patience", options->patience,
                  "How long the device has for what it claims, and for each\n"
                  "answer")
      ->check(CLI::Range(0.1, 1e6))
      ->type_name("SECONDS");
  AddBrokerOptions(app, &options->broker);
  AddReportOptions(app, &options->report);
  app->footer(
      "It is node 1, the address server, the registry, the time server and the "
      "receiver\n"
      "of files. It sends the device the requests of the declaration, and no "
      "others;\n"
      "then, around the first that was answered, bytes that do not parse, an "
      "envelope\n"
      "for another node, and other content.\n\n"
      "Examples:\n"
      "  $ zorvik simulate gimbal --declaration >gimbal.json\n"
      "  $ zorvik simulate gimbal --at udp:127.0.0.1:40000 --for 20 &\n"
      "  $ zorvik check device gimbal.json --at udp:127.0.0.1:40000");
  app->parse_complete_callback([options, run] {
    *run = [options](Vocabulary* vocabulary) {
      return RunDevice(*options, vocabulary);
    };
  });
}

}  // namespace

Run AddCheck(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "check", "Check traffic, a codec or a device against the rules");
  const auto run = std::make_shared<Run>();
  const auto rules = std::make_shared<bool>(false);
  const auto json = std::make_shared<bool>(false);
  app->add_flag("--rules", *rules, "List the rules and do no more");
  app->add_flag("-j,--json", *json, "The rules as JSON");
  app->require_subcommand(0, 1);
  AddCodec(app, run.get());
  AddDevice(app, run.get());
  AddTraffic(app, run.get());
  app->footer(
      "A rule passes, fails, is not settled where it meets what the schemas "
      "leave\n"
      "open, or is not tested. A finding names the file and line of the "
      "schema.\n\n"
      "zorvik check SUBCOMMAND --help shows the options of a check.");
  return [run, rules, json](Vocabulary* vocabulary) {
    if (*rules) {
      PrintRules(*vocabulary, *json, [vocabulary](const Rule& rule) {
        return BreakersOf(rule, vocabulary);
      });
      return 0;
    }
    if (!*run) throw WrongUse("what is to be checked is not said");
    TakeSignals();
    return (*run)(vocabulary);
  };
}
