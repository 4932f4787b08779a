// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// The file layer: the one place that talks to the system about files. Every
// call retries on EINTR, loops over short transfers, closes on exec, and
// passes a fault point named after the system call.
namespace vaultmere {

namespace fs = std::filesystem;

/// Files are hashed and copied in pieces of this many bytes.
inline constexpr std::size_t kFileChunk = std::size_t{1024} * 1024;

/// A file-system call that failed: "open “IMG_1.jpg”: Permission denied".
class FileError : public std::runtime_error {
 public:
  FileError(std::string_view operation, const fs::path& path, int code);
  /// The errno.
  [[nodiscard]] int code() const noexcept { return code_; }

 private:
  int code_;
};

enum class FileKind { regular, directory, symbolicLink, other };

/// What identifies a file and tells whether it has been written since.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modifiedNanoseconds = 0;  ///< since 1970-01-01T00:00:00Z
  bool operator==(const FileStamp&) const = default;

  [[nodiscard]] std::chrono::system_clock::time_point modified() const;
  [[nodiscard]] bool sameFile(const FileStamp& other) const {
    return device == other.device && inode == other.inode;
  }
};

struct FileStatus {
  FileStamp stamp;
  FileKind kind = FileKind::other;
  mode_t permissions = 0;
  nlink_t links = 1;  ///< the names that the file has
};

/// The status behind a path, links followed or not; absent when nothing is
/// there or it can't be told.
[[nodiscard]] std::optional<FileStatus> fileStatus(const fs::path& path);
[[nodiscard]] std::optional<FileStatus> linkStatus(const fs::path& path);

struct DirectoryEntry {
  fs::path path;
  FileKind kind = FileKind::other;
};

/// The entries of a folder in the system's order, without "." and "..".
/// Throws FileError when it can't be opened or read.
[[nodiscard]] std::vector<DirectoryEntry> listDirectory(const fs::path& folder);

/// The same for large folders: hands over the name and kind of each entry, the
/// name for the length of the call, until `visit` gives false.
void visitDirectory(const fs::path& folder,
                    const std::function<bool(std::string_view name, FileKind kind)>& visit);

/// An open file. Closed when destroyed; `close` also reports.
class File {
 public:
  /// Opens a regular file without blocking: a FIFO, socket, device or folder
  /// is an error (EINVAL, EISDIR for a folder), not a wait.
  [[nodiscard]] static File openForReading(const fs::path& path);
  /// Takes over an open descriptor, closed also when this throws because it is
  /// no regular file. `path` is for error texts.
  [[nodiscard]] static File adoptRegular(int descriptor, const fs::path& path);
  /// Makes a new file, readable and writable by the owner alone. Fails with
  /// EEXIST when anything is there, a dangling link included.
  [[nodiscard]] static File createNew(const fs::path& path);
  /// Opens for appending, making the file (0600) when it's missing.
  [[nodiscard]] static File openForAppending(const fs::path& path);

  ~File();
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;

  /// Reads up to a full span; 0 means the end.
  [[nodiscard]] std::size_t read(std::span<std::byte> buffer);
  /// The same from an offset, without moving on.
  [[nodiscard]] std::size_t readAt(std::int64_t offset, std::span<std::byte> buffer) const;
  void write(std::span<const std::byte> bytes);
  /// Flushes data and size to the medium (fsync).
  void sync();
  /// The same for a file that somebody else has written and that is open for
  /// reading only. File systems that refuse that get one log line a process.
  void syncWrittenByOthers();
  /// Asks the system to forget the file's cached pages, so that the next
  /// reader gets them from the medium. Best effort.
  void dropCache() noexcept;
  /// Keeps the modification time and the permission bits of `source`; the owner
  /// may always read. A file system that refuses either gets one log line a
  /// process. One that accepts the time may still lose it: look afterwards.
  void takeAttributes(const FileStatus& source) noexcept;
  [[nodiscard]] FileStatus status() const;
  void close();
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  [[nodiscard]] const fs::path& path() const noexcept { return path_; }

 private:
  File(int descriptor, fs::path path) noexcept;
  int descriptor_ = -1;
  fs::path path_;
};

/// The status behind a path, links followed. Throws FileError, which says that
/// it was for this operation.
[[nodiscard]] FileStatus requireStatus(std::string_view operation, const fs::path& path);

/// rename(2): replaces what is there, atomically on one file system.
void renameFile(const fs::path& from, const fs::path& to);

/// unlink(2).
void removeFile(const fs::path& path);

/// Flushes a folder's entries. File systems that refuse it (exFAT, CIFS, FUSE)
/// are passed over with one log line a process; a real failure throws.
void syncDirectory(const fs::path& folder);

/// Makes a folder with its parents, each flushed in its parent. `mode` goes to
/// the folders that are made.
void makeDirectories(const fs::path& folder, mode_t mode = 0777);

/// The same for a folder that only its owner may enter: 0700, also when it was
/// there with a looser mode, as far as the file system allows.
void makePrivateFolder(const fs::path& folder);

/// Reads a whole file of at most `limit` bytes. Throws FileError, with EFBIG
/// for a larger one.
[[nodiscard]] std::string readFile(const fs::path& path, std::size_t limit);

/// What a new file has to survive.
enum class Durability {
  powerCut,  ///< flushed to the medium, with its folder: some milliseconds
  /// The end of the process, no more: for what can be made again. A power cut
  /// may leave an empty file.
  crash,
};

/// Replaces a file whole: temporary name, flush, rename, flush of the folder.
/// Readers see the old bytes or the new ones. The file is 0600.
void writeFileAtomically(const fs::path& path, std::string_view bytes,
                         Durability durability = Durability::powerCut);

}  // namespace vaultmere
