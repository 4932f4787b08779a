// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>

#include "platform/Files.h"

namespace vaultmere {

/// The bytes of an open file, mapped for reading: for libraries that take a path or
/// memory, in a process that may open no path. When the file's drive is pulled out,
/// or the file is cut, meanwhile, reading them ends the process (SIGBUS).
class FileMapping {
 public:
  /// Throws FileError; an empty file has no bytes. The file may be closed afterwards.
  explicit FileMapping(const File& file);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;

  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return bytes_; }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace vaultmere
