// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

#include "media/worker/HeifBoxes.h"
#include "platform/Files.h"

namespace vaultmere {

/// What libheif is to be shown in place of a file's own bytes, so that it takes
/// a sound file that it would refuse whole: versions up to 1.17 do so for
/// structures that phones write since 2023. Each part has the length of what it
/// replaces, so that no offset in the file changes; the file itself stays.
///
/// - A thumbnail, auxiliary image or metadata block of several images (the
///   picture and the `tmap` item that joins it with its gain map) is shown as
///   one of the primary image, or the first; one of no image that the library
///   knows isn't shown at all.
/// - An item isn't shown when the library can't read its data (kept in another
///   item, compressed, or nowhere) or it is an image without properties.
/// - A `colr` property of an unknown kind isn't shown.
/// - Boxes at the top of the file that `readHeifTop` doesn't look at are shown as
///   one without a content: the library would take the last of several `meta`
///   boxes, not the first.
/// - A brand that the library knows is shown, where the file only has others.
///
/// Empty for files that need none of it. The primary image is never hidden.
[[nodiscard]] std::vector<FilePart> heifReplacements(const File& file);

}  // namespace vaultmere
