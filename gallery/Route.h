// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vaultmere {

/// What a path asks for. The paths are part of the gallery's interface: never
/// change them.
struct Route {
  enum class Kind { file, config, photos, stats, colours, geo, thumbnail, display, nothing };

  Kind kind = Kind::nothing;
  std::string_view file;  ///< of a `file`: its name below the folder of the page
  std::string_view type;  ///< of a `file`: its media type
  std::string_view id;    ///< of a `thumbnail` or `display`: as sent, a part of `path`

  bool operator==(const Route&) const = default;
};

/// Paths are compared exactly.
[[nodiscard]] Route routeOf(std::string_view path);

}  // namespace vaultmere
