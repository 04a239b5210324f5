// zorvik watch: what is on the air.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "capture.h"
#include "command.h"
#include "decoder.h"
#include "json.h"
#include "net.h"
#include "screen.h"
#include "table.h"

namespace {

using Clock = std::chrono::steady_clock;
using Use = std::function<void(const std::string& bytes)>;

volatile sig_atomic_t stop = 0;

struct Options {
  std::vector<std::string> places;
  std::optional<int> node;
  int port = 0;
  double seconds = 0, interval = 1;
  uint64_t count = 0;
  bool json = false, lines = false;
  BrokerOptions broker;
};

// Something that can be heard.
class Ear {
 public:
  virtual ~Ear() = default;
  virtual int descriptor() const = 0;
  // Takes what has come. Throws std::runtime_error.
  virtual void Hear(const Use& use) = 0;
  // Why nothing can be heard at present; empty when something can.
  virtual std::string Trouble() const { return ""; }
  // What is to be said of it at the end; empty for nothing.
  virtual std::string Remark() { return ""; }
};

class UdpEar : public Ear {
 public:
  explicit UdpEar(const std::string& address) : socket_(ListenOn(address)) {}
  int descriptor() const override { return socket_.number(); }
  void Hear(const Use& use) override {
    for (int i = 0; i < 1000; ++i) {
      const ssize_t size =
          recv(descriptor(), &buffer_[0], buffer_.size(), MSG_DONTWAIT);
      if (size < 0) return;
      use(buffer_.substr(0, size));
    }
  }

 private:
  const Descriptor socket_;
  std::string buffer_ = std::string(65536, '\0');
};

// Hears all datagrams of a port, or those that look like envelopes.
class InterfaceEar : public Ear {
 public:
  InterfaceEar(const std::string& name, int port, const Decoder* decoder)
      : port_(port), decoder_(decoder) {
    char error[PCAP_ERRBUF_SIZE] = "";
    capture_.reset(pcap_open_live(name.c_str(), 65535, 1, 100, error));
    if (capture_ == nullptr ||
        pcap_setnonblock(capture_.get(), 1, error) != 0) {
      throw std::runtime_error(error);
    }
    bpf_program filter{};
    if (pcap_compile(capture_.get(), &filter, "udp or (vlan and udp)", 1,
                     PCAP_NETMASK_UNKNOWN) == 0) {
      pcap_setfilter(capture_.get(), &filter);
      pcap_freecode(&filter);
    }
  }
  int descriptor() const override {
    return pcap_get_selectable_fd(capture_.get());
  }
  void Hear(const Use& use) override {
    pcap_pkthdr* header = nullptr;
    const uint8_t* packet = nullptr;
    int result = 0;
    for (int i = 0; i < 1000; ++i) {
      result = pcap_next_ex(capture_.get(), &header, &packet);
      if (result != 1) break;
      Datagram datagram;
      if (FindDatagram(pcap_datalink(capture_.get()), *header, packet,
                       &datagram) != Packet::kDatagram) {
        continue;
      }
      if (port_ != 0 ? datagram.source_port == port_ ||
                           datagram.destination_port == port_
                     : decoder_->MatchOf(datagram.payload) != Match::kNone) {
        use(datagram.payload);
      }
    }
    if (result < 0) throw std::runtime_error(pcap_geterr(capture_.get()));
  }
  std::string Remark() override {
    pcap_stat stat{};
    if (pcap_stats(capture_.get(), &stat) != 0 || stat.ps_drop == 0) return "";
    return std::to_string(stat.ps_drop) + " packets were too many to hear";
  }

