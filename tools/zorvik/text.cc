#include "text.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <regex>
#include <sstream>

namespace {

constexpr char kDigits[] = "0123456789abcdef";

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)); }
bool IsDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)); }
int ValueOf(char digit) {
  return std::isdigit(static_cast<unsigned char>(digit))
             ? digit - '0'
             : (digit | 0x20) - 'a' + 10;
}

std::string At(size_t place, const std::string& what) {
  return "character " + std::to_string(place) + ": " + what;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (true) {
    const size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

// What is between quotes, with escapes. As programs print it, \x has at most
// two digits.
Bytes FromLiteral(std::string_view text) {
  static constexpr std::string_view kLetters = "abfnrtv",
                                    kMeant = "\a\b\f\n\r\t\v";
  std::string bytes;
  char quote = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quote == 0) {
      if (c == '"' || c == '\'') {
        quote = c;
      } else if (!IsSpace(c) &&
                 std::string_view("b;,\\").find(c) == std::string_view::npos) {
        return {"", At(i, "outside of the quotes")};
      }
    } else if (c == quote) {
      quote = 0;
    } else if (c != '\\') {
      bytes += c;
    } else if (++i == text.size()) {
      break;
    } else if (text[i] == 'x') {
      int value = 0, digits = 0;
      while (digits < 2 && i + 1 < text.size() && IsDigit(text[i + 1])) {
        value = value * 16 + ValueOf(text[++i]);
        ++digits;
      }
      if (digits == 0) return {"", At(i, "\\x without a digit")};
      bytes += static_cast<char>(value);
    } else if (text[i] >= '0' && text[i] <= '7') {
      int value = text[i] - '0';
      for (int digits = 1; digits < 3 && i + 1 < text.size() &&
                           text[i + 1] >= '0' && text[i + 1] <= '7';
           ++digits) {
        value = value * 8 + text[++i] - '0';
      }
      bytes += static_cast<char>(value);
    } else {
      const size_t letter = kLetters.find(text[i]);
      bytes += letter == std::string_view::npos ? text[i] : kMeant[letter];
    }
  }
  if (quote != 0) return {"", "the quotes are not closed"};
  return {bytes, ""};
}

// One line of a listing: where it begins, and the words that follow.
struct Line {
  std::string offset;
  bool colon = false;  // As xxd has it.
  bool repeat = false;
  std::vector<std::string> words;
  std::string characters;  // That are behind the words of xxd.
  std::string bytes() const {
    std::string bytes;
    for (const std::string& word : words) bytes += FromHex(word).bytes;
    return bytes;
  }
};

// A line of gdb's x/xb, "0x7ffe0010 <buffer>: 0x08 0xa4", as xxd has it.
std::string LikeXxd(std::string_view text) {
  const size_t colon = text.find(':');
  if (text.substr(0, 2) != "0x" || colon == std::string_view::npos) {
    return std::string(text);
  }
  const std::string_view address = text.substr(2, colon - 2);
  std::string line(address.substr(0, address.find(' ')));
  line += ':';
  std::istringstream words{std::string(text.substr(colon + 1))};
  for (std::string word; words >> word;) {
    if (word.size() != 4 || word.compare(0, 2, "0x") != 0) {
      return std::string(text);
    }
    line += ' ' + word.substr(2);
  }
  return line;
}

