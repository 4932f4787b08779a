// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

#include "catalog/AnalyzedPhoto.h"
#include "platform/Files.h"

namespace vaultmere {

/// A copy or an archived file that isn't what it must be.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  /// `what` is "hash" or "size": "hash mismatch for 3f….jpg".
  static ArchiveError verifyFailed(std::string_view what, const std::filesystem::path& target);
};

/// A file's hash, and the file that it was read from.
struct HashedFile {
  std::string hash;       ///< 64 lower-case hexadecimal digits
  FileStamp stamp;        ///< as it was before the first byte was read
  std::int64_t size = 0;  ///< the bytes that were hashed
};

enum class PageCache {
  use,    ///< cached pages will do
  bypass  ///< cached pages are dropped first, as far as the system allows
};

/// The SHA-256 of a file's bytes, read in pieces of 1 MiB. Throws FileError;
/// ECANCELED after a stop.
[[nodiscard]] HashedFile hashFile(const std::filesystem::path& file, PageCache from,
                                  const std::stop_token& stop);

/// Owns the layout of the archive and makes the one write that matters: a copy
/// that is proved equal to its source before it takes its final name.
///
/// Each copy goes: temporary file in the target's folder, flush, drop of its
/// cached pages, hash read back and compared, rename, flush of the folder. So a
/// file at its final name is always whole. A failed copy removes its temporary
/// file; only a killed process leaves one, hidden by its leading dot.
///
/// A value without state; any thread, several calls at once.
class Archiver {
 public:
  struct Options {
    std::filesystem::path root;  ///< must exist: never made here
    /// Whether `root` may lie on this device, asked before each copy: an empty
    /// mount point isn't the drive. Null means that any will do.
    std::function<bool(dev_t device)> acceptsDevice;
    std::stop_token stop;  ///< ends a running copy
  };

  struct Archived {
    std::filesystem::path archivePath;
    std::optional<std::filesystem::path> liveMotionPath;
    bool wasThere = false;  ///< the target existed before
  };

  explicit Archiver(Options options) : options_(std::move(options)) {}

  /// The path below the root: "2021/2021-03/<id><ext>" by the first seven
  /// characters of the capture date, as they stand; "undated/<id><ext>" when
  /// there are fewer, or the year or month isn't made of digits.
  [[nodiscard]] static std::string targetPath(const std::optional<std::string>& captureDate,
                                              std::string_view id, std::string_view ext);

  /// Copies a file and its motion file, unless they are there. What is there is
  /// trusted unread, but a motion file must have its source's size; when the
  /// sources are to be removed afterwards (`sourcesGo`), it is read and must have
  /// the sources' hashes. Throws FileError and ArchiveError; the primary's copy
  /// stays when the motion file's fails.
  [[nodiscard]] Archived archive(const std::filesystem::path& source,
                                 const std::optional<std::filesystem::path>& motion,
                                 const AnalyzedPhoto& photo, bool sourcesGo) const;

 private:
  void checkRoot() const;
  bool ensureArchived(const std::filesystem::path& source, const std::filesystem::path& relative,
                      const std::optional<std::string>& expectedHash, bool sourceGoes) const;
  void checkExisting(const std::filesystem::path& source, const std::filesystem::path& target,
                     const std::optional<std::string>& expectedHash, bool readsIt) const;
  void verifyExisting(const std::filesystem::path& source, const std::filesystem::path& target,
                      const std::optional<std::string>& expectedHash) const;
  [[nodiscard]] bool verifiedCopy(const std::filesystem::path& source,
                                  const std::filesystem::path& relative,
                                  const std::optional<std::string>& expectedHash) const;

  Options options_;
};

}  // namespace vaultmere
