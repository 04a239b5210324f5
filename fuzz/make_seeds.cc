// Writes the seeds of a fuzz target: the byte vectors that all languages share,
// and the inputs that once showed a fault.
//
// usage: make_seeds message|channel VECTORS REGRESSIONS FOLDER

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

}  // namespace

int main(int argc, char** argv) try {
  const std::string target = argc == 5 ? argv[1] : "";
  if (target != "message" && target != "channel") {
    std::cerr << "usage: make_seeds message|channel VECTORS REGRESSIONS "
                 "FOLDER\n";
    return 2;
  }
  std::set<std::string> seeds;
  const auto insert = [&](const pb::Descriptor* type,
                          const std::string& bytes) {
    if (target == "message") {
      seeds.insert(PickOf(type) + bytes);
      return;
    }
    seeds.insert(InEnvelope(type, bytes));
    if (type == zorvik::channel::channelTopicMessage::descriptor()) {
      seeds.insert(bytes);
    }
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