std::optional<Line> ReadLine(std::string_view text) {
  Line line;
  if (text == "*") {
    line.repeat = true;
    return line;
  }
  while (!text.empty() && IsDigit(text.front())) {
    line.offset += text.front();
    text.remove_prefix(1);
  }
  if (line.offset.size() < 4 || line.offset.size() > 16) return std::nullopt;
  if (!text.empty() && text.front() == ':') {
    line.colon = true;
    text.remove_prefix(1);
  }
  if (text.empty()) return line;
  if (!IsSpace(text.front())) return std::nullopt;
  // The characters are behind a bar, or else behind two blanks.
  const size_t bar = text.find(" |");
  text = text.substr(0, bar);
  int blanks = 0;
  while (!text.empty()) {
    if (IsSpace(text.front())) {
      ++blanks;
      text.remove_prefix(1);
      continue;
    }
    if (blanks > 1 && bar == std::string_view::npos && !line.words.empty()) {
      line.characters = text;
      break;
    }
    blanks = 0;
    size_t end = 0;
    while (end < text.size() && IsDigit(text[end])) ++end;
    if (end % 2 != 0 || (end < text.size() && !IsSpace(text[end]))) break;
    line.words.emplace_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return line;
}

// Without a mark: every other byte is zero, and those between are ASCII.
bool IsUtf16(std::string_view input) {
  if (input.size() < 8 || input.size() % 2 != 0) return false;
  const bool big = input[0] == '\0';
  for (size_t i = 0; i < input.size(); i += 2) {
    const char zero = input[i + !big], c = input[i + big];
    if (zero != 0 ||
        (!std::isprint(static_cast<unsigned char>(c)) && !IsSpace(c))) {
      return false;
    }
  }
  return true;
}

// The bytes of lines that follow each other; the last one may have no words and
// says where the end is.
std::optional<std::string> Join(const std::vector<Line>& lines, int base) {
  std::string bytes;
  uint64_t first = 0;
  std::string before;
  bool repeat = false;
  for (const Line& line : lines) {
    if (line.repeat) {
      repeat = true;
      continue;
    }
    const bool octal =
        line.offset.find_first_of("89abcdefABCDEF") == std::string::npos;
    if (base == 8 && !octal) return std::nullopt;
    const uint64_t offset = std::stoull(line.offset, nullptr, base);
    if (before.empty() && bytes.empty()) first = offset;
    if (offset < first || offset - first > (uint64_t{64} << 20)) {
      return std::nullopt;
    }
    const uint64_t at = offset - first;
    while (repeat && bytes.size() < at && !before.empty()) bytes += before;
    repeat = false;
    // Of what follows, only the last word may be more than there is.
    if (at > bytes.size() ||
        bytes.size() - at > (line.words.empty() ? 1 : 15)) {
      return std::nullopt;
    }
    bytes.resize(at);
    before = line.bytes();
    bytes += before;
  }
  return bytes;
}

}  // namespace

std::string HexOf(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return hex;
}

std::string Base64Of(std::string_view bytes) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t count = std::min<size_t>(3, bytes.size() - i);
    uint32_t bits = 0;
    for (size_t j = 0; j < 3; ++j) {
      bits = bits << 8 |
             (j < count ? static_cast<unsigned char>(bytes[i + j]) : 0);
    }
    for (size_t j = 0; j < 4; ++j) {
      text += j <= count ? kAlphabet[bits >> (18 - 6 * j) & 63] : '=';
    }
  }
  return text;
}

Bytes FromHex(std::string_view text) {
  const size_t quote = text.find_first_of("\"'");
  const size_t open = text.find('{'), close = text.rfind('}');
  size_t skipped = 0;
  if (open != std::string_view::npos && close != std::string_view::npos &&
      open < close) {
    text = text.substr(open + 1, close - open - 1);
    skipped = open + 1;
  } else if (quote != std::string_view::npos && quote < 2) {
    return FromLiteral(text);
  }
  static constexpr std::string_view kBetween = ",;:-[]";
  std::string bytes;
  int pending = -1;       // The first digit of a byte.
  bool prefixed = false;  // Within digits behind 0x or \x.
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const std::string_view rest = text.substr(i);
    if (rest.substr(0, 2) == "/*") {
      i = std::min(text.find("*/", i), text.size() - 2) + 1;
    } else if (rest.substr(0, 2) == "//") {
      i = std::min(text.find('\n', i), text.size());
    } else if (IsSpace(c) || kBetween.find(c) != std::string_view::npos) {
      if (prefixed && pending >= 0) {  // 0x8 is a byte.
        bytes += static_cast<char>(pending);
        pending = -1;
      }
      prefixed = false;
    } else if (pending < 0 && rest.size() > 2 && (c == '0' || c == '\\') &&
               (rest[1] == 'x' || rest[1] == 'X') && IsDigit(rest[2])) {
      prefixed = true;
      ++i;
    } else if (!IsDigit(c)) {
      return {"", At(skipped + i, "not a hex digit")};
    } else if (pending < 0) {
      pending = ValueOf(c);
    } else {
      bytes += static_cast<char>(pending * 16 + ValueOf(c));
      pending = -1;
    }
  }
  if (prefixed && pending >= 0) {
    bytes += static_cast<char>(pending);
  } else if (pending >= 0) {
    return {"", At(skipped + text.size(), "an odd number of hex digits")};
  }
  return {bytes, ""};
}

