#include "support/captured_log.h"

namespace pb = google::protobuf;

CapturedLog* CapturedLog::current_ = nullptr;

CapturedLog::CapturedLog() : previous_(pb::SetLogHandler(&Append)) {
  current_ = this;
}

CapturedLog::~CapturedLog() {
  pb::SetLogHandler(previous_);
  current_ = nullptr;
}

void CapturedLog::Append(pb::LogLevel, const char*, int,
                         const std::string& message) {
  current_->text_ += message + '\n';
}
