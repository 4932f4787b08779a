// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/house/HouseRules.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <optional>
#include <set>
#include <string_view>

namespace vaultmere {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string, std::less<>>;

// MARK: The rules

/// A part of the house, and the parts besides itself that it may include.
struct Room {
  std::string_view name;
  Names mayInclude;
};

/// `core` is two rooms: "settings" lies below the subsystems that read it.
const std::array kRooms{
    Room{"platform", {}},
    Room{"catalog", {"platform"}},
    Room{"analysis", {"platform", "catalog"}},
    Room{"intake", {"platform", "catalog", "analysis"}},
    Room{"settings", {"platform"}},
    Room{"gallery", {"platform", "catalog", "analysis"}},
    Room{"core", {"platform", "catalog", "analysis", "intake", "settings", "gallery"}},
    Room{"app", {"platform", "catalog", "analysis", "intake", "settings", "gallery", "core"}},
    Room{"tools", {"platform", "catalog", "analysis", "gallery"}},
    Room{"tests/support", {"platform"}},
    Room{"demo", {"platform", "tests/support"}},
    Room{"fuzz", {"platform", "gallery"}},
    Room{"bench",
         {"platform", "catalog", "analysis", "intake", "settings", "gallery", "core",
          "tests/support"}},
    Room{"tests",
         {"platform", "catalog", "analysis", "intake", "settings", "gallery", "core",
          "tests/support"}},
};

constexpr std::array<std::string_view, 3> kSettingsFiles{"SettingsStore", "DestinationMonitor",
                                                         "SpaceGate"};

/// Headers that aren't ours, and the directories that may include them.
struct Library {
  std::string_view name;
  RE2 headers;        ///< the whole of their names
  Names directories;  ///< empty: all of them
  bool inHeaders = false;
};

const std::array kLibraries{
    Library{"sigc++", R"(sigc\+\+/.*)", {}, true},
    Library{"nlohmann JSON", R"(nlohmann/.*)", {}, true},
    Library{"fmt", R"(fmt/.*)", {}},
    Library{"RE2", R"(re2/.*)", {}},
    Library{"OpenSSL", R"(openssl/.*)", {}},
    Library{"date", R"(date/.*)", {}},
    Library{"utf8proc", R"(utf8proc\.h)", {}},
    Library{"zlib", R"(zlib\.h)", {}},
    Library{"SQLite", R"(SQLiteCpp/.*|sqlite3\.h)", {"catalog"}},
    Library{"libvips", R"(vips/.*)", {"platform"}},
    Library{"LibRaw", R"(libraw/.*)", {"platform"}},
    Library{"Exiv2", R"(exiv2/.*)", {"platform"}},
    Library{"FFmpeg", R"(lib(av|sw|postproc)\w*/.*)", {"platform"}},
    Library{"libmount", R"(libmount/.*)", {"platform"}},
    Library{"systemd", R"(systemd/.*)", {"platform"}},
    Library{"Asio", R"(asio(/.*|\.hpp))", {"platform", "gallery"}},
    Library{"the socket interface",
            R"(sys/(socket|un)\.h|(netinet|arpa|net)/.*|(netdb|ifaddrs)\.h)",
            {"platform", "gallery"}},
    Library{"Qt", R"(Q[A-Zt].*)", {"interface", "app"}, true},
    Library{"GoogleTest", R"((gtest|gmock)/.*)", {"tests"}, true},
    Library{"Google Benchmark", R"(benchmark/.*)", {"bench"}, true},
};

/// The C++ library's own headers have neither a dot nor a slash.
const RE2 kSystemHeaders(
    R"(\w+|(sys|linux)/.*|)"
    R"((dirent|fcntl|grp|poll|pthread|pwd|sched|signal|spawn|stdlib|termios|unistd)\.h)");

// MARK: What a path says

std::string_view topFolder(std::string_view path) {
  const auto slash = path.find('/');
  return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

/// The room of a file, by its path below the root.
std::string roomOf(const fs::path& path) {
  const std::string& text = path.native();
  if (text.starts_with("tests/support/")) {
    return "tests/support";
  }
  const std::string stem = path.stem().native();
  if (text.starts_with("core/") &&
      std::find(kSettingsFiles.begin(), kSettingsFiles.end(), stem) != kSettingsFiles.end()) {
    return "settings";
  }
  return std::string(topFolder(text));
}

const Room* findRoom(std::string_view name) {
  const auto found = std::find_if(kRooms.begin(), kRooms.end(),
                                  [&](const Room& room) { return room.name == name; });
  return found == kRooms.end() ? nullptr : &*found;
}

bool isHeader(const fs::path& path) { return path.extension() == ".h"; }

bool isCpp(const fs::path& path) { return isHeader(path) || path.extension() == ".cpp"; }

bool isScript(const fs::path& path) {
  return path.filename() == "CMakeLists.txt" || path.filename() == "Makefile" ||
         path.extension() == ".cmake" || path.extension() == ".sh";
}

// MARK: What an include says

struct Include {
  std::string name;
  bool isQuoted = false;
};

std::optional<Include> includeIn(std::string_view line) {
  static const RE2 form(R"(\s*#\s*include\s*([<"])([^>"]*)[>"].*)");
  std::string mark;
  Include include;
  if (!RE2::FullMatch(re2::StringPiece(line.data(), line.size()), form, &mark, &include.name)) {
    return std::nullopt;
  }
  include.isQuoted = mark == "\"";
  return include;
}

/// A test may use what the directory that it tests may, and a maker of media
/// what reads them.
bool mayUse(const fs::path& file, const Library& library) {
  const std::string& path = file.native();
  std::string_view directory = topFolder(path);
  if (library.directories.empty() || library.directories.contains(directory)) {
    return true;
  }
  if (directory != "tests") {
    return false;
  }
  directory = topFolder(std::string_view(path).substr(directory.size() + 1));
  return library.directories.contains(directory == "support" ? "platform" : directory);
}

// MARK: The checks

class Checker {
 public:
  explicit Checker(fs::path root) : root_(std::move(root)) {}

