// A plugin of the protobuf compiler that writes the catalogue of the schemas:
//
//   protoc --plugin=protoc-gen-zorvik=... --zorvik_out=version=2.0.0:FOLDER ...
//
// catalogue.json is for all programs; catalogue.lua holds what Wireshark's
// scripts need of it, zorvik/pairings.h what C++ programs do.
#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/compiler/plugin.h>
#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream.h>
#include <google/protobuf/util/json_util.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/builder.h"
#include "catalogue/lua.h"
#include "catalogue/pairings.h"

namespace {

namespace pb = google::protobuf;

std::string Json(const catalogue::Catalogue& catalogue) {
  pb::util::JsonPrintOptions options;
  options.add_whitespace = true;
  options.preserve_proto_field_names = true;
  std::string json;
  const auto status = pb::util::MessageToJsonString(catalogue, &json, options);
  GOOGLE_CHECK(status.ok()) << status;
  return json;
}

void Write(const std::string& text, const std::string& name,
           pb::compiler::GeneratorContext* context) {
  const std::unique_ptr<pb::io::ZeroCopyOutputStream> file(context->Open(name));
  pb::io::Printer(file.get(), '$').PrintRaw(text);
}

class Generator : public pb::compiler::CodeGenerator {
 public:
  uint64_t GetSupportedFeatures() const override {
    return FEATURE_PROTO3_OPTIONAL;
  }

  bool Generate(const pb::FileDescriptor* file, const std::string& parameter,
                pb::compiler::GeneratorContext* context,
                std::string* error) const override {
    return GenerateAll({file}, parameter, context, error);
  }

  bool GenerateAll(const std::vector<const pb::FileDescriptor*>& files,
                   const std::string& parameter,
                   pb::compiler::GeneratorContext* context,
                   std::string* error) const override {
    std::vector<std::pair<std::string, std::string>> options;
    pb::compiler::ParseGeneratorParameter(parameter, &options);
    if (options.size() != 1 || options[0].first != "version") {
      *error = "needs one parameter, version=N.N.N";
      return false;
    }
    catalogue::Faults faults;
    const catalogue::Catalogue catalogue =
        catalogue::Build(files, options[0].second, &faults);
    if (!faults.empty()) {
      *error = "the schemas' comments are at fault:\n" + faults.Text();
      return false;
    }
    Write(Json(catalogue), "catalogue.json", context);
    Write(catalogue::Lua(catalogue), "catalogue.lua", context);
    Write(catalogue::Pairings(catalogue), "zorvik/pairings.h", context);
    return true;
  }
};

}  // namespace

int main(int argc, char** argv) {
  const Generator generator;
  return pb::compiler::PluginMain(argc, argv, &generator);
}
