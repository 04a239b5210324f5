// Input as it arrives, with a bounded look ahead.
#ifndef TOOLS_ZORVIK_SOURCE_H_
#define TOOLS_ZORVIK_SOURCE_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

class Source {
 public:
  // Puts at most that many bytes into the buffer and returns how many; none at
  // the end. Throws std::runtime_error when nothing can be read.
  using Read = std::function<size_t(char* buffer, size_t size)>;

  explicit Source(Read read) : read_(std::move(read)) {}

  // What has arrived and was not dropped.
  std::string_view Ready() const {
    return std::string_view(buffer_).substr(start_);
  }
  // Waits for more of it. False at the end.
  bool Wait();
  // Waits until that many bytes are ready, or all that there are.
  std::string_view Peek(size_t size);
  void Drop(size_t size);
  // Drops what some editors put in front of a text.
  void DropByteOrderMark();
  // How much was dropped.
  size_t offset() const { return offset_; }

 private:
  Read read_;
  std::string buffer_;
  size_t start_ = 0;  // Of what is ready.
  size_t offset_ = 0;
  bool ended_ = false;
};

// Reads a file, or standard input for "-". Throws std::runtime_error.
Source::Read ReadFile(const std::string& path);
// The text has to outlive the source.
Source::Read ReadMemory(std::string_view bytes);

#endif  // TOOLS_ZORVIK_SOURCE_H_
