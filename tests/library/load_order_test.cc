// Watches the library register its schemas while the program is loaded: this
// program's AddDescriptorsRunner comes before the protobuf runtime's.
#include <dlfcn.h>
#include <google/protobuf/generated_message_reflection.h>
#include <gtest/gtest.h>

#include <cstring>

#include "channelMessage.pb.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

struct Registration {
  std::string file;
  // Whether the default instances of another schema were there already.
  bool instances_ready;
};

// Filled before this program's own initialisers run.
std::vector<Registration>& Registrations() {
  static auto* registrations = new std::vector<Registration>;
  return *registrations;
}

bool InstancesReady(const pb::internal::DescriptorTable& table) {
  for (int i = 0; i < table.num_messages; ++i) {
    // A constructed object has its table of virtual functions.
    void* vtable = nullptr;
    const void* instance = table.default_instances[i];
    std::memcpy(&vtable, instance, sizeof vtable);
    if (vtable == nullptr) return false;
  }
  return true;
}

}  // namespace

namespace google::protobuf::internal {

AddDescriptorsRunner::AddDescriptorsRunner(const DescriptorTable* table) {
  // The runtime's own have a folder in their names.
  if (std::strchr(table->filename, '/') == nullptr) {
    Registrations().push_back(
        {table->filename,
         InstancesReady(*table) &&
             InstancesReady(descriptor_table_channelMessage_2eproto)});
  }
  using Runner = void (*)(AddDescriptorsRunner*, const DescriptorTable*);
  const auto next = reinterpret_cast<Runner>(
      dlsym(RTLD_NEXT,
            "_ZN6google8protobuf8internal20AddDescriptorsRunnerC1EPKNS1_"
            "15DescriptorTableE"));
  next(this, table);
}

}  // namespace google::protobuf::internal

namespace {

// Runs first: nothing before it may ask for a descriptor.
TEST(Load, LeavesDescriptorsUnbuiltAndHasAllDefaultInstances) {
  ASSERT_FALSE(Registrations().empty());
  for (const Registration& registration : Registrations()) {
    EXPECT_FALSE(pb::DescriptorPool::generated_pool()->InternalIsFileLoaded(
        registration.file))
        << registration.file;
    EXPECT_TRUE(registration.instances_ready) << registration.file;
  }
}

TEST(Load, RegistersEverySchemaOnceInFileNameOrder) {
  std::vector<std::string> registered, expected;
  for (const Registration& registration : Registrations()) {
    registered.push_back(registration.file);
  }
  for (const pb::FileDescriptor* schema : Schemas()) {
    expected.push_back(schema->name());
  }
  EXPECT_EQ(registered, expected);
}

}  // namespace
