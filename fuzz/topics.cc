#include "topics.h"

#include <cstdlib>
#include <iostream>

#include "catalogue/reader.h"
#include "channelMessage.pb.h"

namespace {

std::map<int, std::string> ReadCarriedMessages() {
  const std::string& topics =
      zorvik::channel::channelTopicType_descriptor()->full_name();
  std::map<int, std::string> carried;
  const catalogue::Catalogue known = catalogue::Read(CATALOGUE);
  for (const catalogue::Id& id : known.ids()) {
    if (id.enum_() == topics && id.settled()) {
      carried[id.number()] = id.carries();
    }
  }
  if (carried.empty()) {
    std::cerr << CATALOGUE << " names no contents\n";
    std::abort();
  }
  return carried;
}

}  // namespace

const std::map<int, std::string>& CarriedMessages() {
  static const auto* carried = new auto(ReadCarriedMessages());
  return *carried;
}
