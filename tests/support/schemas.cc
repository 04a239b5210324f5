#include "support/schemas.h"

#include <google/protobuf/descriptor_database.h>

#include <algorithm>

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
