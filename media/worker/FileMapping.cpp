// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/FileMapping.h"

#include <sys/mman.h>

#include <cerrno>

namespace vaultmere {

FileMapping::FileMapping(const File& file) {
  const auto size = static_cast<std::size_t>(file.status().stamp.size);
  if (size == 0) {
    return;
  }
  void* const at = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.descriptor(), 0);
  if (at == MAP_FAILED) {
    throw FileError("mmap", file.path(), errno);
  }
  bytes_ = {static_cast<const std::uint8_t*>(at), size};
}

FileMapping::~FileMapping() {
  if (!bytes_.empty()) {
    ::munmap(const_cast<std::uint8_t*>(bytes_.data()), bytes_.size());
  }
}

}  // namespace vaultmere
