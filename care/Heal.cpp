// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/Heal.h"

#include "intake/ArchiveError.h"
#include "intake/ArchivedPlace.h"
#include "intake/DamagedFile.h"
#include "intake/FileHash.h"
#include "platform/BeneathRoot.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

HealOutcome heal(const Heal::Options& options, const CatalogWriter& writer,
                 const VerifiableItem& item, ArchivedPart part) {
  HealOutcome outcome{item.id, part, displayPath(options.root.path / placeOf(item, part)), false,
                      std::nullopt};
  try {
    (void)options.root.open();  // the right device
    const fs::path copy = otherPlaceOf(item, part);
    const auto expected = part == ArchivedPart::primary ? std::optional(item.id) : item.motionHash;
    File read = openBeneath(options.root.path, copy);
    if (hashFile(read, PageCache::bypass, options.stop).hash != expected) {
      throw ArchiveError::verifyFailed("hash", copy);
    }
    replaceDamaged(options.root, item, part, openBeneath(options.root.path, copy), options.now(),
                   options.stop);
    writer.clearMark(item, part);
    outcome.isHealed = true;
  } catch (const FileError& error) {
    outcome.reason = error.what();
  } catch (const ArchiveError& error) {
    outcome.reason = error.what();
  }
  return outcome;
}

}  // namespace

std::int64_t Heal::run(const Options& options) {
  const CatalogWriter writer(options.context);
  std::int64_t healed = 0;
  for (const VerifiableItem& item : options.context->perform(fetchMarkedItems)) {
    for (const ArchivedPart part : {ArchivedPart::primary, ArchivedPart::motion}) {
      if (!item.mark(part)) {
        continue;
      }
      if (options.stop.stop_requested()) {
        return healed;
      }
      const HealOutcome outcome = heal(options, writer, item, part);
      healed += outcome.isHealed ? 1 : 0;
      if (outcome.reason) {
        logLine("Vaultmere: not healed — " + outcome.path + ": " + *outcome.reason);
      }
      if (options.outcome) {
        options.outcome(outcome);
      }
    }
  }
  return healed;
}

}  // namespace vaultmere
