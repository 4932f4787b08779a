// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/Archiver.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "platform/Log.h"
#include "platform/Sha256.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

bool areDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// Hands a file's bytes to `use` in pieces.
template <typename Use>
void forEachChunk(File& file, const std::stop_token& stop, Use&& use) {
  std::vector<std::byte> buffer(kFileChunk);
  for (;;) {
    if (stop.stop_requested()) {
      throw FileError("read", file.path(), ECANCELED);
    }
    const std::size_t count = file.read(buffer);
    if (count == 0) {
      return;
    }
    use(std::span<const std::byte>(buffer).first(count));
  }
}

/// What a copy read from its source.
struct CopySource {
  std::string hash;
  FileStamp stamp;
};

/// Copies to a new file and flushes it. Hashes on the way only when asked.
CopySource copyFlushed(const fs::path& source, const fs::path& target, bool wantsHash,
                       const std::stop_token& stop) {
  File in = File::openForReading(source);
  const FileStatus status = in.status();
  File out = File::createNew(target);
  std::optional<Sha256> hash;
  if (wantsHash) {
    hash.emplace();
  }
  forEachChunk(in, stop, [&](std::span<const std::byte> chunk) {
    if (hash) {
      hash->update(chunk);
    }
    out.write(chunk);
  });
  out.takeAttributes(status);
  out.sync();
  out.close();
  return {hash ? hash->hexDigest() : std::string(), status.stamp};
}

/// Removes a temporary file at the end of its scope, unless it was kept.
class TemporaryFile {
 public:
  explicit TemporaryFile(fs::path path) : path_(std::move(path)) {}
  ~TemporaryFile() {
    if (path_.empty() || !linkStatus(path_)) {
      return;
    }
    try {
      removeFile(path_);
    } catch (const FileError& error) {
      logLine(std::string("Vaultmere: temporary file left — ") + error.what());
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  void keep() { path_.clear(); }
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

}  // namespace

ArchiveError ArchiveError::verifyFailed(std::string_view what, const fs::path& target) {
  return ArchiveError(fmt::format("{} mismatch for {}", what, displayName(target)));
}

HashedFile hashFile(const fs::path& path, PageCache from, const std::stop_token& stop) {
  File file = File::openForReading(path);
  if (from == PageCache::bypass) {
    file.dropCache();
  }
  HashedFile result{"", file.status().stamp, 0};
  Sha256 hash;
  forEachChunk(file, stop, [&](std::span<const std::byte> chunk) {
    hash.update(chunk);
    result.size += static_cast<std::int64_t>(chunk.size());
  });
  result.hash = hash.hexDigest();
  return result;
}

std::string Archiver::targetPath(const std::optional<std::string>& captureDate, std::string_view id,
                                 std::string_view ext) {
  if (captureDate && captureDate->size() >= 7) {
    const std::string_view year = std::string_view(*captureDate).substr(0, 4);
    const std::string_view month = std::string_view(*captureDate).substr(5, 2);
    if (areDigits(year) && areDigits(month)) {
      return fmt::format("{0}/{0}-{1}/{2}{3}", year, month, id, ext);
    }
  }
  return fmt::format("undated/{}{}", id, ext);
}

Archiver::Archived Archiver::archive(const fs::path& source, const std::optional<fs::path>& motion,
                                     const AnalyzedPhoto& photo, bool sourcesGo) const {
  const fs::path relative = photo.targetPath;
  Archived archived;
  archived.archivePath = options_.root / relative;
  archived.wasThere = ensureArchived(source, relative, photo.id, sourcesGo);
  if (motion) {
    const fs::path motionRelative = relative.parent_path() / (photo.id + ".mov");
    archived.liveMotionPath = options_.root / motionRelative;
    ensureArchived(*motion, motionRelative, std::nullopt, sourcesGo);
  }
  return archived;
}

void Archiver::checkRoot() const {
  const FileStatus status = requireStatus("open archive", options_.root);
  if (status.kind != FileKind::directory) {
    throw FileError("open archive", options_.root, ENOTDIR);
  }
  if (options_.acceptsDevice && !options_.acceptsDevice(status.stamp.device)) {
    throw FileError("open archive", options_.root, ENODEV);
  }
}

/// Sees to it that the target stands. True when it stood before.
bool Archiver::ensureArchived(const fs::path& source, const fs::path& relative,
                              const std::optional<std::string>& expectedHash,
                              bool sourceGoes) const {
  checkRoot();
  const fs::path target = options_.root / relative;
  const bool wasThere = linkStatus(target).has_value();
  if (!wasThere && verifiedCopy(source, relative, expectedHash)) {
    return false;
  }
  // A file that came while we copied may be another one's motion file.
  checkExisting(source, target, expectedHash, sourceGoes || !wasThere);
  return true;
}

void Archiver::checkExisting(const fs::path& source, const fs::path& target,
                             const std::optional<std::string>& expectedHash, bool readsIt) const {
  const auto existing = linkStatus(target);
  if (existing && existing->kind != FileKind::regular) {
    throw ArchiveError(fmt::format("not a regular file: {}", displayPath(target)));
  }
  if (readsIt) {
    verifyExisting(source, target, expectedHash);
  } else if (!expectedHash && existing &&
             existing->stamp.size != requireStatus("open", source).stamp.size) {
    throw ArchiveError::verifyFailed("size", target);
  }
}

void Archiver::verifyExisting(const fs::path& source, const fs::path& target,
                              const std::optional<std::string>& expectedHash) const {
  const std::string wanted =
      expectedHash ? *expectedHash : hashFile(source, PageCache::use, options_.stop).hash;
  if (hashFile(target, PageCache::bypass, options_.stop).hash != wanted) {
    throw ArchiveError::verifyFailed("hash", target);
  }
  // Whoever renamed it may have been killed before this flush.
  syncDirectory(target.parent_path());
}

/// False when somebody else has taken the name meanwhile.
bool Archiver::verifiedCopy(const fs::path& source, const fs::path& relative,
                            const std::optional<std::string>& expectedHash) const {
  const fs::path target = options_.root / relative;
  makeDirectoriesBelow(options_.root, relative.parent_path());
  TemporaryFile temporary(target.parent_path() /
                          fmt::format(".{}.{}.tmp", target.filename().native(), newUuid()));
  const CopySource copied =
      copyFlushed(source, temporary.path(), !expectedHash.has_value(), options_.stop);
  const HashedFile written = hashFile(temporary.path(), PageCache::bypass, options_.stop);
  if (!expectedHash && written.stamp.size != copied.stamp.size) {
    throw ArchiveError::verifyFailed("size", target);
  }
  if (written.hash != expectedHash.value_or(copied.hash)) {
    throw ArchiveError::verifyFailed("hash", target);
  }
  if (!renameNoReplace(temporary.path(), target)) {
    return false;
  }
  temporary.keep();
  syncDirectory(target.parent_path());
  checkRoot();  // a drive that went in between leaves its mount point
  return true;
}

}  // namespace vaultmere
