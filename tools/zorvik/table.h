// What was heard: envelopes by their sender and topic type.
#ifndef TOOLS_ZORVIK_TABLE_H_
#define TOOLS_ZORVIK_TABLE_H_

#include <google/protobuf/descriptor.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "vocabulary.h"

enum class Kind { kWrongContent, kUnknownId, kMalformed, kOtherNode };
constexpr size_t kKinds = 4;
constexpr const char* kKindNames[kKinds] = {"wrong content", "unknown id",
                                            "malformed", "other node"};

class Table {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Row {
    std::string topic;  // Number and brief name.
    uint64_t count = 0;
    double rate = 0;  // A second, of the last five seconds.
    Time last;
    std::array<uint64_t, kKinds> faults{};
    std::string content;   // Of the last, with its fault.
    bool changed = false;  // Since the last tick but one.
    uint64_t CountOfFaults() const;
    std::string Faults() const;  // In words; empty when there is none.

   private:
    friend class Table;
    uint64_t seen_ = 0;  // At the last tick.
    std::deque<std::pair<Time, uint64_t>> history_;
  };
  using Key = std::pair<int32_t, int32_t>;  // Sender and topic type.

  // With a node, envelopes for others are faults.
  Table(Vocabulary* vocabulary, std::optional<int> node);

  void Add(const std::string& bytes, Time now);
  // Counts the rates. To be called about once a second.
  void Tick(Time now);

  const std::map<Key, Row>& rows() const { return rows_; }
  uint64_t count() const { return count_; }
  uint64_t faulty() const { return faulty_; }
  // Envelopes for which there was no row left.
  uint64_t without_row() const { return without_row_; }

 private:
  Vocabulary* const vocabulary_;
  const std::optional<int> node_;
  const google::protobuf::Descriptor* const type_;
  std::map<Key, Row> rows_;
  std::optional<Time> last_tick_;
  uint64_t count_ = 0, faulty_ = 0, without_row_ = 0;
};

#endif  // TOOLS_ZORVIK_TABLE_H_
