#include "table.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>

#include <memory>
#include <stdexcept>

#include "printer.h"
#include "text.h"
#include "wire.h"

namespace pb = google::protobuf;

namespace {

constexpr size_t kMostRows = 10000, kMostContent = 300;
constexpr std::chrono::seconds kWindow(5);

int32_t Number(const pb::Message& message, const char* field) {
  return message.GetReflection()->GetInt32(
      message, message.GetDescriptor()->FindFieldByName(field));
}

// The content in a line, behind the last part of its name.
std::string TextOf(const pb::Message& envelope, const std::string& type) {
  if (type.empty()) return "no content";
  pb::TextFormat::Printer printer;
  const AnyFinder finder;
  printer.SetFinder(&finder);
  printer.SetSingleLineMode(true);
  printer.SetExpandAny(true);
  printer.SetTruncateStringFieldLongerThan(kMostContent);
  std::string text;
  printer.PrintToString(
      envelope.GetReflection()->GetMessage(
          envelope, envelope.GetDescriptor()->FindFieldByName("data")),
      &text);
  // "[URL] { fields }" without the URL.
  const size_t begin = text[0] == '[' ? text.find("] {") : std::string::npos;
  if (begin != std::string::npos) text = text.substr(begin + 2);
  if (text.back() == ' ') text.pop_back();
  text = type.substr(type.rfind('.') + 1) + ' ' + text;
  return Escaped(text).substr(0, kMostContent);
}

}  // namespace

uint64_t Table::Row::CountOfFaults() const {
  uint64_t count = 0;
  for (const uint64_t each : faults) count += each;
  return count;
}

std::string Table::Row::Faults() const {
  std::string text;
  for (size_t i = 0; i < kKinds; ++i) {
    if (faults[i] == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(faults[i]) + ' ' +
            kKindNames[i];
  }
  return text;
}

Table::Table(Vocabulary* vocabulary, std::optional<int> node)
    : vocabulary_(vocabulary),
      node_(node),
      type_(vocabulary->FindMessage("zorvik.channel.channelTopicMessage")) {
  if (type_ == nullptr)
    throw std::runtime_error("the schemas have no envelope");
}

void Table::Add(const std::string& bytes, Time now) {
  const auto envelope = vocabulary_->New(type_);
  const std::optional<Fault> fault = FindFault(bytes, type_, *vocabulary_);
  envelope->ParseFromString(fault ? SalvageFrom(bytes, type_, *vocabulary_).good
                                  : bytes);
  const Content content = ContentOf(*envelope, *vocabulary_);
  ++count_;
  const Key key(Number(*envelope, "src_node_id"),
                Number(*envelope, "topic_type"));
  const bool other_node = node_ && Number(*envelope, "dst_node_id") != *node_;
  const std::array<bool, kKinds> faults = {!fault && !content.mismatch.empty(),
                                           content.id.empty(),
                                           fault.has_value(), other_node};
  bool faulty = false;
  for (const bool each : faults) faulty = faulty || each;
  faulty_ += faulty;
  if (rows_.size() >= kMostRows && rows_.count(key) == 0) {
    ++without_row_;
    return;
  }
  Row& row = rows_[key];
  if (row.count == 0) row.history_.emplace_back(last_tick_.value_or(now), 0);
  row.topic =
      std::to_string(key.second) + ' ' +
      (content.id.empty() ? "(not declared)" : vocabulary_->Brief(content.id));
  ++row.count;
  row.last = now;
  for (size_t i = 0; i < kKinds; ++i) row.faults[i] += faults[i];
  row.content =
      fault ? "! offset " + std::to_string(fault->offset) + ": " + fault->reason
      : !content.mismatch.empty() ? "! " + content.mismatch
                                  : TextOf(*envelope, content.type);
}

void Table::Tick(Time now) {
  last_tick_ = now;
  for (auto& [key, row] : rows_) {
    row.changed = row.count != row.seen_;
    row.seen_ = row.count;
    auto& history = row.history_;
    history.emplace_back(now, row.count);
    while (history.size() > 2 && now - history[1].first >= kWindow) {
      history.pop_front();
    }
    const std::chrono::duration<double> time = now - history.front().first;
    row.rate = time.count() <= 0
                   ? 0
                   : static_cast<double>(row.count - history.front().second) /
                         time.count();
  }
}
