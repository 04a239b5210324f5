#include "picked_message.h"

#include <cstdio>
#include <cstdlib>
#include <map>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// FNV-1a, folded to 16 bits.
uint16_t Hash(const std::string& name) {
  uint32_t hash = 2166136261u;
  for (unsigned char c : name) hash = (hash ^ c) * 16777619u;
  return static_cast<uint16_t>(hash ^ (hash >> 16));
}

std::map<uint16_t, const pb::Descriptor*> MessagesByHash() {
  std::map<uint16_t, const pb::Descriptor*> messages;
  for (const pb::Descriptor* type : Messages()) {
    if (!messages.emplace(Hash(type->full_name()), type).second) {
      std::fprintf(stderr, "%s has the pick of another message\n",
                   type->full_name().c_str());
      std::abort();
    }
  }
  return messages;
}

}  // namespace

const pb::Descriptor* Picked(const uint8_t* pick) {
  static const auto* messages = new auto(MessagesByHash());
  const auto next =
      messages->lower_bound(static_cast<uint16_t>(pick[0] << 8 | pick[1]));
  return next == messages->end() ? messages->begin()->second : next->second;
}

std::string PickOf(const pb::Descriptor* type) {
  const uint16_t hash = Hash(type->full_name());
  return {static_cast<char>(hash >> 8), static_cast<char>(hash & 0xff)};
}
