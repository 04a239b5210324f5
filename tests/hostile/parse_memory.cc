// How much memory hostile bytes can make the parser take: measures the worst
// case of every message.
//
// usage: parse_memory               prints the table of docs/security.md
//        parse_memory --check FILE  fails where FILE has another table;
//        pointers
//                                   of 32 bits may make a parse take less
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "hostile/worst_parse.h"
#include "support/hex.h"
#include "support/schemas.h"

namespace {

namespace pb = google::protobuf;

// What a list takes per byte is the same at every doubling; this is enough of
// them.
constexpr size_t kMaxLength = 16384;

// The worst message of a schema.
struct Worst {
  const pb::Descriptor* type = nullptr;
  ParseMemory memory;
};

std::map<std::string, Worst> Measure() {
  std::map<std::string, Worst> worst;
  for (const pb::Descriptor* type : Messages()) {
    Worst& of_schema = worst[type->file()->name()];
    const ParseMemory memory = WorstParse(type, kMaxLength);
    if (memory.factor > of_schema.memory.factor) of_schema = {type, memory};
  }
  return worst;
}

// What the schemas that are not in the table have in common: unknown fields
// cost most in them.
constexpr char kOthers[] = "others";

void PrintTable() {
  const std::map<std::string, Worst> worst = Measure();
  double others = worst.begin()->second.memory.factor;
  for (const auto& [schema, of_schema] : worst) {
    others = std::min(others, of_schema.memory.factor);
  }
  std::cout << "| Schema | Factor | Worst message | Its worst input repeats |\n"
               "|---|---|---|---|\n";
  for (const auto& [schema, of_schema] : worst) {
    const double factor = std::ceil(of_schema.memory.factor);
    if (factor <= std::ceil(others)) continue;
    std::cout << "| " << schema << " | " << factor << " | `"
              << of_schema.type->name() << "` | `"
              << ToHex(of_schema.memory.content) << "` |\n";
  }
  std::cout << "| " << kOthers << " | " << std::ceil(others)
            << " | any | a group with an unknown number |\n";
}

// The factor that the table states for each schema.
std::map<std::string, double> ReadTable(const std::string& path) {
  std::map<std::string, double> stated;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string schema;
    char bar;
    double factor;
    if (!(words >> bar >> schema >> bar >> factor) || bar != '|') continue;
    if (schema == kOthers || schema.find(".proto") != std::string::npos) {
      stated[schema] = factor;
    }
  }
  return stated;
}

int Check(const std::string& path) {
  std::map<std::string, double> stated = ReadTable(path);
  std::map<std::string, double> measured;
  for (const auto& [schema, worst] : Measure()) {
    double& most = measured[stated.count(schema) > 0 ? schema : kOthers];
    most = std::max(most, std::ceil(worst.memory.factor));
  }
  stated.try_emplace(kOthers);
  int faults = 0;
  for (const auto& [schema, factor] : stated) {
    const double least = sizeof(void*) == 8 ? factor : std::ceil(factor / 4);
    if (measured[schema] >= least && measured[schema] <= factor) continue;
    ++faults;
    std::cerr << schema << " takes up to " << measured[schema]
              << " bytes per byte of input, and " << path << " states "
              << factor << '\n';
  }
  return faults == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  // Inputs with invalid UTF-8 are among the worst: their reports are counted,
  // but need not be seen.
  pb::SetLogHandler(nullptr);
  if (argc == 3 && std::string(argv[1]) == "--check") return Check(argv[2]);
  if (argc != 1) {
    std::cerr << "usage: parse_memory [--check FILE]\n";
    return 2;
  }
  PrintTable();
  return 0;
}
