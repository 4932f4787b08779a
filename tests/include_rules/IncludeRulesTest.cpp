// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace vaultmere {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string, std::less<>>;

/// The directories besides its own, or single headers of them, that a directory
/// may include.
const std::map<std::string, Names, std::less<>> kMayInclude{
    {"platform", {}},
    {"media", {"platform"}},
    {"media/worker", {"platform", "media"}},
    {"catalog", {"platform"}},
    {"analysis", {"platform", "media", "catalog/PhotoMetadata.h"}},
    {"settings", {"platform"}},
    {"thumbnails", {"platform", "media", "catalog", "analysis"}},
    {"intake", {"platform", "media", "catalog", "analysis"}},
    {"care", {"platform", "media", "catalog", "analysis", "settings", "thumbnails", "intake"}},
    {"gallery/http", {"platform"}},
    {"gallery", {"platform", "media", "catalog", "thumbnails", "gallery/http"}},
    {"app",
     {"platform", "media", "catalog", "analysis", "settings", "thumbnails", "intake", "care",
      "gallery", "gallery/http"}},
    {"tools", {"platform", "media", "catalog", "thumbnails", "gallery", "gallery/http"}},
    {"tests/support", {"platform", "media", "media/worker"}},
    {"demo", {"platform", "media", "tests/support"}},
    {"fuzz",
     {"platform", "media", "media/worker", "catalog", "analysis", "intake", "gallery",
      "gallery/http", "tests/support"}},
};

/// Libraries that have their place, and the directories that it is in. All
/// others may be included by any .cpp file.
const std::pair<const char*, Names> kPlaces[] = {
    {R"(SQLiteCpp/.*|sqlite3\.h)", {"catalog"}},
    {R"((vips|libraw|exiv2|libheif)/.*|lib(av|sw|postproc)\w*/.*)",
     {"media/worker", "tests/support"}},
    {R"((libmount|systemd)/.*)", {"platform"}},
    {R"(seccomp\.h)", {"media/worker"}},
    {R"(asio(/.*|\.hpp)|sys/(socket|un)\.h|(netinet|arpa|net)/.*|(netdb|ifaddrs)\.h)",
     {"platform", "gallery/http"}},
    {R"(Q[A-Zt].*)", {"interface"}},
    {R"((gtest|gmock)/.*)", {"tests/support"}},
};

const RE2 kAllowedInHeaders(R"(\w+|(sys|linux|sigc\+\+|nlohmann)/.*|\w+\.h)");

/// "gallery/http" and the like, else the first folder of a path.
std::string directoryOf(const std::string& path) {
  for (const char* nested : {"gallery/http", "media/worker", "tests/support"}) {
    if (path.starts_with(std::string(nested) + "/")) return nested;
  }
  return path.substr(0, path.find('/'));
}

/// What is wrong with one include; empty when nothing is.
std::string faultOf(const std::string& file, const std::string& name, bool isQuoted) {
  const std::string from = directoryOf(file);
  const bool usesAnything = from == "tests" || from == "bench";
  if (isQuoted) {
    const std::string to = directoryOf(name);
    if (fs::path(name) != fs::path(name).lexically_normal() ||
        !fs::exists(fs::path(VAULTMERE_SOURCE_DIR) / name)) {
      return "must be a header's path from the root";
    }
    const auto mayInclude = [&](const Names& allowed) {
      return allowed.contains(to) || allowed.contains(name);
    };
    return usesAnything || from == to || mayInclude(kMayInclude.at(from)) ? "" : "is out of bounds";
  }
  for (const auto& [pattern, places] : kPlaces) {
    if (RE2::FullMatch(name, pattern) && !usesAnything && !places.contains(from)) {
      return "is a library of another directory";
    }
  }
  return file.ends_with(".h") && !usesAnything && !RE2::FullMatch(name, kAllowedInHeaders)
             ? "belongs in .cpp files"
             : "";
}

