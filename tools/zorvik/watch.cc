// zorvik watch: what is on the air.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "decoder.h"
#include "ear.h"
#include "json.h"
#include "screen.h"
#include "table.h"

namespace {

using Clock = std::chrono::steady_clock;

struct WatchOptions {
  std::vector<std::string> places;
  std::optional<int> node;
  int port = 0;
  double seconds = 0, interval = 1;
  uint64_t count = 0;
  bool json = false, lines = false;
  BrokerOptions broker;
};

void PrintJson(const Table::Key& key, const Table::Row& row) {
  std::cout << "{\"node\":" << key.first << ",\"topic_type\":" << key.second
            << ",\"count\":" << row.count << ",\"rate\":" << row.rate
            << ",\"faults\":{";
  for (size_t i = 0; i < kKinds; ++i) {
    std::cout << (i == 0 ? "" : ",") << '"' << kKindNames[i]
              << "\":" << row.faults[i];
  }
  std::cout << "},\"last\":" << Quoted(row.content) << "}\n";
}

void PrintLine(const Table::Key& key, const Table::Row& row) {
  char rate[32];
  std::snprintf(rate, sizeof rate, "%.1f", row.rate);
  const std::string faults = row.Faults();
  std::cout << "node " << key.first << ", " << row.topic << ": " << row.count
            << " in all, " << rate << " a second"
            << (faults.empty() ? "" : ", " + faults) << ": " << row.content
            << '\n';
}

void Print(const Table& table, bool json) {
  for (const auto& [key, row] : table.rows()) {
    if (row.changed) json ? PrintJson(key, row) : PrintLine(key, row);
  }
  if (!(std::cout << std::flush)) throw CannotWrite();
}

class Watch {
 public:
  Watch(const WatchOptions& options, Vocabulary* vocabulary)
      : options_(options),
        none_(nullptr),
        decoder_(ForEnvelopes(vocabulary), vocabulary, &none_,
                 [](const std::string&) {}),
        table_(vocabulary, options.node) {
    const EarOptions how{options.port,
                         [this](const std::string& bytes) {
                           return decoder_.MatchOf(bytes) != Match::kNone;
                         },
                         options.broker};
    for (const std::string& place : options.places) {
      ears_.push_back(EarAt(place, how));
      title_ += ' ' + place;
    }
  }

  int Run() {
    std::unique_ptr<Screen> screen;
    if (!options_.lines && !options_.json && isatty(STDOUT_FILENO) &&
        isatty(STDIN_FILENO)) {
      screen = std::make_unique<Screen>(HasColours());
    }
    const Clock::duration interval = Seconds(options_.interval);
    const Clock::time_point begin = Clock::now();
    Clock::time_point next = begin;
    bool more = true;
    while (more && !Stopped()) {
      const Clock::time_point now = Clock::now();
      if (now >= next) {
        Show(screen.get(), now);
        next = now + interval;
      }
      more = Listen(next - now) && (screen == nullptr || screen->Obey()) &&
             (options_.seconds <= 0 ||
              Clock::now() - begin < Seconds(options_.seconds));
      if (screen != nullptr) {
        const std::string trouble = Trouble();
        screen->Draw(table_, trouble.empty() ? title_ : "! " + trouble,
                     Clock::now());
      }
    }
    if (screen == nullptr) Show(nullptr, Clock::now());
    screen.reset();
    if (!options_.json) {
      std::cout << table_.count() << " envelopes, " << table_.faulty()
                << " with faults\n";
    }
    Remark();
    return 0;
  }

 private:
  static DecoderOptions ForEnvelopes(Vocabulary* vocabulary) {
    DecoderOptions options;
    options.type = MeantType("", *vocabulary);
    return options;
  }
  static Clock::duration Seconds(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(seconds));
  }

