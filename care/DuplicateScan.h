// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "care/DuplicateMember.h"
#include "catalog/CatalogDate.h"
#include "catalog/DuplicateQueries.h"

// Which files are the same shot, as far as the catalog tells: the same instant of
// capture and, but for RAW files with their renderings, the same size. No pixel
// is looked at, so a burst can be taken for copies.
namespace vaultmere {

enum class DuplicateKind { rawPair, formatPair, reencode, video };

/// "RAW + rendered", "Format pair", "Re-encoded", "Video".
[[nodiscard]] std::string_view duplicateKindText(DuplicateKind kind);

struct DuplicateGroup {
  std::string id;  ///< the same in each scan; see `instantText`
  CatalogDate captureDate;
  int width = 0;  ///< of the first member with the most pixels, by order of insertion
  int height = 0;
  DuplicateKind kind = DuplicateKind::reencode;
  std::vector<DuplicateMember> members;  ///< ranked; two or more
  bool operator==(const DuplicateGroup&) const = default;

  /// A member is hidden below another one.
  [[nodiscard]] bool isStacked() const;
};

/// The shortest decimal text that reads back as the same seconds, always with a
/// fraction: "636112272.0", "0.1". From 1e16 on and below 0.0001 it has an
/// exponent instead of the many zeros: "1e+16", "5e-05".
[[nodiscard]] std::string instantText(CatalogDate instant);

/// The groups among photos of one instant, given in the order of insertion. With
/// a RAW file and another image among them they are one group, videos included,
/// with the id "raw|" and the instant's text. Else those of one size are one, with
/// the instant's text, "|" and the size, as in "636112272.0|4000x3000"; photos
/// without a second one are in none.
[[nodiscard]] std::vector<DuplicateGroup> groupsOfInstant(const std::vector<DatedPhoto>& photos);

/// All groups of a catalog, the latest capture first. Reads every instant: not for
/// the main thread. Throws CatalogError.
[[nodiscard]] std::vector<DuplicateGroup> scanDuplicates(Connection& connection);

}  // namespace vaultmere
