// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/BeneathRoot.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

/// The errno of opening, 0 when it works.
int codeOf(const fs::path& root, const fs::path& relative) {
  try {
    (void)openBeneath(root, relative);
    return 0;
  } catch (const FileError& error) {
    return error.code();
  }
}

TEST(BeneathRoot, OpensRegularFilesAndFollowsNoLink) {
  const TemporaryFolder folder;
  const fs::path root = folder / "real";
  writeText(root / "2021/2021-03/a.jpg", "inside");
  writeText(folder / "secret", "outside");
  fs::create_directory_symlink("real", folder / "root link");
  fs::create_directory_symlink("2021", root / "year link");
  fs::create_symlink("../secret", root / "out");
  fs::create_symlink("a.jpg", root / "2021/2021-03/in");
  ASSERT_EQ(::mkfifo((root / "pipe").c_str(), 0600), 0);
  const struct {
    const char* relative;
    int code;
  } rows[] = {
      {"2021/2021-03/a.jpg", 0},
      {"2021//2021-03/./a.jpg", 0},
      {"2021/2021-03/in", ELOOP},
      {"out", ELOOP},
      {"year link/2021-03/a.jpg", ELOOP},
      {"../secret", EINVAL},
      {"2021/../2021/2021-03/a.jpg", EINVAL},
      {"/etc/passwd", EINVAL},
      {"", EINVAL},
      {"2021", EISDIR},
      {"2021/gone", ENOENT},
      {"2021/2021-03/a.jpg/below", ENOTDIR},
      {"2021/2021-03/a.jpg/", ENOTDIR},
      {"pipe", EINVAL},
  };
  for (const auto& row : rows) {
    for (const int missing : {0, ENOSYS, EPERM}) {
      const auto plan = FaultPlan::failing("openat2", 1, missing);
      EXPECT_EQ(codeOf(folder / "root link", row.relative), row.code)
          << row.relative << " without openat2: " << missing;
    }
  }
}

}  // namespace
}  // namespace vaultmere
