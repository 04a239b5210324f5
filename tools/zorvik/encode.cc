// zorvik encode: messages from text.
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "command.h"
#include "encoder.h"
#include "input.h"
#include "net.h"
#include "source.h"
#include "text.h"

namespace pb = google::protobuf;

namespace {

enum class Written { kHex, kBase64, kBinary, kDelimited };

struct EncodeOptions {
  std::string file = "-";
  std::string type, topic, send;
  int source = 0, destination = 0;
  Written form = Written::kHex;
  BrokerOptions broker;
};

// How long the JSON object is with which a text begins; 0 when it is not
// closed. Goes on from where it was left.
class ObjectEnd {
 public:
  size_t In(std::string_view text) {
    for (; at_ < text.size(); ++at_) {
      const char c = text[at_];
      if (in_text_) {
        if (c == '\\') ++at_;
        in_text_ = c != '"';
      } else if (c == '"') {
        in_text_ = true;
      } else if (c == '{' || c == '[') {
        ++depth_;
      } else if ((c == '}' || c == ']') && --depth_ == 0) {
        return at_ + 1;
      }
    }
    return 0;
  }

 private:
  size_t at_ = 0, depth_ = 0;
  bool in_text_ = false;
};

// Calls back with each JSON object, or with all of a text in the text format.
template <typename Use>
void ReadTexts(Source* source, Use use) {
  source->DropByteOrderMark();
  const std::runtime_error too_long("a message has more than " +
                                    std::to_string(kMostBytes) + " characters");
  while (true) {
    while (!source->Peek(1).empty() &&
           std::string_view(" \t\r\n").find(source->Peek(1)[0]) !=
               std::string_view::npos) {
      source->Drop(1);
    }
    if (source->Peek(1).empty() && source->offset() > 0) return;
    if (source->Peek(1) != "{") break;
    ObjectEnd end;
    size_t size = 0;
    while ((size = end.In(source->Ready())) == 0) {
      if (source->Ready().size() > kMostBytes) {
        throw too_long;
      }
      if (!source->Wait()) {
        size = source->Ready().size();
        break;
      }
    }
    use(std::string(source->Ready().substr(0, size)), true);
    source->Drop(size);
  }
  const std::string text(source->Peek(kMostBytes + 1));
  if (text.size() > kMostBytes) throw too_long;
  use(text, false);
}

class Writer {
 public:
  explicit Writer(Written form) : form_(form) {}

  void operator()(const std::string& bytes) {
    ++count_;
    switch (form_) {
      case Written::kHex:
        std::cout << HexOf(bytes) << '\n';
        break;
      case Written::kBase64:
        std::cout << Base64Of(bytes) << '\n';
        break;
      case Written::kDelimited: {
        std::string length;
        {
          pb::io::StringOutputStream stream(&length);
          pb::io::CodedOutputStream(&stream).WriteVarint64(bytes.size());
        }
        std::cout << length << bytes;
        break;
      }
      case Written::kBinary:
        if (count_ > 1) {
          throw std::runtime_error(
              "binary has no end of a message; --delimited has");
        }
        std::cout << bytes;
        break;
    }
    if (!(std::cout << std::flush)) throw CannotWrite();
  }

