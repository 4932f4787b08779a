// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/PhotoRef.h"

#include "platform/Files.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

bool isFile(const fs::path& path) {
  const auto status = fileStatus(path);
  return status && status->kind == FileKind::regular;
}

}  // namespace

PhotoRef photoRefOf(const Photo& photo) {
  return {photo.id, bareExtension(photo.ext), photo.archivePath, photo.targetPath, photo.mediaType};
}

std::string bareExtension(const std::string& ext) { return asciiLower(trimmed(ext, ".")); }

std::optional<fs::path> originalOf(const PhotoRef& ref,
                                   const std::optional<fs::path>& archiveRoot) {
  if (ref.archivePath && !ref.archivePath->empty() && isFile(*ref.archivePath)) {
    return *ref.archivePath;
  }
  if (archiveRoot && ref.targetPath && !ref.targetPath->empty()) {
    // A path that begins at "/" would otherwise replace the root.
    fs::path file = *archiveRoot / fs::path(*ref.targetPath).relative_path();
    if (isFile(file)) {
      return file;
    }
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
