// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <vector>

#include "platform/MemoryFile.h"

namespace vaultmere {

/// Bytes that are read only once they are there, and that all copies of this
/// object share: this process's own, or those that another process has made.
class PixelBuffer {
 public:
  PixelBuffer() = default;
  PixelBuffer(std::vector<std::uint8_t> bytes)  // NOLINT(google-explicit-constructor)
      : PixelBuffer(std::make_shared<std::vector<std::uint8_t>>(std::move(bytes))) {}
  /// What another process has sealed.
  explicit PixelBuffer(Mapping mapping)
      : PixelBuffer(std::make_shared<Mapping>(std::move(mapping)), 0) {}
  /// What is to go to another process.
  explicit PixelBuffer(std::shared_ptr<MemoryFile> file) : file_(std::move(file)) {}

  /// Of a memory file the first call maps them: one thread at a time until then.
  [[nodiscard]] std::span<const std::uint8_t> bytes() const {
    return file_ ? file_->bytes() : bytes_;
  }
  [[nodiscard]] const std::uint8_t* data() const { return bytes().data(); }
  [[nodiscard]] std::size_t size() const { return file_ ? file_->size() : bytes_.size(); }
  [[nodiscard]] std::uint8_t operator[](std::size_t index) const { return bytes()[index]; }
  /// Throws std::out_of_range.
  [[nodiscard]] std::uint8_t at(std::size_t index) const {
    return index < size() ? bytes()[index] : throw std::out_of_range("no such byte");
  }

  /// The file that it was made from; null for the other kinds.
  [[nodiscard]] const std::shared_ptr<MemoryFile>& file() const { return file_; }

 private:
  explicit PixelBuffer(std::shared_ptr<std::vector<std::uint8_t>> bytes)
      : bytes_(*bytes), owner_(std::move(bytes)) {}
  PixelBuffer(std::shared_ptr<Mapping> mapping, int)
      : bytes_(mapping->bytes()), owner_(std::move(mapping)) {}

  std::span<const std::uint8_t> bytes_;
  std::shared_ptr<const void> owner_;  ///< of `bytes_`, unless `file_` is
  std::shared_ptr<MemoryFile> file_;
};

}  // namespace vaultmere
