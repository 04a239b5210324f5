// The exported contract: every symbol that programs built against the generated
// headers may refer to, as the dynamic linker sees it. The symbols are derived
// from the descriptors.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "accessMessage.pb.h"
#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// The address of a symbol that the library itself defines, or null.
void* Find(const std::string& symbol) {
  static void* const library =
      dlopen("libZorvikPBProto.so.2", RTLD_NOW | RTLD_NOLOAD);
  void* address = dlsym(library, symbol.c_str());
  Dl_info info;
  if (address == nullptr || dladdr(address, &info) == 0) return nullptr;
  return std::strstr(info.dli_fname, "libZorvikPBProto.so") ? address : nullptr;
}

std::string Sized(const std::string& name) {
  return std::to_string(name.size()) + name;
}

// "6zorvik6gimbal" for the package of a file.
std::string Namespace(const pb::FileDescriptor* file) {
  const size_t dot = file->package().find('.');
  EXPECT_EQ(file->package().find('.', dot + 1), std::string::npos)
      << "substitutions below count on two namespaces";
  return Sized(file->package().substr(0, dot)) +
         Sized(file->package().substr(dot + 1));
}

std::vector<std::string> SymbolsOf(const pb::Descriptor* type) {
  const std::string space = Namespace(type->file());
  const std::string name = space + Sized(type->name());
  const std::string arena = "PN6google8protobuf5ArenaE";
  std::vector<std::string> symbols = {
      "_ZN" + space + Sized("_" + type->name() + "_default_instance_") + "E",
      "_ZN6google8protobuf5Arena18CreateMaybeMessageIN" + name +
          "EJEEEPT_PS1_DpOT0_",
  };
  // With % for the name and & for an arena.
  std::istringstream patterns(
      "_ZTVN%E _ZTIN%E _ZN%C1E&b _ZN%C2E&b _ZN%C1ERKS1_ _ZN%C2ERKS1_ _ZN%D0Ev "
      "_ZN%D1Ev _ZN%D2Ev _ZNK%3NewE& _ZN%5ClearEv _ZNK%13IsInitializedEv "
      "_ZNK%12ByteSizeLongEv _ZNK%13GetCachedSizeEv "
      "_ZN%14_InternalParseEPKcPN6google8protobuf8internal12ParseContextE "
      "_ZNK%18_InternalSerializeEPhPN6google8protobuf2io19EpsCopyOutputStreamE "
      "_ZNK%13SetCachedSizeEi _ZNK%11GetMetadataEv _ZNK%12GetClassDataEv "
      "_ZN%8CopyFromERKS1_ _ZN%9MergeImplERN6google8protobuf7MessageERKS4_ "
      "_ZN%12InternalSwapEPS1_ _ZN%12_class_data_E");
  for (std::string pattern; patterns >> pattern;) {
    pattern.replace(pattern.find('%'), 1, name);
    const size_t at = pattern.find('&');
    if (at != std::string::npos) pattern.replace(at, 1, arena);
    symbols.push_back(pattern);
  }
  for (int i = 0; i < type->field_count(); ++i) {
    const pb::FieldDescriptor* field = type->field(i);
    if (field->is_repeated() || field->message_type() == nullptr) continue;
    symbols.push_back("_ZN" + name + "9_Internal" +
                      Sized(field->lowercase_name()) + "EPKS1_");
    if (field->message_type()->file() != type->file()) {
      symbols.push_back("_ZN" + name +
                        Sized("clear_" + field->lowercase_name()) + "Ev");
    }
  }
  return symbols;
}

std::vector<std::string> SymbolsOf(const pb::EnumDescriptor* type) {
  const std::string prefix = "_ZN" + Namespace(type->file());
  return {prefix + Sized(type->name() + "_IsValid") + "Ei",
          prefix + Sized(type->name() + "_descriptor") + "Ev"};
}

std::vector<std::string> SymbolsOf(const pb::FileDescriptor* file) {
  const std::string stem =
      file->name().substr(0, file->name().find('.')) + "_2eproto";
  const std::string table = "descriptor_table_" + stem;
  return {table, "_Z" + Sized(table + "_getter") + "v",
          "_ZN" + Sized("TableStruct_" + stem) + "7offsetsE"};
}

TEST(Contract, ExportsEverySymbol) {
  std::vector<std::string> symbols;
  const auto add = [&symbols](const auto& declared) {
    for (const auto* each : declared) {
      const std::vector<std::string> some = SymbolsOf(each);
      symbols.insert(symbols.end(), some.begin(), some.end());
    }
  };
  add(Messages());
  add(Enums());
  add(Schemas());
  ASSERT_GT(symbols.size(), Messages().size());
  for (const std::string& symbol : symbols) {
    EXPECT_NE(Find(symbol), nullptr) << symbol;
  }
}

// An executable may hold copies of the library's objects. All must agree on
// one: the library must not bind to its own copies.
TEST(Contract, HasOneDefaultInstanceSeenFromTheExecutable) {
  const pb::Message* const instances[] = {
      &zorvik::access::payloadList::default_instance(),
      &zorvik::channel::channelTopicMessage::default_instance(),
      &zorvik::gimbal::UavGimbalRotateReqMessage::default_instance()};
  for (const pb::Message* instance : instances) {
    EXPECT_EQ(pb::MessageFactory::generated_factory()->GetPrototype(
                  instance->GetDescriptor()),
              instance)
        << instance->GetTypeName();
  }
  // An absent record reads as the default instance of its type.
  EXPECT_EQ(&zorvik::gimbal::UavGimbalRotateReqMessage().rotationvalue(),
            &zorvik::gimbal::GimbalAttitude3d::default_instance());
}

}  // namespace
