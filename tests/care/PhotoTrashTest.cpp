// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/care/CareArchive.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

const Strings kKnown{"still", "motion", "other motion", "keeper"};
const std::string kStill = "2020/2020-02/still.heic: still";
const std::string kMotion = "2020/2020-02/still.mov: motion";

std::string failureOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "none";
}

void expectFailure(const std::function<void()>& work, const std::string& part) {
  const std::string failure = failureOf(work);
  EXPECT_NE(failure.find(part), std::string::npos) << failure;
}

TEST(PhotoTrash, MovesBothFilesOfALivePhotoAndBack) {
  CareArchive archive;
  const std::string id = archive.addLive("still", "motion");
  const std::string hidden =
      archive.add("hidden", ".jpg", [&](Photo& photo) { photo.stackedUnder = id; });
  archive.execute("UPDATE Photo SET stackedUnder = 'x' WHERE id = '" + id + "'");
  EXPECT_EQ(archive.trash().trash(id), (Strings{id, hidden}));
  EXPECT_EQ(archive.tree({"still", "hidden"}),
            (Strings{"2020/2020-02/hidden.jpg: hidden", "trash/still.heic: still",
                     "trash/still.mov: motion"}));
  EXPECT_EQ(archive.row(id)->trashedAt, CareArchive::kNow);
  EXPECT_FALSE(archive.row(id)->stackedUnder);
  EXPECT_FALSE(archive.row(hidden)->stackedUnder) << "shown by itself";
  EXPECT_EQ(archive.trash().trash(id), Strings()) << "again: nothing to do";
  EXPECT_EQ(archive.trash().restore(id), Strings{id});
  EXPECT_EQ(archive.tree({"still", "hidden"}),
            (Strings{"2020/2020-02/hidden.jpg: hidden", kStill, kMotion}));
  EXPECT_FALSE(archive.isTrashed(id));
  EXPECT_EQ(archive.trash().trash("unknown"), Strings());
}

TEST(PhotoTrash, TakesAFileFromOutsideTheRootAndRestoresItBelow) {
  CareArchive archive;
  const fs::path elsewhere = archive.folder / "old archive" / "a.jpg";
  const std::string id =
      archive.add("still", ".jpg", [&](Photo& photo) { photo.archivePath = elsewhere.string(); });
  fs::create_directories(elsewhere.parent_path());
  fs::rename(archive.root() / (CareArchive::kMonth + id + ".jpg"), elsewhere);
  (void)archive.trash().trash(id);
  EXPECT_EQ(archive.tree(kKnown), Strings{"trash/still.jpg: still"});
  (void)archive.trash().restore(id);
  EXPECT_EQ(archive.tree(kKnown), Strings{"2020/2020-02/still.jpg: still"});
  EXPECT_FALSE(fs::exists(elsewhere));
}

