// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/OpenFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

#include "platform/Log.h"
#include "platform/SystemCall.h"

namespace vaultmere {
namespace {

constexpr int kFolderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

/// A folder's modification time may stand still for so long while entries
/// change: FAT counts in steps of two seconds, of a clock that may be some
/// milliseconds late.
constexpr std::chrono::seconds kClockTick{3};

}  // namespace

OpenFolder OpenFolder::open(const fs::path& path) {
  return {Descriptor(require("open", path, [&] { return ::open(path.c_str(), kFolderFlags); })),
          path};
}

OpenFolder OpenFolder::folder(const fs::path& name) const {
  const fs::path shown = path_ / name;
  Descriptor opened(attempt("open", shown, [&] {
    return ::openat(descriptor_.get(), name.c_str(), kFolderFlags | O_NOFOLLOW);
  }));
  if (opened.get() == -1) {
    const int code = errno;
    const auto there = code == ENOTDIR ? statusOf(name) : std::nullopt;
    const bool isLink = there && there->kind == FileKind::symbolicLink;
    throw FileError("open", shown, isLink ? ELOOP : code);
  }
  return {std::move(opened), shown};
}

OpenFolder OpenFolder::makeFolder(const fs::path& name) const {
  try {
    return folder(name);
  } catch (const FileError& error) {
    if (error.code() != ENOENT) {
      throw;
    }
  }
  const fs::path shown = path_ / name;
  if (attempt("mkdir", shown, [&] { return ::mkdirat(descriptor_.get(), name.c_str(), 0777); }) ==
          -1 &&
      errno != EEXIST) {
    throw FileError("make folder", shown, errno);
  }
  return folder(name);
}

FileStatus OpenFolder::status() const {
  struct stat s {};
  require("fstat", path_, [&] { return ::fstat(descriptor_.get(), &s); });
  return vaultmere::statusOf(s);
}

std::optional<FileStatus> OpenFolder::statusOf(const fs::path& name) const {
  const fs::path shown = path_ / name;
  struct stat s {};
  if (attempt("lstat", shown, [&] {
        return ::fstatat(descriptor_.get(), name.c_str(), &s, AT_SYMLINK_NOFOLLOW);
      }) == -1) {
    if (errno == ENOENT) {
      return std::nullopt;
    }
    throw FileError("look at", shown, errno);
  }
  return vaultmere::statusOf(s);
}

File OpenFolder::openForReading(const fs::path& name) const {
  const fs::path shown = path_ / name;
  return File::adoptRegular(
      require("open", shown,
              [&] {
                return ::openat(descriptor_.get(), name.c_str(),
                                O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC);
              }),
      shown);
}

File OpenFolder::createNew(const fs::path& name) const {
  const fs::path shown = path_ / name;
  return File::adoptRegular(require("create", shown,
                                    [&] {
                                      return ::openat(
                                          descriptor_.get(), name.c_str(),
                                          O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
                                    }),
                            shown);
}

bool OpenFolder::renameNoReplace(const fs::path& from, const fs::path& to) const {
  const fs::path shown = path_ / to;
  const int at = descriptor_.get();
  if (attempt("rename", shown, [&] {
        return ::renameat2(at, from.c_str(), at, to.c_str(), RENAME_NOREPLACE);
      }) == 0) {
    return true;
  }
  if (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP) {
    return linkNoReplace(from, to);
  }
  if (errno != EEXIST) {
    throw FileError("rename to", shown, errno);
  }
  return false;
}

bool OpenFolder::linkNoReplace(const fs::path& from, const fs::path& to) const {
  const fs::path shown = path_ / to;
  const int at = descriptor_.get();
  if (attempt("link", shown, [&] { return ::linkat(at, from.c_str(), at, to.c_str(), 0); }) == 0) {
    try {
      remove(from);
    } catch (const FileError& error) {
      logLine(std::string("Vaultmere: second name not removed — ") + error.what());
    }
    return true;
  }
  switch (errno) {
    case EEXIST:
      return false;
    case EPERM:
    case EINVAL:
    case ENOSYS:
    case ENOTSUP:
    case EMLINK:
      return renameInTurn(from, to);
    default:
      throw FileError("link to", shown, errno);
  }
}

bool OpenFolder::renameInTurn(const fs::path& from, const fs::path& to) const {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const fs::path shown = path_ / to;
  const int at = descriptor_.get();
  // The lock of other processes goes with the descriptor, also by a crash.
  // Without it the turns are this process's own.
  const Descriptor turn(::openat(at, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  static std::atomic_flag said;
  if (attempt("flock", path_, [&] { return ::flock(turn.get(), LOCK_EX); }) == -1) {
    logRefusal(said, "a lock between programs", path_);
  }
  if (statusOf(to)) {
    return false;
  }
  if (attempt("rename", shown, [&] { return ::renameat(at, from.c_str(), at, to.c_str()); }) ==
      -1) {
    throw FileError("rename to", shown, errno);
  }
  return true;
}

void OpenFolder::renameInto(const fs::path& from, const OpenFolder& folder,
                            const fs::path& to) const {
  const fs::path shown = folder.path_ / to;
  if (attempt("rename", shown, [&] {
        return ::renameat(descriptor_.get(), from.c_str(), folder.descriptor_.get(), to.c_str());
      }) == -1) {
    throw FileError("rename to", shown, errno);
  }
}

void OpenFolder::remove(const fs::path& name) const {
  const fs::path shown = path_ / name;
  if (attempt("unlink", shown, [&] { return ::unlinkat(descriptor_.get(), name.c_str(), 0); }) ==
      -1) {
    throw FileError("remove", shown, errno);
  }
}

void OpenFolder::sync() const { syncFolderAt(descriptor_.get(), ".", path_); }

void FolderFlushes::flush(const OpenFolder& folder) {
  const FileStamp before = folder.status().stamp;
  const std::pair key{before.device, before.inode};
  {
    const std::lock_guard lock(mutex_);
    const auto known = flushed_.find(key);
    if (known != flushed_.end() && known->second == before.modifiedNanoseconds) {
      return;
    }
  }
  const auto now = std::chrono::system_clock::now();
  folder.sync();
  const std::lock_guard lock(mutex_);
  // FAT keeps no time for its root folder: it shows 0 there whatever changes.
  if (before.modifiedNanoseconds > 0 && now - before.modified() >= kClockTick) {
    flushed_.insert_or_assign(key, before.modifiedNanoseconds);
  } else {
    flushed_.erase(key);
  }
}

}  // namespace vaultmere
