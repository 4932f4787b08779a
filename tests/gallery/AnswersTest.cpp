// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "gallery/Route.h"
#include "gallery/http/ResponseHead.h"

namespace vaultmere {
namespace {

TEST(HttpResponse, HeadsAreTheseBytes) {
  EXPECT_EQ(okHead("text/css", 12),
            "HTTP/1.1 200 OK\r\nContent-Type: text/css\r\nContent-Length: 12\r\n"
            "Connection: close\r\n\r\n");
  EXPECT_EQ(pictureHead("image/png", 5'000'000'000),
            "HTTP/1.1 200 OK\r\nContent-Type: image/png\r\nContent-Length: 5000000000\r\n"
            "Cache-Control: max-age=86400\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(notFoundAnswer(),
            "HTTP/1.1 404 Not Found\r\nContent-Type: text/plain\r\nContent-Length: 0\r\n"
            "Connection: close\r\n\r\n");
  EXPECT_EQ(unauthorisedAnswer(),
            "HTTP/1.1 401 Unauthorized\r\n"
            "WWW-Authenticate: Basic realm=\"Vaultmere Gallery\", charset=\"UTF-8\"\r\n"
            "Content-Type: text/plain\r\nContent-Length: 24\r\nConnection: close\r\n\r\n"
            "Authentication required.");
}

TEST(Route, PathsAreComparedExactly) {
  using Kind = Route::Kind;
  struct {
    const char* path;
    Route expected;
  } const cases[] = {
      {"/", {Kind::file, "index.html", "text/html; charset=utf-8", ""}},
      {"/index.html", {Kind::file, "index.html", "text/html; charset=utf-8", ""}},
      {"/app.js", {Kind::file, "app.js", "application/javascript", ""}},
      {"/styles.css", {Kind::file, "styles.css", "text/css", ""}},
      {"/vendor/chart.umd.min.js",
       {Kind::file, "vendor/chart.umd.min.js", "application/javascript", ""}},
      {"/config.js", {Kind::config, "", "", ""}},
      {"/api/photos", {Kind::photos, "", "", ""}},
      {"/api/stats", {Kind::stats, "", "", ""}},
      {"/api/colors", {Kind::colours, "", "", ""}},
      {"/api/geo", {Kind::geo, "", "", ""}},
      {"/thumb/abc", {Kind::thumbnail, "", "", "abc"}},
      {"/thumb/../a/b", {Kind::thumbnail, "", "", "../a/b"}},
      {"/thumb/", {Kind::thumbnail, "", "", ""}},
      {"/img/abc", {Kind::display, "", "", "abc"}},
      {"", {}},
      {"/index.htm", {}},
      {"//", {}},
      {"/App.js", {}},
      {"/api/photos/", {}},
      {"/api", {}},
      {"/thumb", {}},
      {"/%74humb/abc", {}},
      {"/vendor/", {}},
      {"index.html", {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(routeOf(c.path), c.expected) << c.path;
  }
}

}  // namespace
}  // namespace vaultmere
