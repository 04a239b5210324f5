#include "support/vocabulary.h"

#include <google/protobuf/descriptor_database.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string_view>

namespace pb = google::protobuf;

std::vector<const pb::FileDescriptor*> Schemas() {
  std::vector<std::string> names;
  pb::DescriptorPool::internal_generated_database()->FindAllFileNames(&names);
  std::sort(names.begin(), names.end());
  std::vector<const pb::FileDescriptor*> files;
  for (const std::string& name : names) {
    const pb::FileDescriptor* file =
        pb::DescriptorPool::generated_pool()->FindFileByName(name);
    if (file->package().rfind("zorvik.", 0) == 0) files.push_back(file);
  }
  return files;
}

std::vector<const pb::Descriptor*> Messages() {
  std::vector<const pb::Descriptor*> messages;
  for (const pb::FileDescriptor* file : Schemas()) {
    for (int i = 0; i < file->message_type_count(); ++i) {
      messages.push_back(file->message_type(i));
    }
  }
  return messages;
}

std::vector<const pb::EnumDescriptor*> Enums() {
  std::vector<const pb::EnumDescriptor*> enums;
  for (const pb::FileDescriptor* file : Schemas()) {
    for (int i = 0; i < file->enum_type_count(); ++i) {
      enums.push_back(file->enum_type(i));
    }
  }
  return enums;
}

std::unique_ptr<pb::Message> NewMessage(const pb::Descriptor* type) {
  return std::unique_ptr<pb::Message>(
      pb::MessageFactory::generated_factory()->GetPrototype(type)->New());
}

std::string Encode(const pb::Message& message) {
  return message.SerializeAsString();
}

std::string ToHex(const std::string& bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex;
  for (unsigned char byte : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += digits[byte >> 4];
    hex += digits[byte & 15];
  }
  return hex;
}

std::string FromHex(const std::string& hex) {
  std::string digits;
  for (char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else {
      EXPECT_EQ(c, ' ') << "in " << hex;
    }
  }
  EXPECT_EQ(digits.size() % 2, 0u) << "half a byte in " << hex;
  std::string bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

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
