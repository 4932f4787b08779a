// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/wait.h>
#include <unistd.h>

#include "care/Heal.h"
#include "tests/care/ScrubFixture.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {
namespace {

/// A Live Photo both of whose files are damaged and marked.
struct DamagedArchive : ScrubbedArchive {
  DamagedArchive() {
    freeze("a.heic", "still", "moves");
    overwriteBytes(still, 0, "X");
    overwriteBytes(motion, 0, "Y");
    EXPECT_EQ(scrub().otherBytes, 2);
    EXPECT_EQ(marked().size(), 1U);
  }

  /// Drops the originals again; gives whether that succeeded.
  bool drop(bool moves) {
    return ingestor()
               .process({sources() / "a.heic", sources() / "a.mov", false, {}}, moves)
               .outcome == IngestOutcome::duplicate;
  }
  void putCopiesIntoTrash() const {
    writeText(root() / "trash" / (id + ".heic"), "still");
    writeText(root() / "trash" / (id + ".mov"), "moves");
  }
  std::int64_t heal() {
    outcomes.clear();
    return Heal::run({.context = catalog->newBackgroundContext(),
                      .root = {root(), nullptr},
                      .now = [this] { return now; },
                      .stop = {},
                      .outcome = [this](const HealOutcome& o) { outcomes.push_back(o); }});
  }

  /// The bytes below a folder of the archive, sorted; without temporary files.
  [[nodiscard]] Strings bytesBelow(const char* folderName) const {
    Strings bytes;
    for (const std::string& file : filesBelow(root() / folderName)) {
      if (!fs::path(file).filename().native().starts_with('.')) {
        bytes.push_back(slurp(root() / folderName / file));
      }
    }
    std::sort(bytes.begin(), bytes.end());
    return bytes;
  }
  void expectHealed() {
    EXPECT_EQ(bytesBelow("2020"), (Strings{"moves", "still"}));
    EXPECT_EQ(bytesBelow("trash/damaged"), (Strings{"Xtill", "Yoves"}));
    EXPECT_TRUE(marked().empty());
    EXPECT_EQ(scrub().files, 2);
  }
  /// Of each file, the bad bytes are somewhere, and the right ones are.
  void expectNothingLost(bool sourcesMayGo) const {
    Strings bytes = bytesBelow("");
    for (const char* bad : {"Xtill", "Yoves"}) {
      EXPECT_EQ(std::count(bytes.begin(), bytes.end(), bad), 1) << bad;
    }
    for (const auto& [name, right] : {std::pair("a.heic", "still"), {"a.mov", "moves"}}) {
      const bool isArchived = std::count(bytes.begin(), bytes.end(), right) > 0;
      EXPECT_TRUE(isArchived || fs::exists(sources() / name)) << name;
      EXPECT_TRUE(sourcesMayGo || fs::exists(sources() / name)) << name;
    }
  }

