// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/FileCursor.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "media/worker/ByteView.h"

namespace vaultmere {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{16} << 10;

}  // namespace

FileCursor::FileCursor(const File& file)
    : file_(file), size_(file.status().stamp.size), buffer_(kBufferBytes) {}

std::size_t FileCursor::read(std::span<std::uint8_t> out) {
  const std::size_t buffered = std::min(out.size(), filled_ - next_);
  std::copy_n(buffer_.begin() + static_cast<std::ptrdiff_t>(next_), buffered, out.begin());
  next_ += buffered;
  out = out.subspan(buffered);
  if (out.empty()) {
    return buffered;
  }
  bufferStart_ = position();
  next_ = filled_ = 0;
  if (out.size() < buffer_.size()) {
    filled_ = readAt(file_, static_cast<std::uint64_t>(bufferStart_), buffer_);
    const std::size_t count = std::min(out.size(), filled_);
    std::copy_n(buffer_.begin(), count, out.begin());
    next_ = count;
    return buffered + count;
  }
  const std::size_t count = readAt(file_, static_cast<std::uint64_t>(bufferStart_), out);
  bufferStart_ += static_cast<std::int64_t>(count);
  return buffered + count;
}

int FileCursor::getFromFile() {
  std::uint8_t byte = 0;
  return read({&byte, 1}) == 1 ? byte : EOF;
}

bool FileCursor::seek(std::int64_t offset, int whence) {
  const std::int64_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position() : size_;
  if (offset < -from || offset > std::numeric_limits<std::int64_t>::max() - from) {
    return false;
  }
  const std::int64_t target = from + offset;
  if (target >= bufferStart_ && target <= bufferStart_ + static_cast<std::int64_t>(filled_)) {
    next_ = static_cast<std::size_t>(target - bufferStart_);
  } else {
    bufferStart_ = target;
    next_ = filled_ = 0;
  }
  return true;
}

}  // namespace vaultmere
