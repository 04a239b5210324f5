// zorvik ids: what a number or a name is.
#include <google/protobuf/util/json_util.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "search.h"

namespace {

constexpr size_t kMost = 20;

struct IdsOptions {
  std::vector<std::string> query;
  bool all = false;
  bool json = false;
};

void PrintId(const catalogue::Id& id) {
  const std::string open = "open";
  if (!id.carries().empty()) {
    std::cout << "  carries " << id.carries() << '\n';
  } else if (!id.pairs().empty()) {
    std::cout << "  pairs with " << id.pairs()
              << ", open whether as the request or the answer\n";
  } else if (id.has_settled() && !id.settled()) {
    std::cout << "  which message it carries is open\n";
  }
  if (id.has_answer()) {
    std::cout << "  answer: "
              << (id.answer().message().empty() ? "content open"
                                                : id.answer().message());
    if (!id.answer().id().empty()) std::cout << ", under " << id.answer().id();
    std::cout << '\n';
  }
  for (const std::string& request : id.answers()) {
    std::cout << "  answers " << request << '\n';
  }
}

void PrintMessage(const catalogue::Message& message) {
  for (const std::string& id : message.carried_by()) {
    std::cout << "  travels under " << id << '\n';
  }
  for (const std::string& id : message.answer_of()) {
    std::cout << "  answers " << id << '\n';
  }
  for (const std::string& id : message.paired_with()) {
    std::cout << "  pairs with " << id << '\n';
  }
}

void PrintComment(const google::protobuf::Message& entry) {
  std::istringstream comment(entry.GetReflection()->GetString(
      entry, entry.GetDescriptor()->FindFieldByName("comment")));
  for (std::string line; std::getline(comment, line);) {
    std::cout << (line.empty() ? "" : "  ") << line << '\n';
  }
}

void Print(const Hit& hit) {
  if (hit.number) {
    std::cout << *hit.number << std::hex << " (0x" << *hit.number << ") "
              << std::dec;
  }
  std::cout << hit.kind << ' ' << hit.name << '\n';
  if (const auto* id = dynamic_cast<const catalogue::Id*>(hit.entry)) {
    PrintId(*id);
  } else if (const auto* message =
                 dynamic_cast<const catalogue::Message*>(hit.entry)) {
    PrintMessage(*message);
  }
  PrintComment(*hit.entry);
}

void PrintJson(const Hit& hit) {
  google::protobuf::util::JsonPrintOptions options;
  options.preserve_proto_field_names = true;
  std::string entry;
  google::protobuf::util::MessageToJsonString(*hit.entry, &entry, options);
  std::cout << "{\"kind\":\"" << hit.kind << "\",\"name\":\"" << hit.name
            << "\",\"entry\":" << entry << "}\n";
}

int RunIds(const IdsOptions& options, const Vocabulary& vocabulary) {
  std::string query;
  for (const std::string& word : options.query) query += word + ' ';
  query.pop_back();
  if (query.find_first_not_of(' ') == query.npos) {
    throw WrongUse("the query is empty");
  }
  const std::vector<Hit> hits = Search(vocabulary, query);
  if (hits.empty()) {
    throw std::runtime_error("nothing has the number or the name " + query);
  }
  const size_t shown =
      options.all || options.json ? hits.size() : std::min(kMost, hits.size());
  for (size_t i = 0; i < shown; ++i) {
    options.json ? PrintJson(hits[i]) : Print(hits[i]);
  }
  if (shown < hits.size()) {
    std::cout << "... and " << hits.size() - shown
              << " more; --all shows them\n";
  }
  return 0;
}

}  // namespace

Run AddIds(CLI::App* program) {
  CLI::App* app = program->add_subcommand(
      "ids", "Tell what a number, a hexadecimal number or a name is");
  const auto options = std::make_shared<IdsOptions>();
  app->add_option("QUERY", options->query,
                  "Numbers, names, parts of names or words of comments;\n"
                  "all have to match")
      ->required();
  app->add_flag("-a,--all", options->all, "Show all, however many");
  app->add_flag("--json", options->json,
                "One object a line, with the entry of the catalogue");
  app->footer(
      "Examples:\n"
      "  $ zorvik ids 10404\n"
      "  $ zorvik ids 0x28a4\n"
      "  $ zorvik ids gimbal rotate\n"
      "  $ zorvik ids zorvik::gimbal::UavGimbalRotateReqMessage");
  return [options](Vocabulary* vocabulary) {
    return RunIds(*options, *vocabulary);
  };
}
