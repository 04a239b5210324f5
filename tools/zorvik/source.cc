#include "source.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

bool Source::Wait() {
  constexpr size_t kStep = 65536;
  if (ended_) return false;
  if (start_ > kStep) {
    buffer_.erase(0, start_);
    start_ = 0;
  }
  const size_t size = buffer_.size();
  buffer_.resize(size + kStep);
  size_t count = 0;
  try {
    count = read_(&buffer_[size], kStep);
  } catch (...) {
    buffer_.resize(size);
    ended_ = true;
    throw;
  }
  buffer_.resize(size + count);
  ended_ = count == 0;
  return !ended_;
}

std::string_view Source::Peek(size_t size) {
  while (Ready().size() < size && Wait()) {
  }
  return Ready().substr(0, size);
}

void Source::Drop(size_t size) {
  start_ += size;
  offset_ += size;
  if (start_ == buffer_.size()) {
    buffer_.clear();
    start_ = 0;
  }
}

void Source::DropByteOrderMark() {
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  if (Peek(1) == kMark.substr(0, 1) && Peek(kMark.size()) == kMark)
    Drop(kMark.size());
}

Source::Read ReadFile(const std::string& path) {
  const int file =
      path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const auto fail = [] {
    throw std::runtime_error(std::string("cannot be read: ") +
                             std::strerror(errno));
  };
  if (file < 0) fail();
  const std::shared_ptr<void> closer(
      nullptr, [file](void*) { file == STDIN_FILENO ? 0 : close(file); });
  return [file, closer, fail](char* buffer, size_t size) {
    ssize_t count = 0;
    do {
      count = read(file, buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) fail();
    return static_cast<size_t>(count);
  };
}

Source::Read ReadMemory(std::string_view bytes) {
  return [bytes](char* buffer, size_t size) mutable {
    const size_t count = std::min(size, bytes.size());
    std::copy_n(bytes.data(), count, buffer);
    bytes.remove_prefix(count);
    return count;
  };
}