 private:
  std::unique_ptr<pcap_t, void (*)(pcap_t*)> capture_{nullptr, pcap_close};
  const int port_;
  const Decoder* const decoder_;
};

// Connects again when the broker goes away.
class BrokerEar : public Ear {
 public:
  BrokerEar(const Place& place, const BrokerOptions& options)
      : place_(place), options_(options) {
    Connect();
  }
  int descriptor() const override {
    return broker_ == nullptr ? -1 : broker_->descriptor();
  }
  void Hear(const Use& use) override {
    const Clock::time_point now = Clock::now();
    try {
      if (broker_ != nullptr) {
        broker_->Loop(0);
      } else if (now >= next_try_) {
        Connect();
      }
    } catch (const std::runtime_error& error) {
      broker_.reset();
      trouble_ = error.what();
      next_try_ = now + std::chrono::seconds(1);
    }
    for (const std::string& bytes : heard_) use(bytes);
    heard_.clear();
  }
  std::string Trouble() const override {
    return broker_ == nullptr ? trouble_ : "";
  }

 private:
  void Connect() {
    auto broker = std::make_unique<Broker>(place_, options_);
    broker->Subscribe(place_.topic,
                      [this](const std::string&, const std::string& bytes) {
                        heard_.push_back(bytes);
                      });
    broker_ = std::move(broker);
  }

  const Place place_;
  const BrokerOptions options_;
  std::unique_ptr<Broker> broker_;
  std::string trouble_;
  Clock::time_point next_try_;
  std::vector<std::string> heard_;
};

std::unique_ptr<Ear> EarAt(const std::string& place, const Options& options,
                           const Decoder* decoder) {
  const std::string scheme = place.substr(0, place.find(':'));
  const std::string rest =
      place.substr(std::min(scheme.size() + 1, place.size()));
  if (!rest.empty() && scheme == "udp") return std::make_unique<UdpEar>(rest);
  if (!rest.empty() && scheme == "if") {
    return std::make_unique<InterfaceEar>(rest, options.port, decoder);
  }
  if (scheme == "mqtt") {
    return std::make_unique<BrokerEar>(PlaceOf(place), options.broker);
  }
  throw WrongUse(place +
                 " is none of udp:PORT, udp:HOST:PORT, if:INTERFACE and "
                 "mqtt:HOST:PORT/TOPIC");
}

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
  Watch(const Options& options, Vocabulary* vocabulary)
      : options_(options),
        none_(nullptr),
        decoder_(ForEnvelopes(vocabulary), vocabulary, &none_,
                 [](const std::string&) {}),
        table_(vocabulary, options.node) {
    for (const std::string& place : options.places) {
      ears_.push_back(EarAt(place, options, &decoder_));
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
    while (more && stop == 0) {
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
    std::vector<pollfd> all = {{STDIN_FILENO, POLLIN, 0}};
    if (!isatty(STDIN_FILENO)) all[0].fd = -1;
    for (const auto& ear : ears_) all.push_back({ear->descriptor(), POLLIN, 0});
    const auto wait =
        std::chrono::duration_cast<std::chrono::milliseconds>(time).count() + 1;
    // A broker has to be talked to now and then.
    poll(all.data(), all.size(), static_cast<int>(std::min<long>(wait, 500)));
    for (const auto& ear : ears_) {
      ear->Hear([this](const std::string& bytes) {
        if (!IsEnough()) table_.Add(bytes, Clock::now());
      });
    }
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

  const Options& options_;
  std::ostream none_;
  const Decoder decoder_;
  Table table_;
  std::vector<std::unique_ptr<Ear>> ears_;
  std::string title_ = "zorvik watch";
  std::string trouble_;  // That was told of last.
};

int RunWatch(const Options& options, Vocabulary* vocabulary) {
  CheckBrokerOptions(options.broker,
                     std::any_of(options.places.begin(), options.places.end(),
                                 [](const std::string& place) {
                                   return place.rfind("mqtt:", 0) == 0;
                                 }));
  struct sigaction action {};
  action.sa_handler = [](int) { stop = 1; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(signal, &action, nullptr);
  }
  return Watch(options, vocabulary).Run();
}

}  // namespace

Run AddWatch(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "watch", "Show live what is sent: rates, ages, contents and faults");
  const auto options = std::make_shared<Options>();
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
      ->check(CLI::PositiveNumber)
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