TEST(PhotoTrash, SaysWhyItCannot) {
  const std::string notFound = "still.jpg: original not found — is the destination online?";
  const std::string gone = "still.jpg: no longer in the trash folder.";
  const std::string notTrashed = "none";  // the file is where it belongs
  const struct {
    const char* name;
    std::function<void(CareArchive&, const std::string& id)> before;
    std::string trash;
    std::string restore;
  } rows[] = {
      {"no file", [](auto& a, auto&) { fs::remove_all(a.root() / "2020"); }, notFound, gone},
      {"offline", [](auto& a, auto&) { fs::rename(a.root(), a.folder / "away"); }, notFound, gone},
      {"a file for a root",
       [](auto& a, auto&) {
         fs::remove_all(a.root());
         writeText(a.root(), "x");
       },
       notFound, gone},
      {"a folder of that name",
       [](auto& a, const auto& id) {
         fs::remove_all(a.root() / "2020");
         fs::create_directories(a.root() / (CareArchive::kMonth + id + ".jpg"));
       },
       notFound, gone},
      {"behind a link",
       [](auto& a, auto&) {
         fs::rename(a.root() / "2020", a.folder / "away");
         fs::create_directory_symlink(a.folder / "away", a.root() / "2020");
       },
       notFound, gone},
      {"a link",
       [](auto& a, const auto& id) {
         const fs::path file = a.root() / (CareArchive::kMonth + id + ".jpg");
         fs::rename(file, a.folder / "away");
         fs::create_symlink(a.folder / "away", file);
       },
       notFound, gone},
      {"climbing path",
       [](auto& a, const auto& id) {
         a.execute("UPDATE Photo SET targetPath = '2020/../2020/2020-02/" + id + ".jpg'");
       },
       notFound, gone},
      {"absolute path",
       [](auto& a, const auto& id) {
         a.execute("UPDATE Photo SET targetPath = '/2020/2020-02/" + id + ".jpg'");
       },
       notFound, gone},
      {"an extension that climbs",
       [](auto& a, auto&) { a.execute("UPDATE Photo SET ext = '/../../x'"); }, "Invalid argument",
       "Invalid argument"},
      {"a file for a trash", [](auto& a, auto&) { writeText(a.root() / "trash", "x"); },
       "Not a directory", notTrashed},
      {"a link for a trash",
       [](auto& a, auto&) { fs::create_directory_symlink(a.folder.path(), a.root() / "trash"); },
       "Too many levels", notTrashed},
      {"a folder in the way",
       [](auto& a, const auto& id) { fs::create_directories(a.root() / "trash" / (id + ".jpg")); },
       "Is a directory", notTrashed},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CareArchive archive;
    const std::string id = archive.add("still");
    row.before(archive, id);
    const Strings before = filesBelow(archive.folder.path());
    expectFailure([&] { (void)archive.trash().trash(id); }, row.trash);
    EXPECT_FALSE(archive.isTrashed(id));
    archive.execute("UPDATE Photo SET trashedAt = 1");
    expectFailure([&] { (void)archive.trash().restore(id); }, row.restore);
    EXPECT_EQ(filesBelow(archive.folder.path()), before);
  }
  CareArchive archive;
  const std::string id = archive.add("still");
  auto options = archive.trashOptions();
  options.root.reset();
  EXPECT_EQ(failureOf([&] { (void)PhotoTrash(options).trash(id); }), "No destination set.");
  EXPECT_EQ(failureOf([&] { (void)PhotoTrash(options).restore(id); }), "No destination set.");
  options.root = ArchiveRoot{archive.root(), [](dev_t) { return false; }};
  EXPECT_EQ(failureOf([&] { (void)PhotoTrash(options).trash(id); }), notFound);
}

TEST(PhotoTrash, NoBytesAreReplacedByOthers) {
  const struct {
    const char* name;
    const char* moved;
    const char* present;
    Strings after;
  } rows[] = {
      {"equal", "still", "still", {"X: still"}},
      {"the moved one is right", "still", "bad", {"X: still", "trash/damaged/: bad"}},
      {"the present one is right", "bad", "still", {"X: still", "trash/damaged/: bad"}},
      {"neither", "bad", "worse", {"X: bad", "trash/damaged/: worse"}},
  };
  const LogCapture quiet;
  for (const auto& row : rows) {
    for (const bool restores : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (restores ? ", restored" : ", trashed"));
      CareArchive archive;
      const std::string id = archive.add("still");
      const fs::path home = archive.root() / (CareArchive::kMonth + id + ".jpg");
      const fs::path trashed = archive.root() / "trash" / (id + ".jpg");
      writeText(restores ? trashed : home, row.moved);
      writeText(restores ? home : trashed, row.present);
      (void)(restores ? archive.trash().restore(id) : archive.trash().trash(id));
      Strings after = row.after;
      after[0].replace(0, 1, restores ? "2020/2020-02/still.jpg" : "trash/still.jpg");
      Strings found = archive.tree(kKnown);
      for (std::string& file : found) {
        if (const auto at = file.find("damaged/"); at != std::string::npos) {
          EXPECT_EQ(file.find("trash/damaged/still.20260509T061320Z.jpg: "), 0U) << file;
          file.replace(at + 8, file.find(':') - at - 8, "");
        }
      }
      std::sort(after.begin(), after.end());
      EXPECT_EQ(found, after);
      EXPECT_EQ(archive.isTrashed(id), !restores);
    }
  }
}

