// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <compare>
#include <optional>
#include <string_view>

#include "platform/MainThread.h"

namespace vaultmere {

/// A moment as the store holds it: seconds since 2001-01-01T00:00:00Z.
struct CatalogDate {
  double seconds = 0;
  auto operator<=>(const CatalogDate&) const = default;

  [[nodiscard]] static CatalogDate of(TimePoint moment);
  [[nodiscard]] static CatalogDate of(std::chrono::sys_seconds moment);
  /// Moments that the clock's type can't hold (before 1677, after 2262) are
  /// moved to its ends.
  [[nodiscard]] TimePoint moment() const;
  /// The whole second at or before the moment.
  [[nodiscard]] std::chrono::sys_seconds wholeSeconds() const;
};

/// Reads the internet date-time form (with its zone mark), else
/// "yyyy-MM-dd'T'HH:mm:ss" as local time; absent for anything else, an
/// impossible day or hour included.
[[nodiscard]] std::optional<CatalogDate> parseCatalogDate(std::string_view text);

}  // namespace vaultmere