TEST(IncludeRules, EachDirectoryIncludesOnlyWhatItMay) {
  static const RE2 form(R"(\s*#\s*include\s*([<"])([^>"]*)[>"].*)");
  const fs::path root = VAULTMERE_SOURCE_DIR;
  int files = 0;
  for (auto entry = fs::recursive_directory_iterator(root); entry != fs::end(entry); ++entry) {
    const fs::path path = entry->path();
    if (entry->is_directory() &&
        (path.filename().native().starts_with('.') || path.filename() == "node_modules" ||
         path.filename().native().starts_with("build"))) {
      entry.disable_recursion_pending();
    }
    if (path.extension() != ".h" && path.extension() != ".cpp") continue;
    const std::string file = path.lexically_relative(root).native();
    ++files;
    ASSERT_TRUE(directoryOf(file) == "tests" || directoryOf(file) == "bench" ||
                kMayInclude.contains(directoryOf(file)))
        << file << " is in a directory without rules";
    std::ifstream in(path);
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
      if (number == 1) {
        EXPECT_EQ(line, "// SPDX-License-Identifier: GPL-3.0-or-later") << file;
      } else if (number == 2 && path.extension() == ".h") {
        EXPECT_EQ(line, "#pragma once") << file;
      }
      std::string mark;
      std::string name;
      if (RE2::FullMatch(line, form, &mark, &name)) {
        EXPECT_EQ(faultOf(file, name, mark == "\""), "") << file << ":" << number << ": " << name;
      }
    }
  }
  EXPECT_GT(files, 100);
}

/// What `ldd` prints of a program.
std::string librariesOf(const std::string& program) {
  std::string text;
  const std::unique_ptr<FILE, decltype(&::pclose)> pipe(::popen(("ldd " + program).c_str(), "r"),
                                                        &::pclose);
  std::array<char, 4096> line{};
  while (pipe && std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    text += line.data();
  }
  return text;
}

TEST(IncludeRules, OnlyTheMediaProgramLoadsLibrariesThatReadMedia) {
  static const RE2 media(
      R"(lib(vips|raw|raw_r|exiv2|heif|de265|dav1d|av\w+|sw\w+|Magick\w*|jpeg|png16|tiff|webp|openjp2|glib-2\.0)[-.])");
  const std::string own = librariesOf(VAULTMERE_MEDIA_PROGRAM);
  EXPECT_TRUE(RE2::PartialMatch(own, media)) << own;
  for (const char* program : {VAULTMERE_PROGRAM, VAULTMERE_SERVE_GALLERY}) {
    const std::string libraries = librariesOf(program);
    EXPECT_NE(libraries.find("libsqlite3"), std::string::npos) << program;
    EXPECT_FALSE(RE2::PartialMatch(libraries, media)) << libraries;
  }
}

TEST(IncludeRules, NameWhatIsWrong) {
  EXPECT_NE(faultOf("platform/A.cpp", "catalog/Photo.h", true), "");
  EXPECT_NE(faultOf("analysis/A.cpp", "catalog/Photo.h", true), "");
  EXPECT_NE(faultOf("gallery/http/A.cpp", "gallery/GalleryServer.h", true), "");
  EXPECT_NE(faultOf("platform/A.cpp", "platform/../platform/Files.h", true), "");
  EXPECT_NE(faultOf("intake/A.cpp", "sqlite3.h", false), "");
  EXPECT_NE(faultOf("platform/A.cpp", "vips/vips.h", false), "");
  EXPECT_NE(faultOf("media/worker/A.h", "vips/vips.h", false), "");
  EXPECT_EQ(faultOf("media/worker/A.cpp", "vips/vips.h", false), "");
  EXPECT_NE(faultOf("media/A.cpp", "vips/vips.h", false), "");
  EXPECT_NE(faultOf("intake/A.cpp", "media/worker/RawFile.h", true), "");
  EXPECT_EQ(faultOf("intake/A.cpp", "analysis/CaptureDate.h", true), "");
}

}  // namespace
}  // namespace vaultmere