  const std::string id = hashOf("still");
  const fs::path still = fileOf(id, ".heic");
  const fs::path motion = fileOf(id, ".mov");
  std::vector<HealOutcome> outcomes;
};

struct Way {
  const char* name;
  bool (*run)(DamagedArchive&);
  bool sourcesMayGo;
};
constexpr Way kWays[] = {
    {"copy", [](DamagedArchive& archive) { return archive.drop(false); }, false},
    {"move", [](DamagedArchive& archive) { return archive.drop(true); }, true},
    {"trash",
     [](DamagedArchive& archive) {
       archive.putCopiesIntoTrash();
       return archive.heal() == 2;
     },
     false},
};

TEST(Heal, ReplacesMarkedFilesByTheirOriginals) {
  for (const Way& way : kWays) {
    SCOPED_TRACE(way.name);
    DamagedArchive archive;
    EXPECT_TRUE(way.run(archive));
    archive.expectHealed();
    EXPECT_NE(fs::exists(archive.sources() / "a.heic"), way.sourcesMayGo);
  }
}

TEST(Heal, FlushesTheBadFilesPlaceBeforeTheRename) {
  DamagedArchive archive;
  archive.execute("UPDATE Verification SET motionMark = NULL");
  archive.putCopiesIntoTrash();
  const StepRecorder recorder;
  EXPECT_EQ(archive.heal(), 1);
  Strings steps;
  for (const std::string& step : recorder.steps()) {
    if (step.starts_with("rename") || step.starts_with("fsync") || step.starts_with("commit")) {
      steps.push_back(step.substr(0, step.find_first_of(".0123456789")));
    }
  }
  // The rename within one folder isn't one of a name that is replaced.
  EXPECT_EQ(steps, (Strings{"fsync ", "fsync ", "rename ", "fsyncdir damaged", "fsyncdir trash",
                            "fsyncdir archive", "fsyncdir ", "rename ", "fsyncdir ", "fsyncdir ",
                            "fsyncdir archive", "commit ", "committed "}));
}

TEST(Heal, LeavesWhatIsNotMarkedOrHasNoSoundCopy) {
  const struct {
    const char* name;
    void (*arrange)(DamagedArchive&);
    std::int64_t healed;
    Strings remains;  ///< in the archive, apart from the trash
    std::size_t marks;
  } rows[] = {
      {"no copy", [](DamagedArchive&) {}, 0, {"Xtill", "Yoves"}, 1},
      {"a bad copy",
       [](DamagedArchive& archive) {
         writeText(archive.root() / "trash" / (archive.id + ".heic"), "worse");
       },
       0,
       {"Xtill", "Yoves"},
       1},
      {"not marked",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         archive.execute("DELETE FROM Verification");
       },
       0,
       {"Xtill", "Yoves"},
       0},
      {"repaired meanwhile",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         writeText(archive.still, "still");
       },
       2,
       {"moves", "still"},
       0},
      {"gone meanwhile",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         fs::remove(archive.still);
       },
       2,
       {"moves", "still"},
       0},
      {"a folder meanwhile",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         fs::remove(archive.still);
         fs::create_directory(archive.still);
       },
       1,
       {"moves"},
       1},
      {"a target outside the archive",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         archive.execute("UPDATE Photo SET targetPath = '../a.heic'");
       },
       0,
       {"Xtill", "Yoves"},
       1},
      {"the trash is a link",
       [](DamagedArchive& archive) {
         archive.putCopiesIntoTrash();
         fs::rename(archive.root() / "trash", archive.folder / "elsewhere");
         fs::create_symlink(archive.folder / "elsewhere", archive.root() / "trash");
       },
       0,
       {"Xtill", "Yoves"},
       1},
      {"a trashed file, from its target",
       [](DamagedArchive& archive) {
         writeText(archive.root() / "trash" / (archive.id + ".heic"), "Xtill");
         writeText(archive.still, "still");
         archive.execute("UPDATE Photo SET trashedAt = 1");
         archive.execute("UPDATE Verification SET motionMark = NULL");
       },
       1,
       {"Yoves", "still"},
       0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    DamagedArchive archive;
    row.arrange(archive);
    EXPECT_EQ(archive.heal(), row.healed);
    EXPECT_EQ(archive.bytesBelow("2020"), row.remains);
    EXPECT_EQ(archive.marked().size(), row.marks);
    for (const HealOutcome& outcome : archive.outcomes) {
      EXPECT_NE(outcome.isHealed, outcome.reason.has_value());
    }
  }
}

TEST(Heal, ADroppedFileOfOtherBytesHealsNothing) {
  DamagedArchive archive;
  archive.source("a.mov", "MOVES");
  EXPECT_TRUE(archive.drop(false));
  EXPECT_EQ(archive.bytesBelow("trash/damaged"), Strings{"Xtill"});
  ASSERT_EQ(archive.marked().size(), 1U);
  EXPECT_TRUE(archive.marked()[0].motionMark);
}

TEST(Heal, EachStepMayFail) {
  for (const Way& way : kWays) {
    for (const int code : {ENOSPC, EIO}) {
      bool wasHit = true;
      for (std::size_t number = 1; wasHit && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE(way.name + std::to_string(number));
        DamagedArchive archive;
        {
          const auto plan = FaultPlan::failing(number, code);
          try {
            (void)way.run(archive);
          } catch (const std::exception&) {
            // The catalog's errors go to the caller.
          }
          wasHit = plan.wasHit();
        }
        archive.expectNothingLost(way.sourcesMayGo);
        (void)way.run(archive);
        archive.expectHealed();
      }
    }
  }
}

TEST(KilledHeal, IsEndedByTheNextRun) {
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled && !testing::Test::HasFailure(); ++number) {
    SCOPED_TRACE(number);
    DamagedArchive archive;
    archive.putCopiesIntoTrash();
    archive.catalog.reset();
    archive.pool.join();  // a fork takes along only this thread
    const pid_t child = ::fork();
    if (child == 0) {
      const auto plan = FaultPlan::killing(number);
      archive.open();
      (void)archive.heal();
      ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    wasKilled = WIFSIGNALED(status);
    archive.expectNothingLost(false);
    archive.open();
    (void)archive.heal();
    archive.expectHealed();
  }
}

}  // namespace
}  // namespace vaultmere
