// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/Route.h"

#include <array>

namespace vaultmere {
namespace {

using Kind = Route::Kind;

struct Path {
  std::string_view path;
  Route route;
};

constexpr Route pageFile(std::string_view name, std::string_view type) {
  return {Kind::file, name, type, {}};
}

constexpr Route plain(Kind kind) { return {kind, {}, {}, {}}; }

constexpr std::array kPaths{
    Path{"/", pageFile("index.html", "text/html; charset=utf-8")},
    Path{"/index.html", pageFile("index.html", "text/html; charset=utf-8")},
    Path{"/app.js", pageFile("app.js", "application/javascript")},
    Path{"/styles.css", pageFile("styles.css", "text/css")},
    Path{"/vendor/chart.umd.min.js", pageFile("vendor/chart.umd.min.js", "application/javascript")},
    Path{"/config.js", plain(Kind::config)},
    Path{"/api/photos", plain(Kind::photos)},
    Path{"/api/stats", plain(Kind::stats)},
    Path{"/api/colors", plain(Kind::colours)},
    Path{"/api/geo", plain(Kind::geo)},
};

constexpr std::string_view kThumbnails = "/thumb/";
constexpr std::string_view kPictures = "/img/";

}  // namespace

Route routeOf(std::string_view path) {
  for (const Path& known : kPaths) {
    if (known.path == path) {
      return known.route;
    }
  }
  if (path.starts_with(kThumbnails)) {
    return {Kind::thumbnail, {}, {}, path.substr(kThumbnails.size())};
  }
  if (path.starts_with(kPictures)) {
    return {Kind::display, {}, {}, path.substr(kPictures.size())};
  }
  return {};
}

}  // namespace vaultmere
