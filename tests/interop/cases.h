// What the library and another implementation of the wire format exchange.
#ifndef TESTS_INTEROP_CASES_H_
#define TESTS_INTEROP_CASES_H_

#include <google/protobuf/message.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "interop/bounds.h"

// Bytes to read, and the required result.
struct Case {
  std::string origin;  // Where it comes from, for a reader of a report.
  const google::protobuf::Descriptor* type;
  std::string bytes;

  // What the library reads; empty when the bytes must be refused.
  std::unique_ptr<google::protobuf::Message> message;

  // Its JSON form; empty when it has none that every implementation keeps.
  std::string json;
};

// All vectors, every message of the vocabulary filled in several ways, and
// every field that has a bound filled up to it and beyond. The same ones in
// every run.
std::vector<Case> Cases(const std::filesystem::path& vector_folder,
                        const Bounds& bounds);

// The message without what JSON does not hold: unknown fields.
std::unique_ptr<google::protobuf::Message> KnownContent(
    const google::protobuf::Message& message);

// Whether every float and double that is set passes, in records, in lists and
// in the vocabulary's messages in an Any, too. No other Any passes.
bool EveryNumber(const google::protobuf::Message& message,
                 const std::function<bool(double)>& passes);

inline bool IsNoNegativeZero(double value) {
  return value != 0 || !std::signbit(value);
}

#endif  // TESTS_INTEROP_CASES_H_
