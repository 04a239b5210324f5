// Whatever somebody gives to zorvik decode and encode: in all forms of input
// and output. What is printed has no control characters, and what is printed as
// JSON leads back to the same bytes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "zorvik/decoder.h"
#include "zorvik/encoder.h"
#include "zorvik/input.h"
#include "zorvik/source.h"
#include "zorvik/text.h"

namespace {

Vocabulary& Words() {
  static Vocabulary vocabulary(DESCRIPTOR_SET, CATALOGUE);
  return vocabulary;
}

std::map<Framing, size_t> there_and_back;  // Messages, for the replay.

void Require(bool condition, const char* what, const std::string& text) {
  if (condition) return;
  std::fprintf(stderr, "input_fuzzer: %s: %s\n", what, Escaped(text).c_str());
  std::abort();
}

void RequireText(const std::string& text) {
  Require(IsText(text) && text.find('\r') == std::string::npos,
          "a control character is printed", text);
}

void CheckJson(const Encoder& encoder, const Piece& piece, Framing framing,
               const std::string& json) {
  if (!piece.fault.empty() || json.find(",\"message\":") == std::string::npos) {
    return;
  }
  Require(encoder.FromJson(json) == piece.bytes, "other bytes", json);
  ++there_and_back[framing];
}

void Decode(int pick, std::string_view data, const Encoder& encoder) {
  static constexpr Framing kFramings[] = {Framing::kDetect, Framing::kDetect,
                                          Framing::kDelimited, Framing::kLines};
  DecoderOptions options;
  options.type = Words().FindMessage("zorvik.channel.channelTopicMessage");
  options.output = static_cast<Output>(pick & 3);
  options.fields = {"topic_type", "data.seq", "data.payload_list.payload_id"};
  std::ostringstream out;
  Decoder decoder(options, &Words(), &out, RequireText);
  InputOptions input;
  input.framing = kFramings[pick >> 2 & 3];
  input.match = [&](const std::string& bytes) {
    return decoder.MatchOf(bytes);
  };
  Source source(ReadMemory(data));
  try {
    ReadInput(&source, input, [&](const Piece& piece) {
      out.str("");
      decoder.Show(piece);
      RequireText(out.str());
      if (options.output == Output::kJson) {
        CheckJson(encoder, piece, input.framing, out.str());
      }
    });
  } catch (const std::runtime_error& error) {
    RequireText(error.what());
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  google::protobuf::SetLogHandler(nullptr);
  std::atexit([] {
    std::fprintf(
        stderr, "%zu messages there and back, %zu delimited, %zu lines\n",
        there_and_back[Framing::kDetect], there_and_back[Framing::kDelimited],
        there_and_back[Framing::kLines]);
  });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view rest(reinterpret_cast<const char*>(data) + 1,
                              size - 1);
  EncoderOptions options;
  options.type = Words().FindMessage("zorvik.channel.channelTopicMessage");
  const Encoder encoder(options, &Words());
  Decode(data[0], rest, encoder);
  for (const auto& from : {&Encoder::FromJson, &Encoder::FromText}) {
    try {
      (encoder.*from)(std::string(rest));
    } catch (const std::runtime_error& error) {
      RequireText(error.what());
    }
  }
  return 0;
}
