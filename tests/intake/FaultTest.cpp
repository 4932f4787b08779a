// SPDX-License-Identifier: GPL-3.0-or-later
// What becomes of the user's files when any step of the pipeline fails.
#include "tests/intake/CrashScenario.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

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

// The whole program, which only ever copies, is killed in a test of its own.
TEST(KilledMove, HealsAtTheNextRun) {
  const LogCapture quiet;
  killAtEveryStep([](Archive& archive) {
    (void)archive.ingestor().ingestFolder(archive.sources(), true);
    EXPECT_TRUE(filesBelow(archive.sources()).empty());
  });
}

}  // namespace
}  // namespace vaultmere
