// Answers the cases of zorvik check codec with nanopb, which has no JSON.
//
// usage: nanopb_peer < CASES > ANSWERS
#include <pb_decode.h>
#include <pb_encode.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "support/hex.h"

namespace {

struct Message {
  const pb_msgdesc_t* fields;
  size_t memory;        // Of its structure.
  size_t longest_form;  // That its bounds allow.
};

// By names in C. scripts/test-interop makes the file from nanopb's headers.
const std::map<std::string, Message> kMessages = {
#include "messages.inc"
};

// The text of a member that has no escapes in it.
std::string Member(const std::string& line, const std::string& name) {
  const std::string before = '"' + name + "\":\"";
  const size_t begin = line.find(before) + before.size();
  return line.substr(begin, line.find('"', begin) - begin);
}

// Everything is in buffers of just the size that there has to be.
std::string Answer(const Message& message, const std::string& bytes) {
  const std::vector<pb_byte_t> encoded(bytes.begin(), bytes.end());
  std::vector<pb_byte_t> content(message.memory), again(message.longest_form);
  pb_istream_t input = pb_istream_from_buffer(encoded.data(), encoded.size());
  if (!pb_decode(&input, message.fields, content.data())) {
    return std::string(R"({"error":")") + PB_GET_ERROR(&input) + "\"}";
  }
  pb_ostream_t output = pb_ostream_from_buffer(again.data(), again.size());
  if (!pb_encode(&output, message.fields, content.data())) {
    return std::string(R"({"error":"written again: )") + PB_GET_ERROR(&output) +
           "\"}";
  }
  return R"({"bytes":")" +
         ToHex({again.begin(), again.begin() + output.bytes_written}) + "\"}";
}

}  // namespace

int main() {
  for (std::string line; std::getline(std::cin, line);) {
    std::string name = Member(line, "message");
    std::replace(name.begin(), name.end(), '.', '_');
    std::cout << Answer(kMessages.at(name), FromHex(Member(line, "bytes")))
              << '\n';
  }
}
