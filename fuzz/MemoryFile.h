// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/Files.h"

namespace vaultmere {

/// Ends the process, which the fuzzer counts as a finding.
inline void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// A file in memory with these bytes.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes)
      : descriptor_(::memfd_create("input", MFD_CLOEXEC)), file_(opened(bytes)) {}
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  [[nodiscard]] const File& file() const { return file_; }

 private:
  [[nodiscard]] File opened(std::string_view bytes) const {
    require(::write(descriptor_, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    return File::openForReading("/proc/self/fd/" + std::to_string(descriptor_));
  }

  int descriptor_;
  File file_;
};

}  // namespace vaultmere