Bytes FromBase64(std::string_view text) {
  std::string bytes;
  uint32_t bits = 0;
  int count = 0, padding = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    int value = 0;
    if (IsSpace(c)) continue;
    if (c == '=') {
      ++padding;
      continue;
    } else if (std::isupper(static_cast<unsigned char>(c))) {
      value = c - 'A';
    } else if (std::islower(static_cast<unsigned char>(c))) {
      value = c - 'a' + 26;
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      value = c - '0' + 52;
    } else if (c == '+' || c == '-') {
      value = 62;
    } else if (c == '/' || c == '_') {
      value = 63;
    } else {
      return {"", At(i, "not base64")};
    }
    if (padding > 0) return {"", At(i, "base64 goes on behind its end")};
    bits = bits << 6 | static_cast<uint32_t>(value);
    if (++count == 4) {
      for (const int shift : {16, 8, 0}) {
        bytes += static_cast<char>(bits >> shift);
      }
      bits = 0;
      count = 0;
    }
  }
  if (count == 1 || (padding > 0 && count + padding != 4)) {
    return {"", At(text.size(), "base64 ends inside a byte")};
  }
  bits <<= 6 * (4 - count);
  for (int i = 0; i + 1 < count; ++i) {
    bytes += static_cast<char>(bits >> (16 - 8 * i));
  }
  return {bytes, ""};
}

std::optional<std::vector<std::string>> FromListing(std::string_view text) {
  std::vector<std::vector<Line>> listings(1);
  bool wide = true;  // Nothing but words of 16 bits.
  for (std::string_view part : Split(text, '\n')) {
    while (!part.empty() && IsSpace(part.back())) part.remove_suffix(1);
    while (!part.empty() && IsSpace(part.front())) part.remove_prefix(1);
    if (part.empty()) continue;
    std::optional<Line> line = ReadLine(LikeXxd(part));
    if (!line) return std::nullopt;
    std::vector<Line>& last = listings.back();
    const bool zero = !line->repeat &&
                      line->offset.find_first_not_of('0') == std::string::npos;
    for (const std::string& word : line->words) {
      wide =
          wide && word.size() == 4 && !line->colon && line->offset.size() == 7;
    }
    zero && !last.empty() ? listings.push_back({*line}) : last.push_back(*line);
  }
  if (listings[0].empty() || listings[0][0].words.empty()) return std::nullopt;
  std::vector<std::string> messages;
  for (std::vector<Line>& lines : listings) {
    // hexdump and od show words as the machine has them: the low byte first.
    for (Line& line : lines) {
      for (std::string& word : line.words) {
        if (wide) word = word.substr(2) + word.substr(0, 2);
      }
    }
    std::optional<std::string> bytes = Join(lines, 16);
    if (!bytes) bytes = Join(lines, 8);  // od counts in octal.
    if (!bytes) return std::nullopt;
    messages.push_back(*bytes);
  }
  return messages;
}

