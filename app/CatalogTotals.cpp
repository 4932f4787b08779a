// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CatalogTotals.h"

#include <utility>

#include "catalog/CatalogError.h"

namespace vaultmere {
namespace {

ArchiveBreakdown sumOf(const std::vector<MediaTotal>& totals) {
  ArchiveBreakdown sum;
  for (const MediaTotal& total : totals) {
    const bool isVideo = total.mediaType == "video";
    sum.count += total.count;
    sum.bytes += total.bytes;
    (isVideo ? sum.videos : sum.photos) += total.count;
    (isVideo ? sum.videoBytes : sum.photoBytes) += total.bytes;
  }
  return sum;
}

}  // namespace

void CatalogTotals::refresh() {
  if (!catalog_) {
    return;
  }
  if (isCounting_) {
    isOutdated_ = true;
    return;
  }
  isCounting_ = true;
  pool_.post([catalog = catalog_,
              tell = toMain_([this](const ArchiveBreakdown& archive) { show(archive); })] {
    try {
      tell(sumOf(mediaBreakdown(*catalog->newBackgroundContext())));
    } catch (const CatalogError&) {
      tell(ArchiveBreakdown{});
    }
  });
}

void CatalogTotals::show(const ArchiveBreakdown& archive) {
  isCounting_ = false;
  if (std::exchange(archive_, archive) != archive) {
    changed_.notify();
  }
  if (std::exchange(isOutdated_, false)) {
    refresh();
  }
}

}  // namespace vaultmere
