// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "catalog/Predicate.h"

namespace vaultmere {

/// What the library's list is narrowed to. A field that is there constrains
/// the list, also when it is empty or false.
struct PhotoFilter {
  std::optional<int> year;               ///< of capture
  std::optional<std::string> mediaType;  ///< "image", "video" or "live_photo"
  std::optional<std::string> ext;        ///< "." and the lower-cased extension
  std::optional<std::string> color;      ///< a colour family
  std::optional<std::string> country;
  std::optional<std::string> size;  ///< the label of a size class; others don't count
  std::optional<bool> favorite;
  std::optional<std::string> tag;
  std::optional<std::string> label;
  std::optional<std::string> camera;  ///< a camera's model
  bool noCamera = false;              ///< only photos without a model: `camera` doesn't count
  std::string q;                      ///< free text; blanks around it don't count

  bool operator==(const PhotoFilter&) const = default;

  /// Whether any field is set.
  [[nodiscard]] bool isActive() const;

  /// The rows that the list shows: those of the library's base that fulfil
  /// every field.
  [[nodiscard]] Predicate predicate() const;
};

}  // namespace vaultmere
