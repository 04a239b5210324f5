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
  for (const std::string& name : in_folder) {
    EXPECT_EQ(in_library.count(name), 1u)
        << name << " is not in the list of CMakeLists.txt";
  }
  EXPECT_EQ(in_library.size(), in_folder.size());
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
  for (const auto& [package, files] : packages) {
    EXPECT_TRUE(files.size() == 1 || package == "zorvik.protocol") << package;
  }
}

TEST(SchemaSet, HasFewDependencies) {
  std::map<std::string, Names> dependencies;
  for (const pb::FileDescriptor* file : Schemas()) {
    for (int i = 0; i < file->dependency_count(); ++i) {
      dependencies[file->name()].insert(file->dependency(i)->name());
    }
  }
  const Names any = {"google/protobuf/any.proto"};
  EXPECT_EQ(dependencies,
            (std::map<std::string, Names>{
                {"channelMessage.proto", any},
                {"positionMessage.proto", {"sdkSubMessage.proto"}},
                {"smcMessage.proto", any},
                {"upgradeMessage.proto", any},
            }));
}

TEST(SchemaSet, DeclaresFieldsInNumberOrderWithOneException) {
  Names unordered;
  for (const pb::Descriptor* type : Messages()) {
    for (int i = 1; i < type->field_count(); ++i) {
      if (type->field(i - 1)->number() > type->field(i)->number()) {
        unordered.insert(type->full_name());
      }
    }
  }
  EXPECT_EQ(unordered, Names{"zorvik.flightCtl.posCommand"});
}

TEST(SchemaSet, DeclaresEnumValuesInNumberOrderWithOneException) {
  Names unordered;
  for (const pb::EnumDescriptor* type : Enums()) {
    EXPECT_EQ(type->value(0)->number(), 0) << type->full_name();
    for (int i = 1; i < type->value_count(); ++i) {
      if (type->value(i - 1)->number() > type->value(i)->number()) {
        unordered.insert(type->full_name());
      }
    }
  }
  EXPECT_EQ(unordered, Names{"zorvik.sdksub.sdkSubTopicID"});
}

TEST(SchemaSet, UsesThePlainPartOfTheLanguage) {
  for (const pb::FileDescriptor* file : Schemas()) {
    SCOPED_TRACE(file->name());
    pb::FileDescriptorProto proto;
    file->CopyTo(&proto);
    EXPECT_EQ(proto.syntax(), "proto3");
    EXPECT_FALSE(proto.has_options());
    EXPECT_EQ(proto.service_size(), 0);
    EXPECT_EQ(proto.extension_size(), 0);
    for (const pb::EnumDescriptorProto& type : proto.enum_type()) {
      EXPECT_FALSE(type.has_options());
      for (const auto& value : type.value()) EXPECT_FALSE(value.has_options());
    }
    for (const pb::DescriptorProto& type : proto.message_type()) {
      SCOPED_TRACE(type.name());
      EXPECT_FALSE(type.has_options());
      EXPECT_EQ(type.nested_type_size(), 0);  // A map would nest a type, too.
      EXPECT_EQ(type.enum_type_size(), 0);
      EXPECT_EQ(type.oneof_decl_size(), 0);  // So would an optional field.
      for (const pb::FieldDescriptorProto& field : type.field()) {
        EXPECT_FALSE(field.has_options()) << field.name();
      }
    }
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