bool IsInWords(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  const std::string first(text.substr(0, text.find_first_of("\r\n")));
  std::istringstream words(first);
  std::string offset, word;
  words >> offset >> word;
  const bool hex = std::all_of(word.begin(), word.end(), IsDigit);
  if (offset.size() == 7 && !word.empty() &&
      offset.find_first_not_of("01234567") == std::string::npos) {
    return !hex || (word.size() != 2 && word.size() != 4);
  }
  if (offset.compare(0, 2, "0x") == 0) {
    return offset.back() == ':' && word.compare(0, 2, "0x") == 0 &&
           LikeXxd(first) == first;
  }
  const std::optional<Line> line = ReadLine(first);
  if (!line || !line->colon) return false;
  // xxd -e turns the words around and leaves the characters as they are.
  std::string straight, swapped;
  for (const std::string& each : line->words) {
    std::string bytes = FromHex(each).bytes;
    for (char& c : bytes) {
      if (!std::isprint(static_cast<unsigned char>(c))) c = '.';
    }
    straight += bytes;
    swapped.append(bytes.rbegin(), bytes.rend());
  }
  return straight != swapped && line->characters == swapped;
}

std::optional<std::string> FromDecimals(std::string_view text) {
  const size_t open = text.find('['), close = text.rfind(']');
  if (open == std::string_view::npos || close == std::string_view::npos ||
      close < open) {
    return std::nullopt;
  }
  const std::string_view before = text.substr(0, open);
  // Node's JSON of a Buffer. Elsewhere, numbers of two digits may be hex.
  bool certain = before.find("\"Buffer\"") != std::string_view::npos;
  if (!certain &&
      (before.find_first_not_of(" \t\r\n") != std::string_view::npos ||
       text.find_first_not_of(" \t\r\n", close + 1) !=
           std::string_view::npos)) {
    return std::nullopt;
  }
  std::string list(text.substr(open + 1, close - open - 1)), bytes;
  std::replace(list.begin(), list.end(), ',', ' ');
  std::istringstream words(list);
  for (std::string word; words >> word;) {
    const bool minus = word[0] == '-';
    const std::string digits = word.substr(minus);
    if (digits.empty() || digits.size() > 3 ||
        digits.find_first_not_of("0123456789") != std::string::npos ||
        (digits[0] == '0' && digits.size() > 1)) {
      return std::nullopt;
    }
    const int number = std::stoi(word);
    if (number < -128 || number > 255) return std::nullopt;
    certain = certain || minus || digits.size() != 2;
    bytes += static_cast<char>(number);
  }
  if (!certain || bytes.empty()) return std::nullopt;
  return bytes;
}

std::optional<std::string> FromLog(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  if (text.find('\n') != std::string_view::npos) return std::nullopt;
  std::vector<std::string> words;
  std::istringstream stream{std::string(text)};
  for (std::string word; stream >> word;) {
    if (word.back() == ',') word.pop_back();
    words.push_back(word.compare(0, 2, "0x") == 0 ? word.substr(2) : word);
  }
  const auto has_digits = [](const std::string& word) {
    return std::all_of(word.begin(), word.end(), IsDigit);
  };
  // Pairs of digits, or all of them in one word.
  size_t begin = words.size();
  while (begin > 0 && words[begin - 1].size() == 2 &&
         has_digits(words[begin - 1])) {
    --begin;
  }
  if (begin == words.size() && begin > 0 && words.back().size() >= 8 &&
      has_digits(words.back())) {
    --begin;
  } else if (words.size() - begin < 2) {
    return std::nullopt;
  }
  if (begin == 0) return std::nullopt;
  const std::string& before = words[begin - 1];
  if (before.empty() || std::string_view(":=>])|").find(before.back()) ==
                            std::string_view::npos) {
    return std::nullopt;
  }
  std::string hex;
  for (size_t i = begin; i < words.size(); ++i) hex += words[i];
  const Bytes bytes = FromHex(hex);
  if (!bytes) return std::nullopt;
  return bytes.bytes;
}

