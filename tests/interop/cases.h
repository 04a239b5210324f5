// What the library and another implementation of the wire format exchange.
#ifndef TESTS_INTEROP_CASES_H_
#define TESTS_INTEROP_CASES_H_

#include <google/protobuf/message.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

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

// All vectors, and every message of the vocabulary filled in several ways. The
// same ones in every run.
std::vector<Case> Cases(const std::filesystem::path& vector_folder);

// The message without what JSON does not hold: unknown fields.
std::unique_ptr<google::protobuf::Message> KnownContent(
    const google::protobuf::Message& message);

// Clears every number that is a negative zero, but not those within an Any.
void ClearNegativeZeros(google::protobuf::Message* message);

// Whether a float, here or in a record or an Any, has the greatest magnitude.
bool HoldsGreatestFloat(const google::protobuf::Message& message);

#endif  // TESTS_INTEROP_CASES_H_