TEST(PhotoTrash, AMotionFileInTheWayBecomesAVideoOfItsOwn) {
  const LogCapture quiet;
  for (const bool restores : {false, true}) {
    CareArchive archive;
    const std::string id = archive.addLive("still", "motion");
    if (restores) {
      (void)archive.trash().trash(id);
    }
    const std::string from = restores ? "trash/" : CareArchive::kMonth;
    const std::string to = restores ? CareArchive::kMonth : "trash/";
    writeText(archive.root() / to / (id + ".mov"), "other motion");
    (void)(restores ? archive.trash().restore(id) : archive.trash().trash(id));
    EXPECT_EQ(archive.tree(kKnown), (Strings{to + "other motion.mov: other motion",
                                             to + "still.heic: still", to + "still.mov: motion"}));
    const auto video = archive.row(Archive::hashOf("other motion"));
    ASSERT_TRUE(video);
    EXPECT_EQ(video->mediaType, "video");
    EXPECT_EQ(video->trashedAt.has_value(), !restores);
    if (!restores) {
      (void)archive.trash().restore(video->id);
      EXPECT_TRUE(fs::exists(archive.root() / video->targetPath));
    }
  }
}

TEST(PhotoTrash, OnlyItsOwnMotionFileGoesAlong) {
  CareArchive archive;
  const std::string other = archive.add("motion", ".mov");
  const std::string id =
      archive.add("still", ".heic", [&](Photo& photo) { photo.liveMotionFile = other + ".mov"; });
  (void)archive.trash().trash(id);
  EXPECT_EQ(archive.tree(kKnown),
            (Strings{"2020/2020-02/motion.mov: motion", "trash/still.heic: still"}));
  CareArchive second;
  const std::string live = second.addLive("still", "motion");
  fs::remove(second.root() / (CareArchive::kMonth + live + ".mov"));
  EXPECT_EQ(second.trash().trash(live), Strings{live}) << "a motion file that is missing";
}

