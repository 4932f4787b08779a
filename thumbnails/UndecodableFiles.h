// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Files.h"
#include "thumbnails/Rendering.h"

namespace vaultmere {

/// Remembers which originals no picture can be made of, so that nobody decodes
/// them again. Kept in a file beside the cache, which is read when it is first
/// needed; one that can't be read or written costs decodes and nothing else.
/// Any thread but the main one.
///
/// The file is text: a line with `kHeader` and the decoders' version, then one
/// line for each original, "t" (thumbnail) or "d" (display), the id, and inode,
/// size and modification time in nanoseconds of the file that was decoded. A
/// later line replaces an earlier one. All of it is forgotten when the version
/// is another one.
class UndecodableFiles {
 public:
  static constexpr std::string_view kHeader = "undecodable 1 ";  ///< on disk: never changes

  /// `decoders` gives the version; it is called at the first use, and again at the
  /// next one as long as it throws std::exception, while nothing is remembered.
  UndecodableFiles(std::filesystem::path file, std::function<std::string()> decoders);

  void add(Rendering rendering, const std::string& id, const FileStamp& original);
  /// Whether it is remembered, whatever has become of the original since.
  [[nodiscard]] bool contains(Rendering rendering, const std::string& id);
  /// Whether it is remembered of these very bytes.
  [[nodiscard]] bool contains(Rendering rendering, const std::string& id,
                              const FileStamp& original);
  void clear();

 private:
  /// What tells that a file isn't the one that was decoded. Not its device,
  /// whose number changes when a drive is plugged in again.
  struct Version {
    ino_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modifiedNanoseconds = 0;
    bool operator==(const Version&) const = default;
  };
  using Key = std::pair<Rendering, std::string>;

  static Version versionOf(const FileStamp& stamp);
  static std::string lineOf(const Key& key, const Version& version);
  void load();
  [[nodiscard]] const Version* find(Rendering rendering, const std::string& id);

  const std::filesystem::path file_;
  const std::function<std::string()> decoders_;
  std::mutex mutex_;  // guards the rest
  bool isLoaded_ = false;
  std::string header_;
  std::map<Key, Version> entries_;
};

}  // namespace vaultmere
