// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/CountText.h"
#include "tests/app/Program.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

class CareControllerTest : public Program {
 protected:
  CareController& care() { return model_->care(); }
  void freeze(int photos) {
    for (int i = 0; i < photos; ++i) {
      archive_.source(std::to_string(i) + ".jpg", std::to_string(i));
    }
    model_->importDropped({archive_.sources()});
    settle();
  }
  void restart() {
    model_->shutDown();
    settle();
    model_.reset();
    archive_.catalog.reset();
    start();
  }
  const LogCapture log_;
};

TEST_F(CareControllerTest, RefusesWithoutADestination) {
  start();
  for (const auto operation :
       {&CareController::backUp, &CareController::stageRestore, &CareController::rebuild}) {
    (care().*operation)();
    EXPECT_EQ(care().backupMessage(), "Set an archive destination first.");
  }
  care().checkIntegrity();
  EXPECT_FALSE(care().isChecking());
}

TEST_F(CareControllerTest, BacksUpAndRestoresAtTheNextStart) {
  startWithDestination();
  freeze(3);
  EXPECT_FALSE(care().backupInfo());
  care().stageRestore();
  settle();
  EXPECT_EQ(care().backupMessage(), "Restore failed: No catalog backup found on the archive.");
  care().backUp();
  EXPECT_TRUE(care().backupBusy());
  EXPECT_EQ(care().backupMessage(), "Backing up…");
  settle();
  EXPECT_FALSE(care().backupBusy());
  EXPECT_EQ(care().backupMessage(), "Backed up 3 photos to the archive.");
  ASSERT_TRUE(care().backupInfo());
  EXPECT_EQ(care().backupInfo()->photoCount, 3);

  fs::rename(archive_.root() / "2020", archive_.folder / "2020");
  care().stageRestore();
  settle();
  EXPECT_EQ(care().restorePending(), care().backupInfo());
  model_->catalog()->viewContext().perform(
      [](Connection& store) { store.execute("DELETE FROM Photo"); });
  restart();
  EXPECT_EQ(model_->archive().count, 3);
  EXPECT_FALSE(care().restorePending());
  EXPECT_TRUE(care().backupInfo());
  model_->settings().setDestinationRoot(archive_.sources());
  settle();
  EXPECT_FALSE(care().backupInfo());
  writeText(archive_.sources() / ".vaultmere", "in the way");
  care().backUp();
  settle();
  EXPECT_TRUE(care().backupMessage().starts_with("Backup failed: ")) << care().backupMessage();
}

TEST_F(CareControllerTest, RebuildsAndShowsWhatHasComeIn) {
  startWithDestination();
  freeze(7);
  model_->catalog()->viewContext().perform(
      [](Connection& store) { store.execute("DELETE FROM Photo"); });
  writeText(archive_.root() / archive_.files().front(), "damaged");
  care().rebuild();
  care().rebuild();
  EXPECT_TRUE(care().isRebuilding());
  settle();
  EXPECT_FALSE(care().isRebuilding());
  EXPECT_EQ(care().rebuildProcessed(), 7U);
  EXPECT_EQ(care().rebuildTotal(), 7U);
  EXPECT_EQ(care().backupMessage(), "Rebuilt 6 photos from the archive (1 couldn't be read).");
  EXPECT_EQ(model_->archive().count, 6);
  EXPECT_EQ(model_->browser()->items().size(), 6U);
  care().rebuild();
  settle();
  EXPECT_EQ(care().backupMessage(), "Rebuilt 0 photos from the archive (1 couldn't be read).");
}

TEST_F(CareControllerTest, ChecksTheArchiveThatIsThere) {
  startWithDestination();
  freeze(2);
  writeText(archive_.root() / "orphan.jpg", "");
  care().checkIntegrity();
  EXPECT_TRUE(care().isChecking());
  settle();
  EXPECT_FALSE(care().isChecking());
  ASSERT_TRUE(care().integrity());
  EXPECT_EQ(care().integrity()->dbEntries, 2);
  EXPECT_EQ(care().checkProgress().files, 3);
  EXPECT_EQ(care().integrity()->orphans.size(), 1U);
  fs::rename(archive_.root(), archive_.folder / "unplugged");
  care().checkIntegrity();
  settle();
  EXPECT_FALSE(care().integrity()) << "its drive has gone";
}

}  // namespace
}  // namespace vaultmere
