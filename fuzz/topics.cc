#include "topics.h"

#include <google/protobuf/descriptor.pb.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "channelMessage.pb.h"

namespace {

namespace pb = google::protobuf;

std::map<int, std::string> ReadCarriedMessages() {
  std::ifstream file(DESCRIPTOR_SET, std::ios::binary);
  pb::FileDescriptorSet set;
  pb::DescriptorPool pool;
  bool complete = set.ParseFromIstream(&file);
  for (const pb::FileDescriptorProto& schema : set.file()) {
    complete = complete && pool.BuildFile(schema) != nullptr;
  }
  std::map<int, std::string> carried;
  if (complete) {
    const pb::EnumDescriptor* topics = pool.FindEnumTypeByName(
        zorvik::channel::channelTopicType_descriptor()->full_name());
    for (int i = 0; i < topics->value_count(); ++i) {
      pb::SourceLocation location;
      topics->value(i)->GetSourceLocation(&location);
      std::istringstream words(location.leading_comments);
      for (std::string word; words >> word;) {
        if (word == "@carries") words >> carried[topics->value(i)->number()];
      }
    }
  }
  if (carried.empty()) {
    std::cerr << DESCRIPTOR_SET << " names no payloads\n";
    std::abort();
  }
  return carried;
}

}  // namespace

const std::map<int, std::string>& CarriedMessages() {
  static const auto* carried = new auto(ReadCarriedMessages());
  return *carried;
}
