// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

#include "platform/FaultPoint.h"
#include "platform/Log.h"
#include "platform/SystemCall.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {

FileKind kindOf(mode_t mode) {
  if (S_ISREG(mode)) {
    return FileKind::regular;
  }
  if (S_ISDIR(mode)) {
    return FileKind::directory;
  }
  return S_ISLNK(mode) ? FileKind::symbolicLink : FileKind::other;
}

FileStatus statusOf(const struct stat& s) {
  FileStatus status;
  status.stamp = {s.st_dev, s.st_ino, s.st_size,
                  std::int64_t{s.st_mtim.tv_sec} * 1'000'000'000 + s.st_mtim.tv_nsec};
  status.kind = kindOf(s.st_mode);
  status.permissions = s.st_mode & 0777U;
  status.links = s.st_nlink;
  return status;
}

void logRefusal(std::atomic_flag& said, std::string_view what, const fs::path& path) {
  const std::string reason = std::generic_category().message(errno);
  if (!said.test_and_set()) {
    logLine(std::string("Vaultmere: ").append(what) + " isn't kept at " + displayPath(path) + ": " +
            reason);
  }
}

bool isRefusal(int code) {
  return code == EINVAL || code == ENOTSUP || code == ENOSYS || code == EPERM || code == EACCES ||
         code == EBADF;
}

FileError::FileError(std::string_view operation, const fs::path& path, int code)
    : std::runtime_error(std::string(operation) + " “" + displayPath(path) +
                         "”: " + std::generic_category().message(code)),
      code_(code) {}

std::chrono::system_clock::time_point FileStamp::modified() const {
  return std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::nanoseconds(modifiedNanoseconds)));
}

std::optional<FileStatus> fileStatus(const fs::path& path) {
  struct stat s {};
  if (attempt("stat", path, [&] { return ::stat(path.c_str(), &s); }) == -1) {
    return std::nullopt;
  }
  return statusOf(s);
}

FileStatus requireStatus(std::string_view operation, const fs::path& path) {
  struct stat s {};
  if (attempt("stat", path, [&] { return ::stat(path.c_str(), &s); }) == -1) {
    throw FileError(operation, path, errno);
  }
  return statusOf(s);
}

std::optional<FileStatus> linkStatus(const fs::path& path) {
  struct stat s {};
  if (attempt("lstat", path, [&] { return ::lstat(path.c_str(), &s); }) == -1) {
    return std::nullopt;
  }
  return statusOf(s);
}

void visitDirectory(const fs::path& folder,
                    const std::function<bool(std::string_view name, FileKind kind)>& visit) {
  const int descriptor = require("open", folder, [&] {
    return ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
  });
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(descriptor), ::closedir);
  if (!stream) {
    const int code = errno;
    ::close(descriptor);
    throw FileError("open", folder, code);
  }
  for (;;) {
    errno = faultAt("readdir", folder);
    const dirent* entry = errno == 0 ? ::readdir(stream.get()) : nullptr;
    if (entry == nullptr) {
      if (errno != 0) {
        throw FileError("read", folder, errno);
      }
      return;
    }
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") {
      continue;
    }
    FileKind kind = FileKind::other;
    if (entry->d_type != DT_UNKNOWN) {
      kind = kindOf(static_cast<mode_t>(DTTOIF(entry->d_type)));
    } else if (const auto status = linkStatus(folder / name)) {
      kind = status->kind;
    }
    if (!visit(name, kind)) {
      return;
    }
  }
}

std::vector<DirectoryEntry> listDirectory(const fs::path& folder) {
  std::vector<DirectoryEntry> entries;
  visitDirectory(folder, [&](std::string_view name, FileKind kind) {
    entries.push_back({folder / name, kind});
    return true;
  });
  return entries;
}

// MARK: File

File::File(int descriptor, fs::path path) noexcept
    : descriptor_(descriptor), path_(std::move(path)) {}