TEST(PhotoTrash, MergesOnlyInFavourOfASoundKeeper) {
  const struct {
    const char* name;
    std::function<void(CareArchive&, const fs::path& file)> before;
    bool isDamaged = false;
  } rows[] = {
      {"trashed",
       [](auto& a, auto&) { a.execute("UPDATE Photo SET trashedAt = 1 WHERE ext = '.png'"); }},
      {"gone", [](auto&, const auto& file) { fs::remove(file); }},
      {"another size", [](auto&, const auto& file) { writeText(file, "short"); }},
      {"a folder",
       [](auto&, const auto& file) {
         fs::remove(file);
         fs::create_directory(file);
       }},
      {"a row with an absurd size",
       [](auto& a, auto&) { a.execute("UPDATE Photo SET sizeBytes = -6"); }},
      {"marked", [](auto&, auto&) {}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CareArchive archive;
    const std::string keeper = archive.add("keeper", ".png");
    const std::string id = archive.add("still");
    row.before(archive, archive.root() / (CareArchive::kMonth + keeper + ".png"));
    auto options = archive.trashOptions();
    options.isDamaged = [&](const std::string&) { return row.isDamaged; };
    EXPECT_EQ(failureOf([&] { (void)PhotoTrash(options).mergeInto(keeper, id); }),
              "keeper.png: original not found — is the destination online?");
    EXPECT_TRUE(fs::exists(archive.root() / (CareArchive::kMonth + id + ".jpg")));
    EXPECT_FALSE(archive.isTrashed(id) && std::string(row.name) != "trashed");
  }
  CareArchive archive;
  const std::string keeper = archive.add("keeper", ".png");
  const std::string id = archive.addLive("still", "motion");
  {  // the keeper is trashed between the move and the row
    const auto trashes = FaultPlan::doing("rename", 2, [&] {
      archive.execute("UPDATE Photo SET trashedAt = 1 WHERE id = '" + keeper + "'");
    });
    EXPECT_EQ(failureOf([&] { (void)archive.trash().mergeInto(keeper, id); }),
              "keeper.png: original not found — is the destination online?");
  }
  EXPECT_EQ(archive.tree(kKnown), (Strings{"2020/2020-02/keeper.png: keeper", kStill, kMotion}));
  archive.execute("UPDATE Photo SET trashedAt = NULL");
  EXPECT_EQ(archive.trash().mergeInto(keeper, keeper), Strings());
  EXPECT_EQ(archive.trash().mergeInto(keeper, id), Strings{id});
}

TEST(PhotoTrash, MovesAcrossFileSystems) {
  withPrivateMounts([] {
    CareArchive archive;
    const std::string id = archive.addLive("still", "motion");
    fs::create_directory(archive.root() / "trash");
    plugIn(archive.root() / "trash", "trash");
    setModified(archive.root() / (CareArchive::kMonth + id + ".heic"), TimePoint());
    {
      const auto full = FaultPlan::failing("write", 1, ENOSPC);
      expectFailure([&] { (void)archive.trash().trash(id); }, "No space left");
    }
    EXPECT_EQ(archive.tree(kKnown), (Strings{kStill, kMotion}));
    (void)archive.trash().trash(id);
    EXPECT_EQ(archive.tree(kKnown),
              (Strings{"trash/still.heic: still", "trash/still.mov: motion"}));
    EXPECT_EQ(fileStatus(archive.root() / "trash" / (id + ".heic"))->stamp.modified(), TimePoint());
    (void)archive.trash().restore(id);
    EXPECT_EQ(archive.tree(kKnown), (Strings{kStill, kMotion}));
    // A file that is written to while it is copied stays.
    const LogCapture log;
    const auto writes = FaultPlan::doing("rename", 3, [&] {
      writeText(archive.root() / (CareArchive::kMonth + id + ".heic"), "new");
    });
    (void)archive.trash().trash(id);
    EXPECT_TRUE(writes.wasHit());
    EXPECT_EQ(archive.tree(kKnown),
              (Strings{"2020/2020-02/still.heic: new", "trash/still.heic: still",
                       "trash/still.mov: motion"}));
    EXPECT_TRUE(log.contains("since it is another file by now"));
  });
}

// MARK: Faults

struct Scenario {
  const char* name;
  std::function<void(CareArchive&)> before;
  std::function<void(CareArchive&, const std::string& id)> work;
  Strings after;
  bool isTrashed;
};

std::vector<Scenario> scenarios() {
  const auto trash = [](CareArchive& a, const std::string& id) { (void)a.trash().trash(id); };
  const auto restore = [](CareArchive& a, const std::string& id) { (void)a.trash().restore(id); };
  const auto inTrash = [](CareArchive& a, const char* name, const char* bytes) {
    writeText(a.root() / "trash" / (Archive::hashOf("still") + name), bytes);
  };
  return {
      {"trash", [](auto&) {}, trash, {"trash/still.heic: still", "trash/still.mov: motion"}, true},
      {"restore",
       [=](auto& a) { trash(a, Archive::hashOf("still")); },
       restore,
       {kStill, kMotion},
       false},
      {"merge",
       [](auto& a) { a.add("keeper", ".png"); },
       [](auto& a, const auto& id) { (void)a.trash().mergeInto(Archive::hashOf("keeper"), id); },
       {"2020/2020-02/keeper.png: keeper", "trash/still.heic: still", "trash/still.mov: motion"},
       true},
      {"trash over other bytes",
       [=](auto& a) {
         inTrash(a, ".heic", "bad");
         inTrash(a, ".mov", "other motion");
       },
       trash,
       {"trash/damaged/still.20260509T061320Z.heic: bad", "trash/other motion.mov: other motion",
        "trash/still.heic: still", "trash/still.mov: motion"},
       true},
      {"trash of other bytes",
       [=](auto& a) {
         inTrash(a, ".heic", "still");
         writeText(a.root() / (CareArchive::kMonth + Archive::hashOf("still") + ".heic"), "bad");
       },
       trash,
       {"trash/damaged/still.20260509T061320Z.heic: bad", "trash/still.heic: still",
        "trash/still.mov: motion"},
       true},
  };
}

/// All bytes are somewhere, once the temporary files are left out.
void expectNothingLost(const CareArchive& archive, const Scenario& scenario) {
  for (const std::string& line : scenario.after) {
    const std::string bytes = line.substr(line.find(": ") + 2);
    const Strings tree = archive.tree(kKnown);
    EXPECT_TRUE(std::any_of(tree.begin(), tree.end(),
                            [&](const std::string& file) {
                              return file.ends_with(": " + bytes) &&
                                     file.find("/.") == std::string::npos;
                            }))
        << bytes << testing::PrintToString(tree);
  }
}

void expectDone(CareArchive& archive, const Scenario& scenario, const std::string& id) {
  Strings tree = archive.tree(kKnown);
  // Temporary files, and the second copy of a damaged file across file systems.
  std::erase_if(tree, [](const auto& file) {
    return file.find("/.") != std::string::npos || file.find("Z-2.") != std::string::npos;
  });
  EXPECT_EQ(tree, scenario.after);
  EXPECT_EQ(archive.isTrashed(id), scenario.isTrashed);
  for (const std::string& line : scenario.after) {
    if (line.find("other motion.mov") != std::string::npos) {
      EXPECT_TRUE(archive.row(Archive::hashOf("other motion")));
    }
  }
}

void killAtEveryStep(const Scenario& scenario, const std::function<void(CareArchive&)>& prepare) {
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled && !testing::Test::HasFailure(); ++number) {
    SCOPED_TRACE(std::string(scenario.name) + " killed at " + std::to_string(number));
    CareArchive archive;
    prepare(archive);
    const std::string id = archive.addLive("still", "motion");
    scenario.before(archive);
    archive.catalog.reset();
    archive.pool.join();
    wasKilled = archive.isKilledAt(number, [&](auto& a) { scenario.work(a, id); });
    expectNothingLost(archive, scenario);
    EXPECT_FALSE(archive.isKilledAt(0, [&](auto& a) { scenario.work(a, id); }));
    expectDone(archive, scenario, id);
  }
}

