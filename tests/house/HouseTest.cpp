// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "tests/house/HouseRules.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

TEST(House, KeepsItsRules) {
  const HouseReport report = checkHouse(VAULTMERE_SOURCE_DIR);
  EXPECT_GT(report.files, 100U);
  for (const std::string& broken : report.broken) {
    ADD_FAILURE() << broken;
  }
}

const std::string kFirst = "// SPDX-License-Identifier: GPL-3.0-or-later\n";
const std::string kHead = kFirst + "#pragma once\n";

/// A small house in order, to which each case adds one file.
class HouseRules : public testing::Test {
 protected:
  HouseRules() {
    for (const char* header :
         {"platform/Files.h", "catalog/Photo.h", "analysis/PixelStats.h", "intake/Archiver.h",
          "core/SettingsStore.h", "core/SpaceGate.h", "core/AppModel.h", "tests/support/Paint.h",
          "tests/intake/Archive.h"}) {
      write(header, kHead);
    }
  }

  void write(const std::string& file, const std::string& text) const {
    fs::create_directories((folder_ / file).parent_path());
    writeText(folder_ / file, text);
  }

  /// What the house says about one more file.
  [[nodiscard]] std::vector<std::string> with(const std::string& file,
                                              const std::string& text) const {
    write(file, text);
    auto broken = checkHouse(folder_.path()).broken;
    fs::remove(folder_ / file);
    return broken;
  }

 private:
  TemporaryFolder folder_;
};

TEST_F(HouseRules, LetEachDirectoryLookDownOnly) {
  struct {
    const char* file;
    const char* header;
    bool isAllowed;
  } const cases[] = {
      {"platform/A.cpp", "platform/Files.h", true},
      {"platform/A.cpp", "catalog/Photo.h", false},
      {"catalog/A.cpp", "platform/Files.h", true},
      {"catalog/A.h", "analysis/PixelStats.h", false},
      {"analysis/A.cpp", "catalog/Photo.h", true},
      {"analysis/A.cpp", "intake/Archiver.h", false},
      {"intake/A.h", "analysis/PixelStats.h", true},
      {"intake/A.cpp", "core/SettingsStore.h", false},
      {"core/SpaceGate.cpp", "core/SettingsStore.h", true},
      {"core/DestinationMonitor.h", "platform/Files.h", true},
      {"core/DestinationMonitor.h", "catalog/Photo.h", false},
      {"core/SettingsStore.cpp", "core/AppModel.h", false},
      {"core/A.cpp", "core/SpaceGate.h", true},
      {"core/A.cpp", "intake/Archiver.h", true},
      {"app/main.cpp", "core/AppModel.h", true},
      {"core/A.cpp", "tests/support/Paint.h", false},
      {"tests/support/A.cpp", "catalog/Photo.h", false},
      {"tests/core/ATest.cpp", "tests/intake/Archive.h", true},
      {"demo/A.cpp", "tests/support/Paint.h", true},
  };
  for (const auto& c : cases) {
    const auto broken =
        with(c.file, kFirst + (std::string(c.file).ends_with(".h") ? "#pragma once\n" : "\n") +
                         "\n" + "#include \"" + c.header + "\"\n");
    ASSERT_EQ(broken.size(), c.isAllowed ? 0U : 1U) << c.file << " " << c.header;
    if (!c.isAllowed) {
      EXPECT_TRUE(broken[0].starts_with(std::string(c.file) + ":4: ")) << broken[0];
      EXPECT_NE(broken[0].find(c.header), std::string::npos) << broken[0];
    }
  }
}

