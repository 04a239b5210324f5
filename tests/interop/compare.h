// Compares the result of another implementation for a case with the library's.
#ifndef TESTS_INTEROP_COMPARE_H_
#define TESTS_INTEROP_COMPARE_H_

#include <google/protobuf/struct.pb.h>

#include <string>
#include <vector>

#include "interop/bounds.h"
#include "interop/cases.h"

// The answer of another implementation to one case.
struct Answer {
  std::string error;      // Why it refuses the bytes.
  std::string bytes;      // The message, read and written again.
  std::string json;       // The message in JSON; empty when none was asked for.
  std::string from_json;  // The bytes it writes after reading our JSON,
  std::string json_error;  // or why it refuses that.
};

// Whether an implementation writes a negative zero, as it has to.
enum class NegativeZero { kKept, kLost };

// One report per disagreement: the message, the field, both forms.
std::vector<std::string> Disagreements(const Case& expected,
                                       const Answer& answer, NegativeZero zero);

// The same for an implementation that has bounds and no JSON: it refuses what
// is beyond them, and may refuse bytes that the library reads but never writes.
std::vector<std::string> Disagreements(const Case& expected,
                                       const Answer& answer,
                                       const Bounds& bounds);

#endif  // TESTS_INTEROP_COMPARE_H_
