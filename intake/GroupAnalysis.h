// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <stop_token>

#include "catalog/AnalyzedPhoto.h"
#include "intake/AssetGroup.h"
#include "intake/PhotosMeta.h"
#include "media/MediaService.h"
#include "media/Vision.h"
#include "platform/Files.h"

namespace vaultmere {

/// What the analysis of a group found.
struct GroupAnalysis {
  AnalyzedPhoto photo;  ///< without what only the copy can tell
  FileStamp primary;    ///< as it was before its first byte was read
  std::optional<FileStamp> motion;
};

/// Hashes the primary file and learns what it can about the group. `meta` is
/// the photo library's, or null; `vision` may be null, and then no rendering
/// is made for it. Throws FileError when the primary can't be read, or with
/// ECANCELED after a stop, and MediaError when no file can be looked into; nothing
/// else fails, it stays absent.
[[nodiscard]] GroupAnalysis analyzeGroup(const AssetGroup& group, const PhotosMeta* meta,
                                         MediaService& media, const Vision* vision,
                                         const std::stop_token& stop);

}  // namespace vaultmere