  void Show(Screen* screen, Clock::time_point now) {
    table_.Tick(now);
    if (screen != nullptr) return;
    Print(table_, options_.json);
    const std::string trouble = Trouble();
    if (trouble != trouble_ && !trouble.empty()) {
      std::cerr << "zorvik: " << trouble << "; trying again\n";
    }
    trouble_ = trouble;
  }

  std::string Trouble() const {
    for (const auto& ear : ears_) {
      if (!ear->Trouble().empty()) return ear->Trouble();
    }
    return "";
  }

  // Waits for what comes. False when that is all that was asked for.
  bool Listen(Clock::duration time) {
    const auto wait =
        std::chrono::duration_cast<std::chrono::milliseconds>(time).count() + 1;
    ::Listen(ears_, static_cast<int>(std::min<long>(wait, 500)),
             [this](const std::string& bytes) {
               if (!IsEnough()) table_.Add(bytes, Clock::now());
             });
    return !IsEnough();
  }

  bool IsEnough() const {
    return options_.count > 0 && table_.count() >= options_.count;
  }

  void Remark() {
    if (table_.without_row() > 0) {
      std::cerr << "zorvik: " << table_.without_row()
                << " envelopes were of more nodes and topics than have a row\n";
    }
    for (const auto& ear : ears_) {
      const std::string remark = ear->Remark();
      if (!remark.empty()) std::cerr << "zorvik: " << remark << '\n';
    }
  }

  const WatchOptions& options_;
  std::ostream none_;
  const Decoder decoder_;
  Table table_;
  std::vector<std::unique_ptr<Ear>> ears_;
  std::string title_ = "zorvik watch";
  std::string trouble_;  // That was told of last.
};

int RunWatch(const WatchOptions& options, Vocabulary* vocabulary) {
  CheckBrokerOptions(options.broker, options.places);
  TakeSignals();
  return Watch(options, vocabulary).Run();
}

}  // namespace

Run AddWatch(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "watch", "Show live what is sent: rates, ages, contents and faults");
  const auto options = std::make_shared<WatchOptions>();
  app->add_option("PLACE", options->places,
                  "udp:PORT, udp:HOST:PORT (also of a multicast group),\n"
                  "if:INTERFACE or mqtt:HOST:PORT/TOPIC, with + and #")
      ->required();
  app->add_option("--node", options->node,
                  "Node id; envelopes for others count as faults")
      ->type_name("NODE");
  app->add_option("--port", options->port,
                  "On an interface, all datagrams from or to this UDP port;\n"
                  "without it, those that look like envelopes")
      ->check(CLI::Range(1, 65535))
      ->type_name("PORT");
  app->add_option("--for", options->seconds, "End after this time")
      ->check(CLI::Range(0.1, 1e7))
      ->type_name("SECONDS");
  app->add_option("--count", options->count, "End after so many envelopes")
      ->check(CLI::Range(1, std::numeric_limits<int>::max()))
      ->type_name("NUMBER");
  app->add_option("--interval", options->interval, "Time between two looks")
      ->check(CLI::Range(0.1, 3600.0))
      ->type_name("SECONDS");
  app->add_flag("-l,--lines", options->lines, "Lines, also on a terminal");
  app->add_flag("-j,--json", options->json, "One JSON object a line");
  AddBrokerOptions(app, &options->broker);
  app->footer(
      "Envelopes are counted by their sender and topic type. On a terminal "
      "they\n"
      "are a table, which arrows scroll and q leaves; elsewhere, each interval "
      "has\n"
      "a line for all of which something has come. Faults are: content that "
      "the\n"
      "topic type does not carry, a topic type that the schemas do not have, "
      "bytes\n"
      "that are malformed, and, with --node, another destination. An "
      "interface\n"
      "takes the right to capture.\n\n"
      "Examples:\n"
      "  $ zorvik watch udp:40000\n"
      "  $ sudo zorvik watch if:eth0\n"
      "  $ zorvik watch mqtt:localhost/zorvik/+/+/out --for 60 --json");
  return [options](Vocabulary* vocabulary) {
    return RunWatch(*options, vocabulary);
  };
}
