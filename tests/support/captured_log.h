// What the protobuf runtime logs.
#ifndef TESTS_SUPPORT_CAPTURED_LOG_H_
#define TESTS_SUPPORT_CAPTURED_LOG_H_

#include <google/protobuf/stubs/logging.h>

#include <string>

// Collects what the protobuf runtime logs during its lifetime.
class CapturedLog {
 public:
  CapturedLog() : previous_(google::protobuf::SetLogHandler(&Append)) {
    current_ = this;
  }
  ~CapturedLog() { google::protobuf::SetLogHandler(previous_); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  const std::string& text() const { return text_; }

 private:
  static void Append(google::protobuf::LogLevel, const char*, int,
                     const std::string& message) {
    current_->text_ += message + '\n';
  }

  inline static CapturedLog* current_ = nullptr;
  google::protobuf::LogHandler* previous_;
  std::string text_;
};

#endif  // TESTS_SUPPORT_CAPTURED_LOG_H_
