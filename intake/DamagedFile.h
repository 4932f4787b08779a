// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <stop_token>

#include "catalog/Verification.h"
#include "intake/ArchiveRoot.h"
#include "platform/MainThread.h"

namespace vaultmere {

/// Puts the right bytes in the place of a file that a scrub has marked, from a
/// `source` that has them: an original that was dropped again, or another copy. In
/// this order:
///
/// 1. a temporary copy beside the bad file, flushed, read back and compared;
/// 2. the bad file goes to `trash/damaged/<id>.<time><ext>`, and the folders of both
///    names are flushed;
/// 3. the copy takes its name, and its folders are flushed.
///
/// Then the mark may go: that is the caller's, for it is the catalog's. Killed at any
/// step, the bad file is at one of its two places, and the next call ends the work. A
/// file that is sound by now is left as it is, one that is gone is only put back.
///
/// Not for the main thread. Throws FileError (ECANCELED after a stop) and
/// ArchiveError, and then the marked file is where it was, or at its new place.
void replaceDamaged(const ArchiveRoot& root, const VerifiableItem& item, ArchivedPart part,
                    File source, TimePoint now, const std::stop_token& stop);

}  // namespace vaultmere
