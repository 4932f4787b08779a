// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/SelfTest.h"
#include "tests/intake/Archive.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

TEST(SelfTest, RowsHaveAbsoluteNormalPathsHoweverTheArchiveIsGiven) {
  for (const char* given : {"archive", "archive/", "./archive/new/..", "data/../archive//."}) {
    SCOPED_TRACE(given);
    const LogCapture log;
    Archive archive;
    archive.source("a.jpg", "x");
    archive.open();
    const fs::path before = fs::current_path();
    fs::create_directories(archive.root() / "new");
    fs::current_path(archive.folder.path());
    SelfTest{archive.catalog, {archive.data()}, testMedia(), nullptr, {}}.run("sources", given);
    fs::current_path(before);
    EXPECT_TRUE(log.contains("SELFTEST_END count=1 redup=1/1"));
    const std::string path = archive.catalog->viewContext().perform([](Connection& connection) {
      auto found = connection.prepare("SELECT archivePath FROM Photo");
      return found.step() ? found.text(0) : std::string();
    });
    EXPECT_EQ(path, archive.root() / archive.rows().at(0));
  }
}

}  // namespace
}  // namespace vaultmere
