#include "catalogue/comment.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace catalogue {

namespace pb = google::protobuf;

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

bool IsBlank(const std::string& line) {
  return line.find_first_not_of(" \t\r") == std::string::npos;
}

}  // namespace

std::string Comment::Value(const std::string& tag) const {
  const std::vector<std::string> values = Values(tag);
  return values.empty() ? "" : values.front();
}

std::vector<std::string> Comment::Values(const std::string& tag) const {
  std::vector<std::string> values;
  for (const Tag& each : tags) {
    if (each.name == tag) values.push_back(each.value);
  }
  return values;
}

void Faults::Add(const pb::FileDescriptor* file, int line,
                 const std::string& what) {
  texts_.push_back(file->name() + ":" + std::to_string(line) + ": " + what);
}

std::string Faults::Text() const {
  std::string text;
  for (const std::string& fault : texts_) {
    text += (text.empty() ? "" : "\n") + fault;
  }
  return text;
}

Comment ReadComment(const pb::FileDescriptor* file,
                    const std::vector<int>& path, Faults* faults) {
  static const std::regex kTag(" @([a-z_]+) ([^\\s@]|[^\\s@][^@]*[^\\s@])");
  Comment comment;
  pb::SourceLocation location;
  if (!file->GetSourceLocation(path, &location)) {
    faults->Add(file, 1, "no source information");
    return comment;
  }
  comment.line = location.start_line + 1;

  std::vector<std::string> others = location.leading_detached_comments;
  others.push_back(location.trailing_comments);
  for (const std::string& other : others) {
    if (other.find('@') != std::string::npos) {
      faults->Add(file, comment.line,
                  "a comment that is not right above an element has a tag");
    }
  }

  const std::vector<std::string> lines = Lines(location.leading_comments);
  int number = comment.line - static_cast<int>(lines.size());
  for (const std::string& line : lines) {
    std::smatch match;
    if (std::regex_match(line, match, kTag)) {
      comment.tags.push_back({match[1], match[2], number});
    } else if (line.find('@') != std::string::npos) {
      faults->Add(file, number,
                  "not a tag, which is one blank, @name, one blank and a "
                  "value:" +
                      line);
    } else if (!comment.tags.empty() && !IsBlank(line)) {
      faults->Add(file, number, "words behind a tag:" + line);
    } else {
      comment.words += line.substr(std::min<size_t>(1, line.size())) + '\n';
    }
    ++number;
  }
  const size_t end = comment.words.find_last_not_of(" \t\r\n");
  comment.words.erase(end == std::string::npos ? 0 : end + 1);
  if (comment.words.empty()) {
    faults->Add(file, comment.line, "no comment in words");
  }
  return comment;
}

}  // namespace catalogue
