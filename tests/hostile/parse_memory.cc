// How much memory hostile bytes can make the parser take: measures the worst
// case of every message.
//
// usage: parse_memory               prints the table of docs/security.md
//        parse_memory --check FILE  fails where FILE has another table;
//                                   pointers of 32 bits may make a parse take
//                                   less
#include <google/protobuf/descriptor.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>

#include "hostile/heap_meter.h"
#include "support/hex.h"
#include "support/schemas.h"
#include "support/wire.h"

namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

// What a list takes per byte is the same at every doubling; this is enough of
// them.
constexpr size_t kMaxLength = 16384;

// What a parse may take in addition, whatever the length of the input: for the
// first element of a list, the first unknown field, the report of a fault.
constexpr size_t kFixedPart = 1024;

// Texts that cost one object, one object with a block of its own (the string
// class keeps up to 15 bytes in place), and the report that this is no UTF-8.
const std::string kTexts[] = {"x", std::string(16, 'x'), "\xff"};

// Lists grow by doubling: they cost most just after they have grown.
std::vector<size_t> JustGrown(size_t most) {
  std::vector<size_t> sizes = {1};
  for (size_t size = 2; size <= most; size = 2 * size - 1) {
    sizes.push_back(size);
  }
  return sizes;
}

std::string CostliestContent(const pb::Descriptor* type);

// The pieces of input that make a message take memory.
std::vector<std::string> Pieces(const pb::Descriptor* type) {
  // A number of one byte that the message does not know.
  int unknown = 1;
  while (type->FindFieldByNumber(unknown) != nullptr) ++unknown;
  const std::string one = Varint(1);
  std::vector<std::string> pieces = {
      Tag(unknown, kVarint) + one, Delimited(unknown, ""),
      Tag(unknown, kStart)};  // A group that does not end.
  for (const std::string& text : kTexts) {
    pieces.push_back(Delimited(unknown, text));
  }
  // Groups in groups, the innermost empty or not.
  for (const std::string& inside :
       {std::string(), Tag(1, kVarint) + one, Delimited(1, "")}) {
    for (int depth : {0, 1, 3, 15, 63}) {
      pieces.push_back(Group(unknown, Times(depth, Tag(1, kStart)) + inside +
                                          Times(depth, Tag(1, kEnd))));
    }
  }
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) {
      for (const std::string& text : kTexts) {
        pieces.push_back(Delimited(field->number(), text));
      }
    } else if (field->message_type() != nullptr) {
      pieces.push_back(Delimited(field->number(), ""));
      pieces.push_back(
          Delimited(field->number(), CostliestContent(field->message_type())));
    } else if (field->is_repeated()) {
      pieces.push_back(Tag(field->number(), kVarint) + one);
    }
  }
  return pieces;
}

// The cost of one object with this content as an element of a list: the object,
// what it takes, and three pointers where the list has just grown.
double PerByteAsElement(const pb::Descriptor* type,
                        const std::string& content) {
  const HeapMeter meter;
  const std::unique_ptr<pb::Message> element = NewMessage(type);
  if (!element->ParseFromString(content)) return 0;
  return (meter.peak() + 3.0 * sizeof(void*)) /
         static_cast<double>(Delimited(1, content).size());
}

// The content that makes an element of a list take the most memory per byte:
// takes in each piece that raises it.
std::string CostliestContent(const pb::Descriptor* type) {
  std::string content;
  double cost = PerByteAsElement(type, content);
  for (bool better = true; better;) {
    better = false;
    for (const std::string& piece : Pieces(type)) {
      const double with_piece = PerByteAsElement(type, content + piece);
      if (with_piece <= cost * 1.001) continue;
      content += piece;
      cost = with_piece;
      better = true;
    }
  }
  return content;
}

// The worst that was found for a message, whether it takes the input or refuses
// it.
struct Worst {
  const pb::Descriptor* type = nullptr;
  // Bytes taken from the heap at one time, less kFixedPart, per byte of input.
  double factor = 0;
  std::string content;  // What the input repeats.

  void Try(const pb::Descriptor* of, const std::string& piece, size_t times) {
    const std::string bytes = Times(times, piece);
    const std::unique_ptr<pb::Message> message = NewMessage(of);
    const HeapMeter meter;
    (void)message->ParseFromString(bytes);
    const double taken = (static_cast<double>(meter.peak()) - kFixedPart) /
                         static_cast<double>(bytes.size());
    if (taken > factor) *this = {of, taken, piece};
  }
};

// The worst message of each schema: everything that a sender can repeat in it
// is tried.
std::map<std::string, Worst> Measure() {
  std::map<std::string, Worst> worst;
  for (const pb::Descriptor* type : Messages()) {
    Worst& of_schema = worst[type->file()->name()];
    for (const std::string& piece : Pieces(type)) {
      for (size_t times : JustGrown(kMaxLength / piece.size())) {
        of_schema.Try(type, piece, times);
      }
    }
    // Lists of numbers in one go.
    for (int i = 0; i < type->field_count(); ++i) {
      if (!type->field(i)->is_packed()) continue;
      for (size_t count : JustGrown(kMaxLength - 6)) {
        of_schema.Try(
            type, Delimited(type->field(i)->number(), Times(count, "\x01")), 1);
      }
    }
  }
  return worst;
}

// What the schemas that are not in the table have in common: unknown fields
// cost most in them.
constexpr char kOthers[] = "others";

void PrintTable() {
  const std::map<std::string, Worst> worst = Measure();
  double others = worst.begin()->second.factor;
  for (const auto& [schema, of_schema] : worst) {
    others = std::min(others, of_schema.factor);
  }
  std::cout << "| Schema | Factor | Worst message | Its worst input repeats |\n"
               "|---|---|---|---|\n";
  for (const auto& [schema, of_schema] : worst) {
    const double factor = std::ceil(of_schema.factor);
    if (factor <= std::ceil(others)) continue;
    std::cout << "| " << schema << " | " << factor << " | `"
              << of_schema.type->name() << "` | `" << ToHex(of_schema.content)
              << "` |\n";
  }
  std::cout << "| " << kOthers << " | " << std::ceil(others)
            << " | any | a group with an unknown number |\n";
}

int Check(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  const std::string document = text.str();
  const std::regex row(R"(\| (\S+\.proto|others) \| (\d+) \|)");
  std::map<std::string, double> stated;
  for (std::sregex_iterator it(document.begin(), document.end(), row), end;
       it != end; ++it) {
    stated[(*it)[1]] = std::stod((*it)[2]);
  }
  std::map<std::string, double> measured;
  for (const auto& [schema, worst] : Measure()) {
    double& most = measured[stated.count(schema) > 0 ? schema : kOthers];
    most = std::max(most, std::ceil(worst.factor));
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
