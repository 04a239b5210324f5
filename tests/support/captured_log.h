// What the protobuf runtime logs.
#ifndef TESTS_SUPPORT_CAPTURED_LOG_H_
#define TESTS_SUPPORT_CAPTURED_LOG_H_

#include <google/protobuf/stubs/logging.h>

#include <string>

// Collects what the protobuf runtime logs during its lifetime.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  const std::string& text() const { return text_; }

 private:
  static void Append(google::protobuf::LogLevel level, const char* file,
                     int line, const std::string& message);

  static CapturedLog* current_;
  google::protobuf::LogHandler* previous_;
  std::string text_;
};

#endif  // TESTS_SUPPORT_CAPTURED_LOG_H_
