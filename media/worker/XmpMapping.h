// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "media/worker/ImageProperties.h"

namespace Exiv2 {
class XmpData;
}

namespace vaultmere {

/// Adds dates, position, camera and exposure from XMP, in EXIF's form, where EXIF
/// has said nothing: a date by any of its date tags, a position by both numbers.
/// Namespaces are those of ISO 16684-1, of Adobe's additional properties and of CIPA
/// DC-010.
void mapXmp(const Exiv2::XmpData& data, ImageProperties& properties);

}  // namespace vaultmere
