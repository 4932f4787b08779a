// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Descriptor.h"

// Bytes in memory that one process makes and another one reads without a copy
// (memfd_create(2)).
namespace vaultmere {

/// A mapping of memory for reading, unmapped when it is destroyed. Moves, isn't
/// copied.
class Mapping {
 public:
  Mapping() = default;
  /// Throws FileError.
  Mapping(int descriptor, std::size_t size);
  ~Mapping();
  Mapping(Mapping&& other) noexcept;
  Mapping& operator=(Mapping&& other) noexcept;

  [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

 private:
  std::span<const std::uint8_t> bytes_;
};

/// What is being written: bytes of this process's until they are sealed. One thread
/// at a time.
class MemoryFile {
 public:
  /// `size` zero bytes, at least 1. Throws FileError when there is no memory, or
  /// more than the process's limit on file sizes allows.
  explicit MemoryFile(std::size_t size);

  [[nodiscard]] std::size_t size() const { return size_; }
  /// Puts bytes at an offset; both lie within the size. Quicker for large pieces
  /// than a mapping, whose pages would be made and given up one by one. Throws
  /// FileError when there is no memory.
  void write(std::size_t offset, std::span<const std::uint8_t> bytes);
  /// All of them, mapped at the first call. Throws FileError.
  [[nodiscard]] std::span<const std::uint8_t> bytes() const;

  /// Ends this object's use of the bytes, and lets nobody change them or their
  /// number any more: what may go to another process. Throws FileError.
  [[nodiscard]] Descriptor seal() &&;

 private:
  std::size_t size_;
  Descriptor descriptor_;
  mutable Mapping mapping_;
};

/// Maps the bytes that another process has sealed, for reading. Throws FileError,
/// with EPERM unless the memory is sealed against every change, and with EINVAL
/// unless it has exactly `size` bytes, at least 1.
[[nodiscard]] Mapping mapSealed(Descriptor descriptor, std::size_t size);

}  // namespace vaultmere
