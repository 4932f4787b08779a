// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Descriptor.h"

// Bytes in memory that one process makes and another one reads without a copy
// (memfd_create(2)).
namespace vaultmere {

/// A mapping of memory, unmapped when it is destroyed. Moves, isn't copied.
class Mapping {
 public:
  Mapping() = default;
  /// Throws FileError.
  Mapping(int descriptor, std::size_t size, int protection);
  ~Mapping();
  Mapping(Mapping&& other) noexcept;
  Mapping& operator=(Mapping&& other) noexcept;

  [[nodiscard]] std::span<std::uint8_t> bytes() const { return bytes_; }

 private:
  std::span<std::uint8_t> bytes_;
};

/// What is being written: bytes of this process's until they are sealed.
class MemoryFile {
 public:
  /// `size` zero bytes, at least 1. Throws FileError when there is no memory, or
  /// more than the process's limit on file sizes allows.
  explicit MemoryFile(std::size_t size);

  [[nodiscard]] std::span<std::uint8_t> bytes() const { return mapping_.bytes(); }

  /// Ends this object's use of the bytes, and lets nobody change them or their
  /// number any more: what may go to another process. Throws FileError.
  [[nodiscard]] Descriptor seal() &&;

 private:
  Descriptor descriptor_;
  Mapping mapping_;
};

/// Maps the bytes that another process has sealed, for reading. Throws FileError,
/// with EPERM unless the memory is sealed against every change, and with EINVAL
/// unless it has exactly `size` bytes, at least 1.
[[nodiscard]] Mapping mapSealed(Descriptor descriptor, std::size_t size);

}  // namespace vaultmere