File File::openForReading(const fs::path& path) {
  return adoptRegular(
      require("open", path,
              [&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }),
      path);
}

File File::adoptRegular(int descriptor, const fs::path& path) {
  File file(descriptor, path);
  const FileKind kind = file.status().kind;
  if (kind != FileKind::regular) {
    throw FileError("open", path, kind == FileKind::directory ? EISDIR : EINVAL);
  }
  return file;
}

File File::createNew(const fs::path& path) {
  return {require("create", path,
                  [&] {
                    return ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                  0600);
                  }),
          path};
}

File File::openForAppending(const fs::path& path) {
  return {
      require("open", path,
              [&] { return ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600); }),
      path};
}

File::~File() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

File::File(File&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), path_(std::move(other.path_)) {}

File& File::operator=(File&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(path_, other.path_);
  return *this;
}

std::size_t File::read(std::span<std::byte> buffer) {
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const auto rest = buffer.subspan(filled);
    const ssize_t count =
        require("read", path_, [&] { return ::read(descriptor_, rest.data(), rest.size()); });
    if (count == 0) {
      break;
    }
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

void File::write(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        require("write", path_, [&] { return ::write(descriptor_, bytes.data(), bytes.size()); });
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

void File::sync() {
  require("fsync", path_, [&] { return ::fsync(descriptor_); });
}

void File::syncWrittenByOthers() {
  static std::atomic_flag said;
  if (attempt("fsync", path_, [&] { return ::fsync(descriptor_); }) == -1) {
    if (!isRefusal(errno)) {
      throw FileError("fsync", path_, errno);
    }
    logRefusal(said, "a flush through a read-only descriptor", path_);
  }
}

void File::dropCache() noexcept { ::posix_fadvise(descriptor_, 0, 0, POSIX_FADV_DONTNEED); }

void File::takeAttributes(const FileStatus& source) noexcept {
  static std::atomic_flag modeSaid;
  static std::atomic_flag timeSaid;
  constexpr std::int64_t second = 1'000'000'000;
  std::int64_t seconds = source.stamp.modifiedNanoseconds / second;
  std::int64_t rest = source.stamp.modifiedNanoseconds % second;
  if (rest < 0) {
    rest += second;
    seconds -= 1;
  }
  // Some FUSE drivers pass over a call that leaves one of the two times as it is.
  const timespec time{seconds, rest};
  const timespec times[2] = {time, time};
  if (attempt("fchmod", path_,
              [&] { return ::fchmod(descriptor_, source.permissions | S_IRUSR); }) == -1) {
    logRefusal(modeSaid, "the permission mode", path_);
  }
  if (attempt("futimens", path_, [&] { return ::futimens(descriptor_, times); }) == -1) {
    logRefusal(timeSaid, "the modification time", path_);
  }
}

FileStatus File::status() const {
  struct stat s {};
  require("fstat", path_, [&] { return ::fstat(descriptor_, &s); });
  return statusOf(s);
}

std::size_t File::readAt(std::int64_t offset, std::span<std::byte> buffer) const {
  std::size_t filled = 0;
  while (filled < buffer.size()) {
    const auto rest = buffer.subspan(filled);
    const ssize_t count = require("read", path_, [&] {
      return ::pread(descriptor_, rest.data(), rest.size(),
                     offset + static_cast<std::int64_t>(filled));
    });
    if (count == 0) {
      break;
    }
    filled += static_cast<std::size_t>(count);
  }
  return filled;
}

void File::close() {
  const int descriptor = std::exchange(descriptor_, -1);
  const int fault = faultAt("close", path_);
  // A close that is interrupted has closed all the same: never again.
  const int result = ::close(descriptor);
  if (fault != 0 || (result == -1 && errno != EINTR)) {
    throw FileError("close", path_, fault != 0 ? fault : errno);
  }
}

// MARK: Names and folders

void renameFile(const fs::path& from, const fs::path& to) {
  if (attempt("rename", to, [&] { return ::rename(from.c_str(), to.c_str()); }) == -1) {
    throw FileError("rename to", to, errno);
  }
}

void removeFile(const fs::path& path) {
  if (attempt("unlink", path, [&] { return ::unlink(path.c_str()); }) == -1) {
    throw FileError("remove", path, errno);
  }
}

void syncDirectory(const fs::path& folder) { syncFolderAt(AT_FDCWD, folder.c_str(), folder); }

void syncFolderAt(int at, const char* name, const fs::path& shown) {
  static std::atomic_flag said;
  const int descriptor = attempt(
      "opendir", shown, [&] { return ::openat(at, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor == -1) {
    if (!isRefusal(errno)) {
      throw FileError("open", shown, errno);
    }
    logRefusal(said, "a flush of folders", shown);
    return;
  }
  const int result = attempt("fsyncdir", shown, [&] { return ::fsync(descriptor); });
  const int code = errno;
  ::close(descriptor);
  if (result == -1) {
    if (!isRefusal(code)) {
      throw FileError("flush", shown, code);
    }
    errno = code;
    logRefusal(said, "a flush of folders", shown);
  }
}

namespace {

/// Makes one folder in an existing one. True when it wasn't there before.
bool makeDirectory(const fs::path& folder, mode_t mode) {
  if (attempt("mkdir", folder, [&] { return ::mkdir(folder.c_str(), mode); }) == 0) {
    return true;
  }
  const int code = errno;
  const auto status = fileStatus(folder);
  if (status && status->kind == FileKind::directory) {
    return false;
  }
  throw FileError("make folder", folder, code == EEXIST ? ENOTDIR : code);
}

/// The folder that holds a folder's entry; never empty.
fs::path parentOf(const fs::path& folder) {
  const fs::path parent = folder.parent_path();
  return parent.empty() ? fs::path(".") : parent;
}

}  // namespace

void makeDirectories(const fs::path& folder, mode_t mode) {
  const auto status = fileStatus(folder);
  if (status && status->kind == FileKind::directory) {
    return;
  }
  if (folder.has_relative_path() && !folder.has_filename()) {  // a trailing slash
    return makeDirectories(folder.parent_path(), mode);
  }
  if (folder.has_parent_path() && folder.parent_path() != folder) {
    makeDirectories(folder.parent_path(), mode);
  }
  makeDirectory(folder, mode);
  syncDirectory(parentOf(folder));
}

void makePrivateFolder(const fs::path& folder) {
  makeDirectories(folder, 0700);
  const auto status = fileStatus(folder);
  if (status && status->permissions != 0700) {
    static std::atomic_flag said;
    if (attempt("chmod", folder, [&] { return ::chmod(folder.c_str(), 0700); }) == -1) {
      logRefusal(said, "a private mode", folder);
    }
  }
}

std::string readFile(const fs::path& path, std::size_t limit) {
  File file = File::openForReading(path);
  std::string bytes;
  std::size_t filled = 0;
  do {
    bytes.resize(std::min(limit + 1, std::max<std::size_t>(4096, bytes.size() * 2)));
    filled += file.read(std::as_writable_bytes(std::span(bytes).subspan(filled)));
    if (filled > limit) {
      throw FileError("read", path, EFBIG);
    }
  } while (filled == bytes.size());
  bytes.resize(filled);
  return bytes;
}

void writeFileAtomically(const fs::path& path, std::string_view bytes, Durability durability) {
  const fs::path folder = parentOf(path);
  const fs::path temporary = folder / ("." + path.filename().native() + "." + newUuid() + ".tmp");
  File file = File::createNew(temporary);
  try {
    file.write(std::as_bytes(std::span(bytes)));
    if (durability == Durability::powerCut) {
      file.sync();
    }
    file.close();
    renameFile(temporary, path);
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  if (durability == Durability::powerCut) {
    syncDirectory(folder);
  }
}

}  // namespace vaultmere
