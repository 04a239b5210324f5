#include "search.h"

#include <algorithm>
#include <cctype>
#include <regex>
#include <sstream>

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = std::tolower(static_cast<unsigned char>(c));
  return text;
}

// The query as it would be in a full name, word by word, numbers in decimal.
std::vector<std::string> WordsOf(const std::string& query) {
  static const std::regex kColons("::"), kUrl("[^ ]*/"), kMarks("[()\"'`,;]");
  static const std::regex kHex("0x([0-9a-f]{1,8})");
  std::string text = std::regex_replace(Lower(query), kColons, ".");
  text = std::regex_replace(text, kUrl, "");
  std::istringstream stream(std::regex_replace(text, kMarks, " "));
  std::vector<std::string> words;
  std::smatch match;
  for (std::string word; stream >> word;) {
    if (std::regex_match(word, match, kHex)) {
      word = std::to_string(std::stoull(match[1], nullptr, 16));
    }
    words.push_back(word);
  }
  return words;
}

int Score(const Hit& hit, const std::string& word) {
  if (hit.number && std::to_string(*hit.number) == word) return 1000;
  const std::string full = Lower(hit.name);
  if (full == word) return 950;
  const size_t dot = full.rfind('.');
  const std::string name = full.substr(dot + 1);
  if (name == word) return 900;
  const size_t at = name.find(word);
  if (at == 0) return 600;
  if (at != std::string::npos) return name[at - 1] == '_' ? 450 : 300;
  return word.size() > 2 && full.find(word) != std::string::npos ? 200 : 0;
}

// Adds the hit if every word matches it; things of one score follow by weight.
void Add(Hit hit, int weight, const std::vector<std::string>& words,
         std::vector<Hit>* hits) {
  for (const std::string& word : words) {
    const int score = Score(hit, word);
    if (score == 0) return;
    hit.score += score;
  }
  hit.score += weight - static_cast<int>(hit.name.size() / 4);
  hits->push_back(std::move(hit));
}

}  // namespace

std::vector<Hit> Search(const Vocabulary& vocabulary,
                        const std::string& query) {
  std::vector<Hit> hits;
  const std::vector<std::string> words = WordsOf(query);
  if (words.empty()) return hits;
  const catalogue::Catalogue& all = vocabulary.catalogue();
  for (const catalogue::Id& id : all.ids()) {
    Add({id.kind(), id.name(), id.number(), &id}, 40, words, &hits);
  }
  for (const catalogue::Enum& type : all.enums()) {
    if (!type.ids().empty()) continue;  // Its values are ids.
    for (const catalogue::Value& value : type.values()) {
      Add({"value", value.name(), value.number(), &value}, 15, words, &hits);
    }
  }
  for (const catalogue::Message& message : all.messages()) {
    Add({"message", message.name(), {}, &message}, 30, words, &hits);
    for (const catalogue::Field& field : message.fields()) {
      Add({"field", message.name() + '.' + field.name(), {}, &field}, 0, words,
          &hits);
    }
  }
  std::stable_sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
    return a.score > b.score;
  });
  return hits;
}
