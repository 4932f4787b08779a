// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/VerifiedCopy.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <cstdlib>

#include "intake/FileHash.h"
#include "platform/Log.h"
#include "platform/Sha256.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

/// What a copy read from its source.
struct CopySource {
  std::string hash;  ///< empty when nobody asked for it
  FileStamp stamp;
};

CopySource copyFlushed(File in, File out, bool wantsHash, const std::stop_token& stop) {
  const FileStatus status = in.status();
  std::optional<Sha256> hash;
  if (wantsHash) {
    hash.emplace();
  }
  readInChunks(in, stop, [&](std::span<const std::byte> chunk) {
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

/// Removes a temporary file at the end of its scope, unless it has got its name.
class TemporaryFile {
 public:
  TemporaryFile(const OpenFolder& folder, const fs::path& target)
      : folder_(folder), name_(fmt::format(".{}.{}.tmp", target.native(), newUuid())) {}
  ~TemporaryFile() {
    if (isKept_) {
      return;
    }
    try {
      if (folder_.statusOf(name_)) {
        folder_.remove(name_);
      }
    } catch (const FileError& error) {
      logLine(std::string("Vaultmere: temporary file left — ") + error.what());
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  void keep() { isKept_ = true; }
  [[nodiscard]] const fs::path& name() const { return name_; }

 private:
  const OpenFolder& folder_;
  const fs::path name_;
  bool isKept_ = false;
};

/// Says once a process that a file system has lost the modification time of a
/// copy. FAT keeps them in steps of two seconds.
void checkModificationTime(const FileStamp& source, const FileStamp& copy, const fs::path& path) {
  constexpr std::int64_t tolerated = 2'000'000'000;
  static std::atomic_flag said;
  if (std::abs(source.modifiedNanoseconds - copy.modifiedNanoseconds) > tolerated &&
      !said.test_and_set()) {
    logLine("Vaultmere: the modification time isn't kept at " + displayPath(path));
  }
}

}  // namespace

ArchiveError ArchiveError::verifyFailed(std::string_view what, const fs::path& target) {
  return ArchiveError(fmt::format("{} mismatch for {}", what, displayName(target)));
}

std::optional<std::string> verifiedCopy(const fs::path& source, const OpenFolder& folder,
                                        const fs::path& name,
                                        const std::optional<std::string>& expectedHash,
                                        const std::stop_token& stop) {
  return verifiedCopy(File::openForReading(source), folder, name, expectedHash, stop);
}

std::optional<std::string> verifiedCopy(File source, const OpenFolder& folder, const fs::path& name,
                                        const std::optional<std::string>& expectedHash,
                                        const std::stop_token& stop,
                                        const std::function<void()>& makeRoom) {
  TemporaryFile temporary(folder, name);
  const CopySource copied = copyFlushed(std::move(source), folder.createNew(temporary.name()),
                                        !expectedHash.has_value(), stop);
  File copy = folder.openForReading(temporary.name());
  HashedFile written = hashFile(copy, PageCache::bypass, stop);
  if (!expectedHash && written.stamp.size != copied.stamp.size) {
    throw ArchiveError::verifyFailed("size", name);
  }
  if (written.hash != expectedHash.value_or(copied.hash)) {
    throw ArchiveError::verifyFailed("hash", name);
  }
  checkModificationTime(copied.stamp, written.stamp, copy.path());
  if (makeRoom) {
    makeRoom();
  }
  if (!folder.renameNoReplace(temporary.name(), name)) {
    return std::nullopt;
  }
  temporary.keep();
  return std::move(written.hash);
}

}  // namespace vaultmere