 private:
  const Written form_;
  size_t count_ = 0;
};

int RunEncode(const EncodeOptions& options, Vocabulary* vocabulary) {
  EncoderOptions how;
  how.type = MeantType(options.type, *vocabulary);
  if (!options.topic.empty()) {
    const catalogue::Id* topic = nullptr;
    try {
      topic = &vocabulary->MeantTopic(options.topic);
    } catch (const std::runtime_error& error) {
      throw WrongUse(error.what());
    }
    if (options.type.empty() && topic->carries().empty()) {
      throw WrongUse("which message " + topic->name() +
                     " carries is open; name it with --type");
    }
    if (options.type.empty())
      how.type = MeantType(topic->carries(), *vocabulary);
    how.envelope = MeantType("", *vocabulary);
    how.topic = topic->number();
    how.source = options.source;
    how.destination = options.destination;
  } else if (options.source != 0 || options.destination != 0) {
    throw WrongUse("--from and --to need --topic");
  }
  const bool binary =
      options.form == Written::kBinary || options.form == Written::kDelimited;
  Send write;
  const Place place = options.send.empty() ? Place() : PlaceOf(options.send);
  CheckBrokerOptions(options.broker, {options.send});
  if (!options.send.empty()) {
    write = SenderTo(place, options.broker);
  } else if (binary && isatty(STDOUT_FILENO)) {
    throw WrongUse("binary is not for a terminal");
  } else {
    write = Writer(options.form);
  }

  const Encoder encoder(how, vocabulary);
  FileRun run(options.file);
  size_t number = 0;
  return run.Read([&](Source* source) {
    ReadTexts(source, [&](const std::string& text, bool is_json) {
      ++number;
      std::string bytes;
      try {
        bytes = is_json ? encoder.FromJson(text) : encoder.FromText(text);
      } catch (const std::runtime_error& error) {
        return run.Complain("message " + std::to_string(number) + ": " +
                            error.what());
      }
      write(bytes);
    });
  });
}

}  // namespace

Run AddEncode(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "encode", "Encode messages from JSON or the text format");
  const auto options = std::make_shared<EncodeOptions>();
  app->add_option("FILE", options->file, "Standard input without it, or for -");
  app->add_option("-t,--type", options->type,
                  "Name of the message, as for decode")
      ->type_name("NAME");
  app->add_option(
         "--topic", options->topic,
         "Put it into an envelope of this topic type, by number, name\n"
         "or the end of the name; of a settled topic, the type follows")
      ->type_name("TOPIC");
  app->add_option("--from", options->source, "Node that sends the envelope")
      ->type_name("NODE");
  app->add_option("--to", options->destination, "Node that it is for")
      ->type_name("NODE");
  const auto add_form = [&](const char* name, Written form, const char* about) {
    return app
        ->add_flag_callback(
            name, [options, form] { options->form = form; }, about)
        ->group("Output, if it is not to be lines of hex");
  };
  CLI::Option* base64 =
      add_form("--base64", Written::kBase64, "Lines of base64");
  CLI::Option* binary =
      add_form("-b,--binary", Written::kBinary, "The bytes of one message");
  CLI::Option* delimited =
      add_form("-d,--delimited", Written::kDelimited,
               "The bytes of each message behind its length as a varint");
  base64->excludes(binary)->excludes(delimited);
  binary->excludes(delimited);
  CLI::Option* send =
      app->add_option("--send", options->send,
                      "Send each to udp:HOST:PORT or mqtt:HOST:PORT/TOPIC")
          ->type_name("PLACE")
          ->group("Output, if it is not to be lines of hex");
  for (CLI::Option* form : {base64, binary, delimited}) send->excludes(form);
  AddBrokerOptions(app, &options->broker);
  app->footer(
      "Input is one message in the text format, or JSON objects: messages, or\n"
      "what decode --json prints. What was not changed there has the bytes "
      "that\n"
      "it came from. In an envelope of JSON, topic_type may be a name, and "
      "the\n"
      "content of a settled topic needs no \"@type\".\n\n"
      "Examples:\n"
      "  $ zorvik encode --topic GIMBAL_ROTATE --from 1 --to 9 "
      "<<<'{\"rotationValue\": {\"yaw\": 45}}'\n"
      "  $ zorvik encode -t UavResetReqMessage <<<'seq: 4'\n"
      "  $ zorvik decode -j demo.pcap | zorvik encode --send "
      "udp:192.168.1.9:40000");
  return [options](Vocabulary* vocabulary) {
    return RunEncode(*options, vocabulary);
  };
}