std::string WithoutColours(std::string_view text) {
  std::string plain;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text.substr(i, 2) == "\x1b[") {
      const size_t end = text.find_first_not_of("0123456789;", i + 2);
      if (end != std::string_view::npos &&
          std::string_view("mK").find(text[end]) != std::string_view::npos) {
        i = end;
        continue;
      }
    }
    plain += text[i];
  }
  return plain;
}

bool IsText(std::string_view text) {
  int follow = 0;
  for (const unsigned char c : text) {
    if (follow > 0) {
      if ((c & 0xc0) != 0x80) return false;
      --follow;
    } else if (c >= 0x80) {
      follow = c >= 0xf0 ? 3 : c >= 0xe0 ? 2 : c >= 0xc2 ? 1 : -1;
      if (follow < 0 || c > 0xf4) return false;
    } else if ((c < 0x20 && !IsSpace(static_cast<char>(c))) || c == 0x7f) {
      return false;
    }
  }
  return true;
}

std::string LooksLike(std::string_view input) {
  struct Magic {
    std::string_view begin;
    const char* name;
  };
  using std::literals::string_view_literals::operator""sv;
  static constexpr Magic kMagics[] = {{"\x1f\x8b"sv, "gzip"},
                                      {"PK\3\4"sv, "a zip archive"},
                                      {"\x89PNG"sv, "a picture"},
                                      {"\xff\xd8\xff"sv, "a picture"},
                                      {"\x7f"
                                       "ELF"sv,
                                       "a program"},
                                      {"\xfd"
                                       "7zXZ"sv,
                                       "xz"},
                                      {"(\xb5/\xfd"sv, "zstd"},
                                      {"BZh"sv, "bzip2"},
                                      {"\xff\xfe"sv, "UTF-16 text"},
                                      {"\xfe\xff"sv, "UTF-16 text"}};
  for (const Magic& magic : kMagics) {
    if (input.substr(0, magic.begin.size()) == magic.begin) return magic.name;
  }
  if (IsUtf16(input)) return "UTF-16 text";
  if (!IsText(input)) return "";
  const size_t first = input.find_first_not_of(" \t\r\n\v\f");
  if (first == std::string_view::npos) return "white space alone";
  const std::string start(input.substr(first, 200));
  static const std::regex kTextFormat(
      "[A-Za-z_][A-Za-z_0-9]*(:\\s|\\s*\\{)[^]*");
  if (start[0] == '<') return "XML or HTML";
  size_t hex = 0, all = 0;
  for (const char c : input) {
    if (IsSpace(c)) continue;
    ++all;
    hex += IsDigit(c);
  }
  if (hex * 4 >= all * 3 && start[0] != '{') {
    return "hex, with a fault at " + FromHex(input).fault;
  }
  if (start[0] == '{') return "JSON; zorvik encode takes it";
  if (std::regex_match(start, kTextFormat)) {
    return "the text format of a message; zorvik encode takes it";
  }
  return "text";
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\n') {
      escaped += "\\n";
    } else if (byte < 0x20 || byte >= 0x7f) {
      escaped += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string Readable(std::string_view text) {
  std::string readable;
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text[0]);
    const size_t most = first < 0xc2 || first > 0xf4 ? 1
                        : first < 0xe0               ? 2
                        : first < 0xf0               ? 3
                                                     : 4;
    size_t size = 1;
    while (size < most && size < text.size() && (text[size] & 0xc0) == 0x80) {
      ++size;
    }
    const std::string_view character = text.substr(0, size);
    // U+0080 to U+009F are controls, too.
    const bool is_control = character >= "\xc2\x80" && character < "\xc2\xa0";
    readable += size == 1 || size < most || is_control ? Escaped(character)
                                                       : std::string(character);
    text.remove_prefix(size);
  }
  return readable;
}
