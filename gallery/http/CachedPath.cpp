// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/CachedPath.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vaultmere {

bool isPathInMemory(const std::filesystem::path& path) {
  open_how how{};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_CACHED;
  const long descriptor = ::syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how);
  if (descriptor < 0) {
    return false;
  }
  ::close(static_cast<int>(descriptor));
  return true;
}

}  // namespace vaultmere
