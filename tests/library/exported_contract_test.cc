// The shared library as the dynamic linker sees it, and the exported contract:
// every symbol that programs built against the generated headers may refer to.
// The symbols are derived from the descriptors.
#include <dlfcn.h>
#include <google/protobuf/generated_message_reflection.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>
#include <sstream>

#include "accessMessage.pb.h"
#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

class Library {
 public:
  Library() : handle_(dlopen("libZorvikPBProto.so.2", RTLD_NOW | RTLD_NOLOAD)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
    dlinfo(handle_, RTLD_DI_LINKMAP, &map_);
  }
  ~Library() { dlclose(handle_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // The address of a symbol that the library itself defines, or null.
  void* Find(const std::string& symbol) const {
    void* address = dlsym(handle_, symbol.c_str());
    Dl_info info;
    if (address == nullptr || dladdr(address, &info) == 0) return nullptr;
    return std::strcmp(info.dli_fname, map_->l_name) == 0 ? address : nullptr;
  }

  // The values of one tag in the dynamic section.
  std::vector<ElfW(Xword)> Dynamic(ElfW(Sxword) tag) const {
    std::vector<ElfW(Xword)> values;
    for (const ElfW(Dyn)* entry = map_->l_ld; entry->d_tag != DT_NULL;
         ++entry) {
      if (entry->d_tag == tag) values.push_back(entry->d_un.d_val);
    }
    return values;
  }

  std::vector<std::string> DynamicStrings(ElfW(Sxword) tag) const {
    const auto* table = reinterpret_cast<const char*>(
        static_cast<uintptr_t>(Dynamic(DT_STRTAB).at(0)));
    std::vector<std::string> strings;
    for (ElfW(Xword) offset : Dynamic(tag)) strings.push_back(table + offset);
    return strings;
  }

  uintptr_t base() const { return map_->l_addr; }

 private:
  void* handle_;
  link_map* map_ = nullptr;
};

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

TEST(Library, NamesItselfAndBothRuntimes) {
  const Library library;
  EXPECT_EQ(library.DynamicStrings(DT_SONAME),
            std::vector<std::string>{"libZorvikPBProto.so.2"});
  // A sanitizer's runtime comes before all others.
  std::vector<std::string> needed;
  for (const std::string& name : library.DynamicStrings(DT_NEEDED)) {
    if (name.find("san.so") == std::string::npos) needed.push_back(name);
  }
  ASSERT_GE(needed.size(), 2u);
  EXPECT_EQ(needed[0], "libprotobuf.so.32");
  EXPECT_EQ(needed[1], "libprotobuf-lite.so.32");
}

TEST(Library, IsBoundAtLoadStaysLoadedAndSealsItsRelocations) {
  const Library library;
  const std::vector<ElfW(Xword)> flags = library.Dynamic(DT_FLAGS_1);
  ASSERT_EQ(flags.size(), 1u);
  EXPECT_TRUE(flags[0] & DF_1_NOW);
  EXPECT_TRUE(flags[0] & DF_1_NODELETE);

  std::pair<uintptr_t, bool> base_and_relro = {library.base(), false};
  dl_iterate_phdr(
      [](dl_phdr_info* info, size_t, void* data) {
        auto& [base, relro] = *static_cast<decltype(base_and_relro)*>(data);
        if (info->dlpi_addr != base) return 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          relro |= info->dlpi_phdr[i].p_type == PT_GNU_RELRO;
        }
        return 1;
      },
      &base_and_relro);
  EXPECT_TRUE(base_and_relro.second);
}

TEST(Contract, ExportsEveryMessageClass) {
  const Library library;
  for (const pb::Descriptor* type : Messages()) {
    for (const std::string& symbol : SymbolsOf(type)) {
      EXPECT_NE(library.Find(symbol), nullptr) << symbol;
    }
  }
}

TEST(Contract, ExportsEnumHelpersThatKnowExactlyTheDeclaredNumbers) {
  const Library library;
  for (const pb::EnumDescriptor* type : Enums()) {
    SCOPED_TRACE(type->full_name());
    const std::string prefix = "_ZN" + Namespace(type->file());
    auto* is_valid = reinterpret_cast<bool (*)(int)>(
        library.Find(prefix + Sized(type->name() + "_IsValid") + "Ei"));
    auto* descriptor = reinterpret_cast<const pb::EnumDescriptor* (*)()>(
        library.Find(prefix + Sized(type->name() + "_descriptor") + "Ev"));
    ASSERT_NE(is_valid, nullptr);
    ASSERT_NE(descriptor, nullptr);
    EXPECT_EQ(descriptor(), type);
    for (int i = 0; i < type->value_count(); ++i) {
      const int number = type->value(i)->number();
      for (int n : {number - 1, number, number + 1}) {
        EXPECT_EQ(is_valid(n), type->FindValueByNumber(n) != nullptr) << n;
      }
    }
  }
}

TEST(Contract, ExportsTheDescriptorTableOfEverySchema) {
  const Library library;
  for (const pb::FileDescriptor* file : Schemas()) {
    SCOPED_TRACE(file->name());
    const std::string stem =
        file->name().substr(0, file->name().size() - strlen(".proto")) +
        "_2eproto";
    const std::string table_name = "descriptor_table_" + stem;
    const auto* table = static_cast<const pb::internal::DescriptorTable*>(
        library.Find(table_name));
    auto* getter = reinterpret_cast<const pb::internal::DescriptorTable* (*)()>(
        library.Find("_Z" + Sized(table_name + "_getter") + "v"));
    ASSERT_NE(table, nullptr);
    ASSERT_NE(getter, nullptr);
    EXPECT_EQ(getter(), table);
    EXPECT_EQ(table->filename, file->name());
    EXPECT_EQ(table->num_messages, file->message_type_count());
    EXPECT_EQ(table->num_deps, file->dependency_count());
    EXPECT_NE(library.Find("_ZN" + Sized("TableStruct_" + stem) + "7offsetsE"),
              nullptr);
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