  void check(const fs::path& file) {
    ++report_.files;
    file_ = file;
    line_ = 0;
    std::ifstream in;
    in.exceptions(std::ios::badbit);
    in.open(root_ / file);
    if (!in) {
      throw std::ios_base::failure("can't be read: " + file.native());
    }
    if (isCpp(file) && findRoom(roomOf(file)) == nullptr) {
      complain(1, "its directory has no place in the house");
    }
    std::string line;
    while (std::getline(in, line)) {
      ++line_;
      checkBeginning(line);
      if (const auto include = isCpp(file) ? includeIn(line) : std::nullopt) {
        checkInclude(*include);
      }
    }
    if (line_ < 2) {
      complain(line_, "it has no content");
    }
  }

  HouseReport report() && { return std::move(report_); }

 private:
  void complain(int line, const std::string& what) {
    report_.broken.push_back(fmt::format("{}:{}: {}", file_.native(), line, what));
  }

  void checkBeginning(std::string_view line) {
    if (line_ == 1) {
      hasShebang_ = line.starts_with("#!");
    }
    if (line_ == (hasShebang_ ? 2 : 1)) {
      const std::string wanted =
          fmt::format("{} SPDX-License-Identifier: GPL-3.0-or-later", isCpp(file_) ? "//" : "#");
      if (line != wanted) {
        complain(line_, fmt::format("\"{}\" belongs here", wanted));
      }
    }
    if (line_ == 2 && isHeader(file_) && line != "#pragma once") {
      complain(line_, "\"#pragma once\" belongs here");
    }
  }

  void checkInclude(const Include& include) {
    const fs::path path = include.name;
    const bool isOurs =
        path.is_relative() && path == path.lexically_normal() && fs::is_regular_file(root_ / path);
    if (isOurs && include.isQuoted) {
      return checkOurs(include.name);
    }
    for (const Library& library : kLibraries) {
      if (RE2::FullMatch(include.name, library.headers)) {
        return checkLibrary(library);
      }
    }
    if (include.isQuoted || isOurs) {
      complain(line_, fmt::format("\"{}\": our headers stand in quotes, with their path from the "
                                  "root, and exist",
                                  include.name));
    } else if (!RE2::FullMatch(include.name, kSystemHeaders)) {
      complain(line_, fmt::format("nobody has said where <{}> may be used", include.name));
    }
  }

  void checkOurs(const std::string& header) {
    const std::string from = roomOf(file_);
    const std::string to = roomOf(header);
    const Room* room = findRoom(from);
    if (room != nullptr && from != to && !room->mayInclude.contains(to)) {
      complain(line_, fmt::format("{} may not include {} (\"{}\")", from, to, header));
    }
  }

  void checkLibrary(const Library& library) {
    if (roomOf(file_) == "bench") {
      return;  // it measures against the bare libraries
    }
    if (!mayUse(file_, library)) {
      complain(line_, fmt::format("{} has no business here", library.name));
    } else if (isHeader(file_) && !library.inHeaders && roomOf(file_) != "tests") {
      // A fixture in a header is as good as in a test.
      complain(line_, fmt::format("{} belongs into .cpp files", library.name));
    }
  }

  const fs::path root_;
  HouseReport report_;
  fs::path file_;
  int line_ = 0;
  bool hasShebang_ = false;
};

bool isPassedOver(const fs::directory_entry& folder) {
  return folder.path().filename().native().starts_with('.') ||
         fs::exists(folder.path() / "CMakeCache.txt");
}

}  // namespace

HouseReport checkHouse(const fs::path& root) {
  std::vector<fs::path> files;
  for (auto entry = fs::recursive_directory_iterator(root);
       entry != fs::recursive_directory_iterator(); ++entry) {
    if (entry->is_directory() && isPassedOver(*entry)) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file() && (isCpp(entry->path()) || isScript(entry->path()))) {
      files.push_back(entry->path().lexically_relative(root));
    }
  }
  std::sort(files.begin(), files.end());
  Checker checker(root);
  for (const fs::path& file : files) {
    checker.check(file);
  }
  return std::move(checker).report();
}

}  // namespace vaultmere
