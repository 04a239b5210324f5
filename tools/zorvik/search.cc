#include "search.h"

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string_view>

namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = std::tolower(static_cast<unsigned char>(c));
  return text;
}

// The query as it would be in a full name, word by word, numbers in decimal.
std::vector<std::string> WordsOf(const std::string& query) {
  std::string text = Lower(query);
  for (char& c : text) {
    if (std::string_view("()\"'`,;").find(c) != std::string_view::npos) c = ' ';
  }
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    word.erase(0, word.rfind('/') + 1);  // Of a type URL.
    std::string name;
    for (size_t i = 0; i < word.size(); ++i) {  // As "::" in C++.
      const bool colons = word.compare(i, 2, "::") == 0;
      name += colons ? '.' : word[i];
      i += colons;
    }
    const bool hex =
        name.size() > 2 && name.size() < 11 && name.compare(0, 2, "0x") == 0 &&
        name.find_first_not_of("0123456789abcdef", 2) == std::string::npos;
    if (hex) name = std::to_string(std::stoull(name, nullptr, 16));
    if (!name.empty()) words.push_back(name);
  }
  return words;
}

// Without what people leave out or write in another way.
std::string Squashed(const std::string& name) {
  std::string squashed;
  for (const char c : Lower(name)) {
    if (std::string_view(" _.:/-").find(c) == std::string_view::npos) {
      squashed += c;
    }
  }
  return squashed;
}

int ScoreNumber(const Hit& hit, const std::string& word) {
  if (word.find_first_not_of("0123456789") != std::string::npos) return 0;
  if (hit.number) {
    const std::string number = std::to_string(*hit.number);
    if (number == word) return 1000;
    return word.size() > 1 && number.compare(0, word.size(), word) == 0 ? 300
                                                                        : 0;
  }
  const auto* field = dynamic_cast<const catalogue::Field*>(hit.entry);
  return field != nullptr && std::to_string(field->number()) == word ? 60 : 0;
}

// Whether a word of the name begins there: behind _ and at capitals.
bool Begins(const std::string& name, size_t at) {
  return at == 0 || name[at - 1] == '_' ||
         (std::isupper(static_cast<unsigned char>(name[at])) &&
          !std::isupper(static_cast<unsigned char>(name[at - 1])));
}

int ScoreName(const Hit& hit, const std::string& word) {
  const std::string full = Lower(hit.name);
  if (full == word) return 950;
  const std::string name = hit.name.substr(hit.name.rfind('.') + 1);
  const std::string lower = Lower(name);
  if (lower == word) return 900;
  int score = 0;
  for (size_t at = 0; (at = lower.find(word, at)) != std::string::npos; ++at) {
    score = std::max(score, at == 0 ? 600 : Begins(name, at) ? 450 : 300);
  }
  if (score > 0 || word.size() < 3) return score;
  const std::string plain = Squashed(word);
  if (plain.size() > 2 && Squashed(name).find(plain) != std::string::npos) {
    return 280;
  }
  return full.find(word) != std::string::npos ? 200 : 0;
}

int ScoreText(const Hit& hit, const std::string& word) {
  const std::string text = Lower(hit.entry->GetReflection()->GetString(
      *hit.entry, hit.entry->GetDescriptor()->FindFieldByName("comment")));
  const size_t at = text.find(word);
  if (at == std::string::npos) return 0;
  const bool begins =
      at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
  return begins ? 80 : 30;
}

// Adds the hit if every word matches it; things of one score follow by weight.
void Add(Hit hit, int weight, const std::vector<std::string>& words,
         std::vector<Hit>* hits) {
  std::string phrase;
  for (const std::string& word : words) {
    const int score = std::max(
        {ScoreNumber(hit, word), ScoreName(hit, word), ScoreText(hit, word)});
    if (score == 0) return;
    hit.score += score;
    phrase += word;
  }
  if (words.size() > 1 &&
      Squashed(hit.name).find(Squashed(phrase)) != std::string::npos) {
    hit.score += 400;
  }
  const size_t length = hit.name.size() - hit.name.rfind('.');
  hit.score += weight - static_cast<int>(length / 4);
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
    Add({id.kind(), id.name(), id.number(), &id}, 15, words, &hits);
  }
  for (const catalogue::Enum& type : all.enums()) {
    Add({"enum", type.name(), {}, &type}, 28, words, &hits);
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
