// SPDX-License-Identifier: GPL-3.0-or-later
// What becomes of the user's files when any step on their road goes wrong.
#include <sys/wait.h>
#include <unistd.h>

#include <map>

#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

/// A Live Photo, an exact copy under another date, and a plain picture.
struct Sources {
  explicit Sources(const Archive& archive) {
    archive.source("live.heic", "the still");
    archive.source("live.mov", "the motion");
    archive.source("plain.jpg", "plain");
    archive.source("sub/same.jpg", "plain", "2021-05-06");
  }

  /// Each source's bytes stand at their place in the archive, once for each
  /// date, with one row for each content, and nothing else is there.
  static void expectArchived(Archive& archive) {
    const std::string still = "2020/2020-02/" + Archive::hashOf("the still");
    const std::string plain = Archive::hashOf("plain") + ".jpg";
    std::map<std::string, std::string> expected{{still + ".heic", "the still"},
                                                {still + ".mov", "the motion"},
                                                {"2020/2020-02/" + plain, "plain"},
                                                {"2021/2021-05/" + plain, "plain"}};
    Strings names;
    for (const std::string& file : archive.files()) {
      if (fs::path(file).filename().string().starts_with('.')) {
        continue;  // a killed copy's temporary file
      }
      names.push_back(file);
      EXPECT_EQ(slurp(archive.root() / file), expected[file]) << file;
    }
    EXPECT_EQ(names.size(), 4U) << testing::PrintToString(names);
    EXPECT_EQ(archive.rows().size(), 2U);
  }

  /// No source is gone whose bytes and row aren't there.
  static void expectNothingLost(Archive& archive) {
    const Strings rows = archive.rows();
    const auto isSafe = [&](const std::string& bytes, const std::string& hashed) {
      const std::string id = Archive::hashOf(hashed);
      bool isThere = false;
      for (const std::string& file : archive.files()) {
        isThere = isThere || (fs::path(file).stem() == id && slurp(archive.root() / file) == bytes);
      }
      const bool hasRow = std::any_of(rows.begin(), rows.end(), [&](const std::string& row) {
        return row.find(id) != std::string::npos;
      });
      return isThere && hasRow;
    };
    const auto check = [&](const char* name, const char* bytes, const char* hashed) {
      EXPECT_TRUE(fs::exists(archive.sources() / name) || isSafe(bytes, hashed)) << name;
    };
    check("live.heic", "the still", "the still");
    check("live.mov", "the motion", "the still");
    check("plain.jpg", "plain", "plain");
    check("sub/same.jpg", "plain", "plain");
  }
};

class EveryStep : public testing::TestWithParam<bool> {
 protected:
  const bool moves_ = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Modes, EveryStep, testing::Values(false, true),
                         [](const auto& mode) { return mode.param ? "Move" : "Copy"; });

TEST_P(EveryStep, MayFail) {
  const LogCapture quiet;
  for (const int code : {ENOSPC, EIO}) {
    bool wasHit = true;
    for (std::size_t number = 1; wasHit; ++number) {
      SCOPED_TRACE(number);
      Archive archive;
      const Sources sources(archive);
      const Ingestor ingestor = archive.ingestor();
      {
        const auto plan = FaultPlan::failing(number, code);
        (void)ingestor.ingestFolder(archive.sources(), moves_);
        wasHit = plan.wasHit();
      }
      for (const std::string& file : archive.files()) {
        // One fault may hit the removal of a temporary file, never more.
        EXPECT_EQ(file.find(".tmp"), std::string::npos) << file;
      }
      Sources::expectNothingLost(archive);
      (void)ingestor.ingestFolder(archive.sources(), moves_);
      Sources::expectArchived(archive);
      EXPECT_EQ(filesBelow(archive.sources()).empty(), moves_);
      if (HasFailure()) {
        return;
      }
    }
  }
}

TEST_P(EveryStep, MayBeTheLastOne) {
  const LogCapture quiet;
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled; ++number) {
    SCOPED_TRACE(number);
    Archive archive;
    const Sources sources(archive);
    archive.open();
    archive.catalog.reset();
    const pid_t child = ::fork();
    if (child == 0) {
      const auto plan = FaultPlan::killing(number);
      (void)archive.ingestor().ingestFolder(archive.sources(), moves_);
      ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    wasKilled = WIFSIGNALED(status);
    Sources::expectNothingLost(archive);
    (void)archive.ingestor().ingestFolder(archive.sources(), moves_);
    Sources::expectArchived(archive);
    EXPECT_EQ(filesBelow(archive.sources()).empty(), moves_);
    if (HasFailure()) {
      return;
    }
  }
}

}  // namespace
}  // namespace vaultmere
