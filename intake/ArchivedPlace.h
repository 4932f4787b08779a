// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "catalog/Verification.h"
#include "intake/ArchiveRoot.h"

// Where the files of an item are.
namespace vaultmere {

/// Where one of an item's files belongs below the root: in the trash for a trashed
/// item, else at its target, with the motion file beside it. Empty for a row
/// without a target.
[[nodiscard]] fs::path placeOf(const VerifiableItem& item, ArchivedPart part);

/// Where it belongs when the item is trashed, or isn't any more: a process that was
/// killed while it moved the file may have left it there.
[[nodiscard]] fs::path otherPlaceOf(const VerifiableItem& item, ArchivedPart part);

/// Opens one of an item's files: at its place, else at the other one, else at the
/// path of the time of the freeze. Below the root no link is followed. Absent when
/// there is none at any of them. Throws FileError when it is there and can't be
/// opened.
[[nodiscard]] std::optional<File> openArchived(const ArchiveRoot& root, const VerifiableItem& item,
                                               ArchivedPart part);

}  // namespace vaultmere
