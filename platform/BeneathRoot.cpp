// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/BeneathRoot.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/Descriptor.h"
#include "platform/SystemCall.h"

namespace vaultmere {
namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

/// One component at a time, for kernels before 5.6 and for sandboxes that
/// forbid openat2. With O_PATH | O_NOFOLLOW a link would be opened itself;
/// O_DIRECTORY then refuses it with ENOTDIR.
int walk(int root, const fs::path& relative, int flags) {
  Descriptor folder(-1);
  int at = root;
  for (auto component = relative.begin(); component != relative.end();) {
    const fs::path name = component->empty() ? fs::path(".") : *component;
    const bool isLast = ++component == relative.end();
    Descriptor next(
        ::openat(at, name.c_str(), (isLast ? flags : kFolderFlags) | O_NOFOLLOW | O_CLOEXEC));
    if (next.get() == -1) {
      struct stat s {};
      const int code = errno;
      const bool isLink =
          ::fstatat(at, name.c_str(), &s, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(s.st_mode);
      errno = isLink ? ELOOP : code;
      return -1;
    }
    folder = std::move(next);
    at = folder.get();
  }
  return folder.release();
}

/// -1 with errno set on failure.
int openBelow(int root, const fs::path& shown, const fs::path& relative, int flags) {
  const int opened = attempt("openat2", shown, [&] {
    open_how how{};
    how.flags = static_cast<unsigned>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;
    return static_cast<int>(::syscall(SYS_openat2, root, relative.c_str(), &how, sizeof how));
  });
  const bool isMissing = opened == -1 && (errno == ENOSYS || errno == EPERM);
  return isMissing ? attempt("openat", shown, [&] { return walk(root, relative, flags); }) : opened;
}

}  // namespace

bool staysBelow(const fs::path& relative) {
  return !relative.empty() && relative.is_relative() &&
         std::none_of(relative.begin(), relative.end(),
                      [](const fs::path& component) { return component == ".."; });
}

File openBeneath(const fs::path& root, const fs::path& relative) {
  const fs::path shown = root / relative;
  if (!staysBelow(relative)) {
    throw FileError("open", shown, EINVAL);
  }
  const Descriptor folder(
      require("open", root, [&] { return ::open(root.c_str(), kFolderFlags); }));
  const int opened = openBelow(folder.get(), shown, relative, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (opened == -1) {
    throw FileError("open", shown, errno);
  }
  return File::adoptRegular(opened, shown);
}

std::optional<fs::path> pathBelow(const fs::path& root, const fs::path& file) {
  fs::path relative = file.lexically_relative(root);
  const bool isBelow = !relative.empty() && *relative.begin() != ".." && relative != ".";
  return isBelow ? std::optional(std::move(relative)) : std::nullopt;
}

}  // namespace vaultmere
