// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/Files.h"

namespace vaultmere {

/// Reads a file by its descriptor from a position of its own, with a buffer: for
/// libraries that would open a path, which a confined process can't. The descriptor's
/// position stays as it is. A read that fails gives fewer bytes.
class FileCursor {
 public:
  /// `file` must stay open. Throws FileError.
  explicit FileCursor(const File& file);

  /// How many bytes were read, fewer than asked for at the end.
  [[nodiscard]] std::size_t read(std::span<std::uint8_t> out);
  /// The next byte, or EOF.
  [[nodiscard]] int get() { return next_ < filled_ ? buffer_[next_++] : getFromFile(); }
  /// Moves on from `whence`, SEEK_SET, SEEK_CUR or SEEK_END. False, without a move,
  /// for a place before the start; behind the end there is nothing to read.
  [[nodiscard]] bool seek(std::int64_t offset, int whence);
  [[nodiscard]] std::int64_t position() const {
    return bufferStart_ + static_cast<std::int64_t>(next_);
  }
  [[nodiscard]] std::int64_t size() const { return size_; }

 private:
  int getFromFile();

  const File& file_;
  std::int64_t size_;
  std::vector<std::uint8_t> buffer_;
  std::int64_t bufferStart_ = 0;  ///< in the file
  std::size_t next_ = 0;          ///< in the buffer
  std::size_t filled_ = 0;
};

}  // namespace vaultmere
