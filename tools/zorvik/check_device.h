// Plays the counterpart of a device.
#ifndef TOOLS_ZORVIK_CHECK_DEVICE_H_
#define TOOLS_ZORVIK_CHECK_DEVICE_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "check_audit.h"
#include "check_report.h"
#include "line.h"
#include "parcel.h"

// What a device claims to be.
struct Declaration {
  struct Request {
    const catalogue::Id* id;
    std::unique_ptr<google::protobuf::Message> message;
  };
  std::string name;
  int payload_type = 0;
  int node = 0;
  std::set<std::string> claims;
  std::vector<const catalogue::Id*> sends;
  std::vector<Request> requests;
};

// Reads the declaration of a file. Throws std::runtime_error.
Declaration ReadDeclaration(const std::string& path, const Post& post);

// Plays all exchanges. A device has so many seconds for each step. Returns
// early when the function says so.
void PlayDevice(const Declaration& device, const Post& post, Line* line,
                double patience, Report* report,
                const std::function<bool()>& is_over);

#endif  // TOOLS_ZORVIK_CHECK_DEVICE_H_
