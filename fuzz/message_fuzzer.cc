// Any of the library's messages, from hostile bytes: what parses can be
// written, read, copied, merged and shown; what does not leaves an object that
// is fit for use.
#include <google/protobuf/message.h>

#include "check.h"
#include "picked_message.h"
#include "support/schemas.h"

namespace pb = google::protobuf;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < kPickSize) return 0;
  const std::unique_ptr<pb::Message> message = NewMessage(Picked(data));
  if (message->ParseFromArray(data + kPickSize,
                              static_cast<int>(size - kPickSize))) {
    CheckForms(*message,
               IsSampled({reinterpret_cast<const char*>(data), size}));
    return 0;
  }
  CheckRefused(message.get());
  return 0;
}
