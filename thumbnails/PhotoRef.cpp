// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/PhotoRef.h"

#include "platform/BeneathRoot.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

std::optional<File> openBelowOrAnywhere(const fs::path& path, const std::optional<fs::path>& root) {
  try {
    const auto relative = root ? pathBelow(*root, path) : std::nullopt;
    return relative ? openBeneath(*root, *relative) : File::openForReading(path);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

}  // namespace

PhotoRef photoRefOf(const Photo& photo) {
  return {photo.id, bareExtension(photo.ext), photo.archivePath, photo.targetPath, photo.mediaType};
}

std::string bareExtension(const std::string& ext) { return asciiLower(trimmed(ext, ".")); }

std::optional<File> openOriginal(const PhotoRef& ref, const std::optional<fs::path>& archiveRoot) {
  if (ref.archivePath && !ref.archivePath->empty()) {
    if (auto file = openBelowOrAnywhere(*ref.archivePath, archiveRoot)) {
      return file;
    }
  }
  if (archiveRoot && ref.targetPath && !ref.targetPath->empty()) {
    // A path that begins at "/" would otherwise replace the root.
    return openBelowOrAnywhere(*archiveRoot / fs::path(*ref.targetPath).relative_path(),
                               archiveRoot);
  }
  return std::nullopt;
}

}  // namespace vaultmere

std::size_t std::hash<vaultmere::PhotoRef>::operator()(
    const vaultmere::PhotoRef& ref) const noexcept {
  std::size_t sum = std::hash<std::string>()(ref.id);
  const auto add = [&](const auto& field) {
    sum = sum * 31 + std::hash<std::decay_t<decltype(field)>>()(field);
  };
  add(ref.ext);
  add(ref.archivePath);
  add(ref.targetPath);
  add(ref.mediaType);
  return sum;
}
