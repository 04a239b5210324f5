// Writes the seeds of a fuzz target, made from the byte vectors that all
// languages share.
//
// usage: make_seeds message|channel FOLDER_OF_THE_VECTORS FOLDER

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>

#include "channelMessage.pb.h"
#include "picked_message.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/wire_vectors.h"
#include "topics.h"

namespace {

namespace pb = google::protobuf;
namespace fs = std::filesystem;

// Calls back with every encoding in a schema's vectors, good ones and bad ones.
void ForEachEncoding(
    const fs::path& folder, const pb::FileDescriptor* schema,
    const std::function<void(const pb::Descriptor*, const std::string&)>& use) {
  for (const WireVector& vector : ReadVectors(folder, schema)) {
    const pb::Descriptor* type =
        schema->pool()->FindMessageTypeByName(vector.Text("message"));
    for (const char* key : {"hex", "input"}) {
      if (vector.Has(key)) use(type, FromHex(vector.Text(key)));
    }
    for (const char* key : {"also", "rejects"}) {
      for (const std::string& hex : vector.List(key)) use(type, FromHex(hex));
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
  for (const pb::FileDescriptor* schema : Schemas()) {
    if (schema->message_type_count() == 0) continue;
    ForEachEncoding(
        vectors, schema,
        [&](const pb::Descriptor* type, const std::string& bytes) {
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
