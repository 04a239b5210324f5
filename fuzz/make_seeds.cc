// Writes the seeds of a fuzz target: the byte vectors that all languages share,
// and the inputs that once showed a fault.
//
// usage: make_seeds message|channel|input VECTORS REGRESSIONS FOLDER

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <stdexcept>

#include "channelMessage.pb.h"
#include "picked_message.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/topics.h"
#include "support/wire_vectors.h"
#include "zorvik/text.h"

namespace {

namespace pb = google::protobuf;
namespace fs = std::filesystem;

using UseEncoding =
    std::function<void(const pb::Descriptor*, const std::string&)>;

// Calls back with every encoding in a vector, good ones and bad ones.
void ForEachEncoding(const WireVector& vector, const pb::Descriptor* type,
                     const UseEncoding& use) {
  for (const char* key : {"hex", "input"}) {
    if (vector.Has(key)) use(type, FromHex(vector.Text(key)));
  }
  for (const char* key : {"also", "rejects"}) {
    for (const std::string& hex : vector.List(key)) use(type, FromHex(hex));
  }
}

// Calls back with every regression. Its lines are the full name of a message
// and the bytes of an encoding; those that begin with # are comments.
void ForEachRegression(const fs::path& folder, const UseEncoding& use) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    std::ifstream file(entry.path());
    std::string name;
    std::string bytes;
    for (std::string line; std::getline(file, line);) {
      if (line.rfind('#', 0) == 0) continue;
      if (name.empty()) {
        name = line;
      } else {
        bytes += FromHex(line);
      }
    }
    const pb::Descriptor* type =
        pb::DescriptorPool::generated_pool()->FindMessageTypeByName(name);
    if (type == nullptr) {
      throw std::runtime_error(entry.path().string() + " names no message");
    }
    use(type, bytes);
  }
}

// The topic type that carries a message, or else one that leaves it open.
int TopicFor(const pb::Descriptor* type) {
  for (const auto& [number, name] : CarriedMessages()) {
    if (name == type->full_name()) return number;
  }
  return zorvik::channel::CHANNEL_TOPIC_TYPE_PARACHUTE_ACTION;
}

std::string InEnvelope(const pb::Descriptor* type, const std::string& bytes) {
  zorvik::channel::channelTopicMessage envelope;
  envelope.set_topic_type(TopicFor(type));
  envelope.mutable_data()->PackFrom(*NewMessage(type));
  envelope.mutable_data()->set_value(bytes);
  return envelope.SerializeAsString();
}

// A capture with one datagram, which is a raw IPv4 packet, and of which the
// capture has so much.
std::string InCapture(const std::string& bytes, size_t most = 65535) {
  const auto number = [](size_t value, int size) {
    std::string text;
    while (size-- > 0) text += static_cast<char>(value >> (8 * size));
    return text;
  };
  const std::string length = number(bytes.size() + 28, 4);
  const std::string packet = number(0x4500, 2) + length.substr(2) +
                             number(0, 4) + number(0x4011, 2) + number(0, 2) +
                             number(0x0a000001, 4) + number(0x0a000002, 4) +
                             number(9000, 2) + number(9001, 2) +
                             number(bytes.size() + 8, 2) + number(0, 2) + bytes;
  const std::string kept = packet.substr(0, most);
  return number(0xa1b2c3d4, 4) + number(2, 2) + number(4, 2) + number(0, 8) +
         number(65535, 4) + number(101, 4) + number(0, 8) +
         number(kept.size(), 4) + length + kept;
}

// In the forms that people have, each behind the form of output.
std::set<std::string> InForms(const std::string& bytes) {
  const std::string length(1, static_cast<char>(bytes.size()));
  std::set<std::string> inputs;
  int output = 0;
  for (const std::string& form :
       {bytes, length + bytes + length + bytes, HexOf(bytes), Base64Of(bytes),
        HexOf(bytes) + '\n' + Base64Of(bytes), InCapture(bytes),
        InCapture(bytes, 10), InCapture(bytes, 24), InCapture(bytes, 70),
        "0000000 " + ToHex(bytes)}) {
    inputs.insert(static_cast<char>(++output % 4) + form);
    inputs.insert('\2' + form);  // As JSON.
  }
  // With a framing that is named, as JSON.
  inputs.insert('\12' + length + bytes);
  inputs.insert('\16' + HexOf(bytes) + '\n' + Base64Of(bytes));
  return inputs;
}

// What a target reads, made from an encoding of a message.
std::set<std::string> Inputs(const std::string& target,
                             const pb::Descriptor* type,
                             const std::string& bytes) {
  if (target == "message") return {PickOf(type) + bytes};
  if (target == "input") {
    // With another prefix, as long as the usual one, that a terminal would
    // obey.
    std::string obeyed = InEnvelope(type, bytes);
    const std::string usual = "type.googleapis.com";
    obeyed.replace(obeyed.find(usual), usual.size(), usual.size(), '\x1b');
    std::set<std::string> inputs = InForms(InEnvelope(type, bytes));
    inputs.insert('\0' + obeyed);
    inputs.insert('\1' + obeyed);
    return inputs;
  }
  std::set<std::string> inputs = {InEnvelope(type, bytes)};
  if (type == zorvik::channel::channelTopicMessage::descriptor()) {
    inputs.insert(bytes);
  }
  return inputs;
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string target = argc == 5 ? argv[1] : "";
  if (target != "message" && target != "channel" && target != "input") {
    std::cerr << "usage: make_seeds message|channel|input VECTORS REGRESSIONS "
                 "FOLDER\n";
    return 2;
  }
  std::set<std::string> seeds;
  const auto insert = [&](const pb::Descriptor* type,
                          const std::string& bytes) {
    seeds.merge(Inputs(target, type, bytes));
  };
  ForEachVector(argv[2], [&insert](const auto& vector, const auto* type) {
    ForEachEncoding(vector, type, insert);
  });
  ForEachRegression(argv[3], insert);
  fs::remove_all(argv[4]);
  fs::create_directories(argv[4]);
  int number = 0;
  for (const std::string& seed : seeds) {
    std::ofstream(fs::path(argv[4]) / ("seed-" + std::to_string(number++)),
                  std::ios::binary)
        << seed;
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "make_seeds: " << error.what() << '\n';
  return 1;
}