TEST(PhotoTrash, GoesOnWhereAKilledOneStopped) {
  const LogCapture quiet;
  for (const Scenario& scenario : scenarios()) {
    killAtEveryStep(scenario, [](auto&) {});
  }
}

TEST(PhotoTrash, GoesOnAcrossFileSystemsToo) {
  withPrivateMounts([] {
    const LogCapture quiet;
    for (const Scenario& scenario : scenarios()) {
      killAtEveryStep(scenario, [](CareArchive& archive) {
        fs::create_directory(archive.root() / "trash");
        plugIn(archive.root() / "trash", "trash");
      });
    }
  });
}

TEST(PhotoTrash, AnyStepMayFail) {
  const LogCapture quiet;
  for (const Scenario& scenario : scenarios()) {
    bool wasHit = true;
    for (std::size_t number = 1; wasHit && !testing::Test::HasFailure(); ++number) {
      SCOPED_TRACE(std::string(scenario.name) + " fails at " + std::to_string(number));
      CareArchive archive;
      const std::string id = archive.addLive("still", "motion");
      scenario.before(archive);
      {
        const auto plan = FaultPlan::failing(number, EIO);
        (void)failureOf([&] { scenario.work(archive, id); });
        wasHit = plan.wasHit();
      }
      expectNothingLost(archive, scenario);
      (void)failureOf([&] { scenario.work(archive, id); });
      EXPECT_EQ(archive.isTrashed(id), scenario.isTrashed);
    }
  }
}

}  // namespace
}  // namespace vaultmere
