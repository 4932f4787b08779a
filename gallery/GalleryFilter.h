// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "catalog/Predicate.h"
#include "gallery/http/HttpRequest.h"

namespace vaultmere {

/// What a request narrows the gallery to: the texts of its query, which are
/// read only when the condition is made. A text that is there constrains the
/// list, also an empty one, unless said otherwise.
struct GalleryFilter {
  std::optional<std::string> year;        ///< a number; anything else doesn't count
  std::optional<std::string> dateFrom;    ///< its first ten characters: "yyyy-MM-dd"
  std::optional<std::string> dateTo;      ///< likewise: until the first instant of that day
  std::optional<std::string> dateBefore;  ///< likewise: before that day
  std::optional<std::string> tag;
  std::optional<std::string> label;
  std::optional<std::string> place;      ///< a country
  std::optional<std::string> mediaType;  ///< "image", "video" or "live_photo"
  std::optional<std::string> color;      ///< a colour family
  std::optional<std::string> size;       ///< a label of the size table; others don't count
  std::optional<std::string> q;          ///< free text as it is; an empty one doesn't count
  std::optional<std::string> ext;        ///< "." and the lower-cased extension
  std::optional<std::string> camera;     ///< a camera's model
  std::optional<bool> favorite;
  bool noCamera = false;  ///< only photos without a model: `camera` doesn't count

  bool operator==(const GalleryFilter&) const = default;

  /// Reads the keys of the wire; others don't count.
  [[nodiscard]] static GalleryFilter of(const HttpQuery& query);

  /// The shown photos that fulfil all. As soon as a date is there, and be it
  /// one that can't be read, the year doesn't count. Days begin in the zone of
  /// the program.
  [[nodiscard]] Predicate predicate() const;
};

/// A decimal number with an optional sign; absent for any other text, and for
/// one that doesn't fit.
[[nodiscard]] std::optional<std::int64_t> integerOf(std::string_view text);

}  // namespace vaultmere
