// Another implementation of the wire format, as a program behind a pipe.
#ifndef TOOLS_ZORVIK_CHECK_CODEC_H_
#define TOOLS_ZORVIK_CHECK_CODEC_H_

#include <string>
#include <vector>

#include "bounds.h"
#include "check_cases.h"
#include "check_report.h"
#include "json.h"
#include "vocabulary.h"

// The answer of a program to one case.
struct CodecAnswer {
  std::string error;  // Why it refuses the bytes.
  std::string bytes;  // The message, read and written again.
  // The message in JSON, the bytes that it writes after reading that of the
  // case, or why it refuses that.
  std::string json, from_json, json_error;
  bool has_json = false;
};

class CodecCheck {
 public:
  // With bounds, of an implementation that has them.
  CodecCheck(Vocabulary* vocabulary, const Bounds* bounds, Report* report);

  // Runs the program and gives it all cases. Progress is shown on a terminal.
  void Run(const std::vector<std::string>& program,
           const std::vector<Case>& cases, double patience);

  // Compares an answer with what the case asks for.
  void Compare(const Case& item, const CodecAnswer& answer);

 private:
  std::string JsonOf(const Case& item, const std::string& bytes) const;
  std::string JsonFor(const Case& item) const;
  std::string LineOf(const Case& item) const;
  void TakeLine(const Case& item, const std::string& line);
  void CompareBytes(const Rule& rule, const std::string& where,
                    const google::protobuf::Message& message,
                    const std::string& theirs);
  void CompareJson(const std::string& where, const Case& item,
                   const google::protobuf::Message& message,
                   const CodecAnswer& answer);

  Vocabulary* const vocabulary_;
  const Bounds* const bounds_;
  Report& report_;
  const Json json_;
  size_t without_json_ = 0, with_json_ = 0;
};

#endif  // TOOLS_ZORVIK_CHECK_CODEC_H_
