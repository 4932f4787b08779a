// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "media/RawFile.h"
#include "platform/Files.h"

namespace vaultmere {

/// What Sigma's RAW files (X3F) tell in their own structure, which no library in
/// use reads: a header, and at the end a directory of sections ("Format of the
/// X3F file", version 1.03, by Foveon).
struct X3fFile {
  /// Later cameras only tell the size and the orientation here; what is missing
  /// stands in their preview's EXIF.
  RawHeader header;
  std::string preview;  ///< the largest JPEG; empty when there is none
};

/// Absent for a file of another kind; of a damaged one comes what can be read.
[[nodiscard]] std::optional<X3fFile> readX3f(const File& file);

}  // namespace vaultmere
