// Bytes with which a codec is tested.
#ifndef TOOLS_ZORVIK_CHECK_CASES_H_
#define TOOLS_ZORVIK_CHECK_CASES_H_

#include <google/protobuf/descriptor.h>

#include <string>
#include <vector>

#include "bounds.h"
#include "check_report.h"
#include "vocabulary.h"

struct Case {
  const Rule* rule;
  std::string origin;  // For people.
  const google::protobuf::Descriptor* type;
  std::string bytes;
  bool refused = false;  // Whether the bytes have to be.
  std::string other;     // The bytes of which it has the JSON, if not of these.
};

// All vectors of the folder, every message filled in several ways, cut short,
// with what is not known and what is not allowed, and, with bounds, at them and
// beyond. The same ones in every run; those of one message when there is one.
// Throws std::runtime_error.
std::vector<Case> CasesFor(Vocabulary* vocabulary, const std::string& folder,
                           const Bounds* bounds,
                           const google::protobuf::Descriptor* only);

#endif  // TOOLS_ZORVIK_CHECK_CASES_H_
