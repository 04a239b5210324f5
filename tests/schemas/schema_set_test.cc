// Facts about the set of schemas that an edit could break without an
// error, read from the descriptors.
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;
using Names = std::set<std::string>;

TEST(SchemaSet, IsWhatTheFolderHolds) {
  Names in_folder;
  for (const auto& entry : std::filesystem::directory_iterator(SCHEMA_DIR)) {
    in_folder.insert(entry.path().filename());
  }
  Names in_library;
  for (const pb::FileDescriptor* file : Schemas()) {
    in_library.insert(file->name());
  }
  EXPECT_EQ(in_library, in_folder) << "the list is in CMakeLists.txt";
}

TEST(SchemaSet, GivesEveryFileAPackageOfItsOwnButFive) {
  std::map<std::string, Names> packages;
  for (const pb::FileDescriptor* file : Schemas()) {
    packages[file->package()].insert(file->name());
  }
  EXPECT_EQ(packages["zorvik.protocol"],
            (Names{"factoryTestMessage.proto", "parachuteMessage.proto",
                   "throwerMessage.proto", "tracerMessage.proto",
                   "uavComponentID.proto"}));
  EXPECT_EQ(packages.size(), Schemas().size() - 4);
}

TEST(SchemaSet, HasFewDependencies) {
  Names dependencies;
  for (const pb::FileDescriptor* file : Schemas()) {
    for (int i = 0; i < file->dependency_count(); ++i) {
      dependencies.insert(file->name() + " " + file->dependency(i)->name());
    }
  }
  EXPECT_EQ(dependencies,
            (Names{"channelMessage.proto google/protobuf/any.proto",
                   "positionMessage.proto sdkSubMessage.proto",
                   "smcMessage.proto google/protobuf/any.proto",
                   "upgradeMessage.proto google/protobuf/any.proto"}));
}

TEST(SchemaSet, DeclaresInNumberOrderWithTwoExceptions) {
  Names unordered;
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 1; i < type->field_count(); ++i) {
      if (type->field(i - 1)->number() > type->field(i)->number()) {
        unordered.insert(type->full_name());
      }
    }
  }
  for (const pb::EnumDescriptor* type : Enums()) {
    EXPECT_EQ(type->value(0)->number(), 0) << type->full_name();
    for (int i = 1; i < type->value_count(); ++i) {
      if (type->value(i - 1)->number() > type->value(i)->number()) {
        unordered.insert(type->full_name());
      }
    }
  }
  EXPECT_EQ(unordered, (Names{"zorvik.flightCtl.posCommand",
                              "zorvik.sdksub.sdkSubTopicID"}));
}

TEST(SchemaSet, UsesThePlainPartOfTheLanguage) {
  for (const pb::FileDescriptor* file : Schemas()) {
    SCOPED_TRACE(file->name());
    pb::FileDescriptorProto proto;
    file->CopyTo(&proto);
    EXPECT_EQ(proto.syntax(), "proto3");
    EXPECT_EQ(proto.service_size() + proto.extension_size(), 0);
    for (const pb::DescriptorProto& type : proto.message_type()) {
      // A map would nest a type, and an optional field a oneof.
      EXPECT_EQ(type.nested_type_size() + type.enum_type_size() +
                    type.oneof_decl_size(),
                0)
          << type.name();
    }
    EXPECT_EQ(proto.DebugString().find("options {"), std::string::npos);
  }
}

// Zigzag and enum-typed fields are rare on purpose: elsewhere signed numbers
// are int32, and the numbers of enums travel in plain integers.
TEST(SchemaSet, KeepsRareFieldTypesWhereTheyAre) {
  Names zigzag;
  Names enum_files;
  Names packed;
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 0; i < type->field_count(); ++i) {
      const pb::FieldDescriptor* field = type->field(i);
      if (field->type() == pb::FieldDescriptor::TYPE_SINT32) {
        zigzag.insert(field->full_name());
      }
      if (field->enum_type() != nullptr)
        enum_files.insert(type->file()->name());
      if (field->is_packed()) packed.insert(field->full_name());
    }
  }
  const std::string target = "zorvik.protocol.singleTargetInfo.";
  EXPECT_EQ(zigzag, (Names{target + "tmFw", target + "tmFy", target + "tfFw",
                           target + "tfFy"}));
  EXPECT_EQ(enum_files, Names{"gimbalMessage.proto"});
  EXPECT_EQ(packed, (Names{"zorvik.camera.CameraRangeListMessage.rangeList",
                           "zorvik.protocol.TracerSystemInfoMessage.disk"}));
}

}  // namespace
