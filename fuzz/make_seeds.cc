// Writes the seeds of a fuzz target, made from the byte vectors that all
// languages share.
//
// usage: make_seeds message|channel FOLDER_OF_THE_VECTORS FOLDER
#include <google/protobuf/struct.pb.h>
#include <google/protobuf/util/json_util.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <sstream>

#include "channelMessage.pb.h"
#include "picked_message.h"
#include "support/vocabulary.h"
#include "topics.h"

namespace {

namespace pb = google::protobuf;
namespace fs = std::filesystem;

// Calls back with every encoding in a file of vectors, good ones and bad ones.
void ForEachEncoding(
    const fs::path& path,
    const std::function<void(const pb::Descriptor*, const std::string&)>& use) {
  std::stringstream json;
  json << std::ifstream(path).rdbuf();
  pb::Struct content;
  if (!pb::util::JsonStringToMessage(json.str(), &content).ok()) {
    throw std::runtime_error("cannot read " + path.string());
  }
  for (const pb::Value& item :
       content.fields().at("vectors").list_value().values()) {
    const auto& vector = item.struct_value().fields();
    const pb::Descriptor* type =
        pb::DescriptorPool::generated_pool()->FindMessageTypeByName(
            vector.at("message").string_value());
    for (const char* key : {"hex", "input"}) {
      if (!vector.contains(key)) continue;
      use(type, FromHex(vector.at(key).string_value()));
    }
    for (const char* key : {"also", "rejects"}) {
      if (!vector.contains(key)) continue;
      for (const pb::Value& hex : vector.at(key).list_value().values()) {
        use(type, FromHex(hex.string_value()));
      }
    }
  }
}

// The topic type that carries a message, or else one that leaves it open.
int TopicFor(const pb::Descriptor* type) {
  const pb::EnumDescriptor* topics =
      zorvik::channel::channelTopicType_descriptor();
  int open = 0;
  for (int i = 0; i < topics->value_count(); ++i) {
    const int number = topics->value(i)->number();
    const auto carried = CarriedMessages().find(number);
    if (carried == CarriedMessages().end()) {
      open = number;
    } else if (carried->second == type->full_name()) {
      return number;
    }
  }
  return open;
}

std::string InEnvelope(const pb::Descriptor* type, const std::string& bytes) {
  zorvik::channel::channelTopicMessage envelope;
  envelope.set_topic_type(TopicFor(type));
  envelope.mutable_data()->PackFrom(*NewMessage(type));
  envelope.mutable_data()->set_value(bytes);
  return envelope.SerializeAsString();
}

std::set<std::string> Seeds(const std::string& target,
                            const fs::path& vectors) {
  std::set<std::string> seeds;
  for (const auto& entry : fs::directory_iterator(vectors)) {
    if (entry.path().extension() != ".json") continue;
    ForEachEncoding(entry.path(), [&](const pb::Descriptor* type,
                                      const std::string& bytes) {
      if (target == "message") {
        seeds.insert(PickOf(type) + bytes);
        return;
      }
      seeds.insert(InEnvelope(type, bytes));
      if (type == zorvik::channel::channelTopicMessage::descriptor()) {
        seeds.insert(bytes);
      }
    });
  }
  return seeds;
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string target = argc == 4 ? argv[1] : "";
  if (target != "message" && target != "channel") {
    std::cerr << "usage: make_seeds message|channel FOLDER_OF_THE_VECTORS "
                 "FOLDER\n";
    return 2;
  }
  fs::create_directories(argv[3]);
  int number = 0;
  for (const std::string& seed : Seeds(target, argv[2])) {
    std::ofstream(fs::path(argv[3]) / ("seed-" + std::to_string(number++)),
                  std::ios::binary)
        << seed;
  }
  return number > 0 ? 0 : 1;
} catch (const std::exception& error) {
  std::cerr << "make_seeds: " << error.what() << '\n';
  return 1;
}
