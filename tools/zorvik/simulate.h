// What the virtual payloads have to do with the rules.
#ifndef TOOLS_ZORVIK_SIMULATE_H_
#define TOOLS_ZORVIK_SIMULATE_H_

#include <string>
#include <vector>

#include "check_report.h"
#include "vocabulary.h"

// The number of a payload type such as "PAYLOAD_GIMBAL". Throws
// std::runtime_error.
int PayloadTypeOf(const std::string& name, const Vocabulary& vocabulary);

// The kinds of virtual payloads that can break a rule.
std::vector<std::string> BreakersOf(const Rule& rule, Vocabulary* vocabulary);

#endif  // TOOLS_ZORVIK_SIMULATE_H_