TEST_F(HouseRules, KeepLibrariesWhereTheyBelong) {
  struct {
    const char* file;
    const char* include;
    const char* complaint;  ///< empty: allowed
  } const cases[] = {
      {"catalog/A.cpp", "<SQLiteCpp/SQLiteCpp.h>", ""},
      {"catalog/A.h", "<sqlite3.h>", "SQLite belongs into .cpp files"},
      {"intake/A.cpp", "<sqlite3.h>", "SQLite has no business here"},
      {"intake/A.cpp", "\"sqlite3.h\"", "SQLite has no business here"},
      {"platform/A.cpp", "<vips/vips.h>", ""},
      {"platform/A.h", "<vips/vips.h>", "libvips belongs into .cpp files"},
      {"analysis/A.cpp", "<vips/vips.h>", "libvips has no business here"},
      {"analysis/A.cpp", "<libraw/libraw.h>", "LibRaw has no business here"},
      {"analysis/A.cpp", "<exiv2/exiv2.hpp>", "Exiv2 has no business here"},
      {"analysis/A.cpp", "<libavformat/avformat.h>", "FFmpeg has no business here"},
      {"analysis/A.cpp", "<libswscale/swscale.h>", "FFmpeg has no business here"},
      {"core/SpaceGate.cpp", "<libmount/libmount.h>", "libmount has no business here"},
      {"core/A.cpp", "<systemd/sd-bus.h>", "systemd has no business here"},
      {"core/A.cpp", "<asio/io_context.hpp>", "Asio has no business here"},
      {"platform/A.cpp", "<asio.hpp>", ""},
      {"core/A.cpp", "<sys/socket.h>", "the socket interface has no business here"},
      {"core/A.cpp", "<netinet/in.h>", "the socket interface has no business here"},
      {"platform/A.cpp", "<arpa/inet.h>", ""},
      {"app/A.cpp", "<QApplication>", ""},
      {"core/A.cpp", "<QString>", "Qt has no business here"},
      {"core/A.cpp", "<QtCore/qstring.h>", "Qt has no business here"},
      {"core/A.h", "<fmt/format.h>", "fmt belongs into .cpp files"},
      {"core/A.h", "<sigc++/signal.h>", ""},
      {"platform/A.h", "<nlohmann/json.hpp>", ""},
      {"platform/A.h", "<sys/types.h>", ""},
      {"core/A.cpp", "<gtest/gtest.h>", "GoogleTest has no business here"},
      {"core/A.cpp", "<boost/asio.hpp>", "nobody has said where <boost/asio.hpp> may be used"},
      {"tests/catalog/ATest.cpp", "<SQLiteCpp/SQLiteCpp.h>", ""},
      {"tests/intake/ATest.cpp", "<sqlite3.h>", "SQLite has no business here"},
      {"tests/support/A.cpp", "<vips/vips.h>", ""},
      {"tests/support/A.h", "<vips/vips.h>", "libvips belongs into .cpp files"},
      {"demo/A.cpp", "<vips/vips.h>", "libvips has no business here"},
      {"bench/A.h", "<SQLiteCpp/SQLiteCpp.h>", ""},
  };
  for (const auto& c : cases) {
    const bool isHeader = std::string(c.file).ends_with(".h");
    const auto broken = with(
        c.file, kFirst + (isHeader ? "#pragma once\n" : "\n") + "#include " + c.include + "\n");
    std::vector<std::string> expected;
    if (*c.complaint != '\0') {
      expected.push_back(std::string(c.file) + ":3: " + c.complaint);
    }
    EXPECT_EQ(broken, expected) << c.file << " " << c.include;
  }
}

TEST_F(HouseRules, KnowHowAFileBeginsAndNamesAnother) {
  struct {
    const char* what;
    const char* file;
    std::string text;
    const char* place;  ///< where the fault lies; empty: there is none
  } const cases[] = {
      {"no licence", "platform/A.cpp", "#include <string>\nint a;\n", "platform/A.cpp:1: "},
      {"the licence too late", "platform/A.cpp", "\n" + kFirst, "platform/A.cpp:1: "},
      {"a broken licence", "intake/CMakeLists.txt", "#SPDX-License-Identifier: MIT\n\n",
       "intake/CMakeLists.txt:1: "},
      {"no licence in a script", "scripts/a.sh", "#!/bin/sh\nls\n", "scripts/a.sh:2: "},
      {"a script", "scripts/a.sh", "#!/bin/sh\n# SPDX-License-Identifier: GPL-3.0-or-later\nls\n",
       ""},
      {"no pragma", "platform/A.h", kFirst + "\nint a();\n", "platform/A.h:2: "},
      {"a guard", "platform/A.h", kFirst + "#ifndef A_H\n#define A_H\n#endif\n",
       "platform/A.h:2: "},
      {"an empty file", "platform/A.cpp", "", "platform/A.cpp:0: "},
      {"a header cut short", "platform/A.h", kFirst, "platform/A.h:1: "},
      {"a bare name", "platform/A.cpp", kFirst + "#include \"Files.h\"\n", "platform/A.cpp:2: "},
      {"a way round", "platform/A.cpp", kFirst + "#include \"platform/../intake/Archiver.h\"\n",
       "platform/A.cpp:2: "},
      {"in angles", "catalog/A.cpp", kFirst + "#include <platform/Files.h>\n", "catalog/A.cpp:2: "},
      {"a missing header", "catalog/A.cpp", kFirst + "#include \"platform/Gone.h\"\n",
       "catalog/A.cpp:2: "},
      {"odd blanks", "platform/A.cpp", kFirst + "  #  include\"catalog/Photo.h\" // why\n",
       "platform/A.cpp:2: "},
      {"an unknown directory", "attic/A.cpp", kFirst + "\n", "attic/A.cpp:1: "},
      {"a hidden folder", ".cache/A.cpp", "int a;\n", ""},
      {"a comment", "platform/A.cpp", kFirst + "// #include \"catalog/Photo.h\"\n", ""},
  };
  for (const auto& c : cases) {
    const auto broken = with(c.file, c.text);
    const std::string place = c.place;
    ASSERT_EQ(broken.size(), place.empty() ? 0U : 1U) << c.what;
    EXPECT_TRUE(place.empty() || broken[0].starts_with(place)) << c.what << " " << broken[0];
  }
  write("out/CMakeCache.txt", "");
  EXPECT_EQ(with("out/generated/A.cpp", "int a;\n").size(), 0U) << "a build folder";
}

}  // namespace
}  // namespace vaultmere
