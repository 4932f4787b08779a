// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "media/worker/RawFile.h"
#include "platform/Files.h"

namespace vaultmere {

/// The metadata of Sigma's RAW files (X3F) in their own structure, which no library in
/// use reads: a header, and at the end a directory of sections ("Format of the
/// X3F file", version 1.03, by Foveon).
struct X3fFile {
  /// Later cameras only write the size and the orientation here, and the rest into their preview's
  /// EXIF.
  RawHeader header;
  std::string preview;  ///< the largest JPEG; empty when there is none
};

/// Absent for a file of another kind; of a damaged one, what can be read is there.
[[nodiscard]] std::optional<X3fFile> readX3f(const File& file);

}  // namespace vaultmere
