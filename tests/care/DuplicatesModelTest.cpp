// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/DuplicatesModel.h"
#include "tests/care/CareArchive.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualMainThread.h"

namespace vaultmere {
namespace {

class DuplicatesModelTest : public testing::Test {
 protected:
  /// A photo of an instant; its bytes are its name.
  std::string add(const std::string& name, double instant, const std::string& ext = ".jpg",
                  int width = 4) {
    return archive_.add(name, ext, [&](Photo& photo) {
      photo.captureDate = CatalogDate{instant};
      photo.width = width;
      photo.height = 3;
    });
  }

  DuplicatesModel& start() {
    archive_.open();
    model_ = std::make_unique<DuplicatesModel>(
        DuplicatesModel::Options{main_, archive_.pool, archive_.pool, archive_.catalog,
                                 [this] {
                                   return std::optional(ArchiveRoot{archive_.root(), nullptr});
                                 },
                                 nullptr});
    archive_.catalog->rowsChanged().connect(
        [this](const Strings& ids) { announced_.insert(ids.begin(), ids.end()); });
    rescan();
    return *model_;
  }
  void settle() { main_.settle(archive_.pool); }
  void rescan() {
    model_->rescan();
    settle();
  }

  /// "IMG.dng still.jpg*; …": the files of each group, in their order; those
  /// that are hidden have an asterisk.
  [[nodiscard]] std::string shown() const {
    std::string text;
    for (const DuplicateGroup* group : model_->visibleGroups()) {
      text += text.empty() ? "" : "; ";
      for (const DuplicateMember& member : group->members) {
        text += (&member == group->members.data() ? "" : " ") + member.filename +
                (member.stackedUnder ? "*" : "");
      }
    }
    return text;
  }
  [[nodiscard]] Strings trashed() const {
    Strings names;
    for (const DuplicateMember& member : model_->trashed()) {
      names.push_back(member.filename);
    }
    return names;
  }
  [[nodiscard]] std::string error() const { return model_->errorMessage().value_or("none"); }

  CareArchive archive_;
  ManualMainThread main_{TimePoint()};
  std::unique_ptr<DuplicatesModel> model_;
  std::set<std::string> announced_;
};

TEST_F(DuplicatesModelTest, ShowsWhatIsInScopeAndOfTheKind) {
  DuplicatesModel& model = start();
  EXPECT_TRUE(model.hasScanned());
  EXPECT_EQ(model.summaryLine(), "0 groups · 0 extra files · 0 MB");
  add("aaa", 100, ".dng", 8);
  add("bb", 100);
  add("c", 200);
  const std::string id = add("d", 200);
  archive_.execute("UPDATE Photo SET sizeBytes = 1500000, favorite = (id = '" + id + "')");
  model.rescan();
  EXPECT_TRUE(model.scanning());
  model.rescan();
  settle();
  EXPECT_EQ(shown(), "c.jpg d.jpg; aaa.dng bb.jpg");
  EXPECT_EQ(model.summaryLine(), "2 groups · 2 extra files · 3 MB");
  model.setKindFilter(DuplicateKind::rawPair);
  EXPECT_EQ(shown(), "aaa.dng bb.jpg");
  model.setKindFilter(std::nullopt);
  PhotoFilter favourites;
  favourites.favorite = true;
  PhotoFilter none;
  none.camera = "none";
  model.setScope(none);
  model.setScope(favourites);  // the answer for the first comes too late
  settle();
  EXPECT_EQ(shown(), "c.jpg d.jpg");
  PhotoFilter blank;
  blank.q = "  ";
  model.setScope(blank);
  EXPECT_EQ(shown(), "c.jpg d.jpg; aaa.dng bb.jpg");
}

TEST_F(DuplicatesModelTest, TrashesAndRestoresAMember) {
  add("a", 100);
  const std::string id = add("b", 100);
  add("c", 100);
  DuplicatesModel& model = start();
  const DuplicateGroup group = model.groups().front();
  model.trash(group.members[1], group.id);
  EXPECT_TRUE(model.busy());
  settle();
  EXPECT_FALSE(model.busy());
  EXPECT_EQ(shown(), "a.jpg c.jpg");
  EXPECT_EQ(trashed(), Strings{"b.jpg"});
  EXPECT_EQ(announced_, std::set<std::string>{id});
  model.restore(model.trashed().front());
  settle();
  EXPECT_EQ(trashed(), Strings());
  EXPECT_EQ(shown(), "a.jpg c.jpg") << "until the next search";
  rescan();
  EXPECT_EQ(shown(), "a.jpg b.jpg c.jpg");
  model.trash(group.members[0], group.id);
  model.trash(group.members[2], group.id);
  model.rescan();  // may see rows from before
  settle();
  EXPECT_EQ(shown(), "");
  fs::remove_all(archive_.root() / "trash");
  model.restore(model.trashed().front());
  settle();
  EXPECT_NE(error().find(": no longer in the trash folder."), std::string::npos);
  EXPECT_EQ(trashed().size(), 2U);
  model.clearError();
  EXPECT_EQ(error(), "none");
}

TEST_F(DuplicatesModelTest, MergesAndStopsAtTheFirstFailure) {
  for (const char* name : {"a", "b", "c", "d"}) {
    add(name, 100);
  }
  DuplicatesModel& model = start();
  const fs::path root = archive_.root();
  fs::rename(root, archive_.folder / "away");
  model.merge(model.groups().front());
  settle();
  EXPECT_EQ(error(), "b.jpg: original not found — is the destination online?");
  EXPECT_EQ(shown(), "a.jpg b.jpg c.jpg d.jpg");
  fs::rename(archive_.folder / "away", root);
  model.clearError();
  fs::remove(root / model.groups().front().members[2].ref.targetPath.value());
  model.merge(model.groups().front());
  settle();
  EXPECT_EQ(error(), "c.jpg: original not found — is the destination online?");
  EXPECT_EQ(shown(), "a.jpg b.jpg c.jpg d.jpg") << "as before, though one is in the trash";
  EXPECT_EQ(trashed(), Strings{"b.jpg"});
  EXPECT_EQ(announced_.size(), 1U);
  rescan();
  archive_.execute("UPDATE Photo SET trashedAt = 1 WHERE originalFilename = 'a.jpg'");
  model.merge(model.groups().front());
  settle();
  EXPECT_EQ(error(), "a.jpg: original not found — is the destination online?");
  archive_.execute("UPDATE Photo SET trashedAt = 1 WHERE originalFilename = 'c.jpg'");
  archive_.execute("UPDATE Photo SET trashedAt = NULL WHERE originalFilename = 'a.jpg'");
  model.clearError();
  model.merge(model.groups().front());
  settle();
  EXPECT_EQ(error(), "none");
  EXPECT_EQ(shown(), "");
}

TEST_F(DuplicatesModelTest, StacksAndUnstacks) {
  const std::string raw = add("a", 100, ".dng", 8);
  const std::string rendered = add("b", 100);
  add("c", 200, ".dng");
  add("d", 200, ".cr2");
  add("e", 300);
  add("f", 300);
  DuplicatesModel& model = start();
  const DuplicateGroup group = model.groups().back();
  model.stack(group);
  settle();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2; a.dng* b.jpg");
  EXPECT_EQ(archive_.row(raw)->stackedUnder, rendered);
  EXPECT_EQ(announced_, std::set<std::string>{raw});
  model.unstack(group);
  settle();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2; a.dng b.jpg");
  EXPECT_TRUE(archive_.row(raw)->stackExempt && archive_.row(rendered)->stackExempt);
  model.stackAllRawPairs();
  settle();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2*; a.dng* b.jpg") << "also what was split";
  EXPECT_FALSE(archive_.row(raw)->stackExempt);
  rescan();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2*; a.dng* b.jpg");

  // A target that is trashed, or gone from a drive that is there, hides nothing.
  model.unstack(model.groups().back());
  settle();
  archive_.execute("UPDATE Photo SET trashedAt = 1 WHERE id = '" + rendered + "'");
  model.stack(model.groups().back());
  settle();
  EXPECT_EQ(error(), "b.jpg: original not found — is the destination online?");
  archive_.execute("UPDATE Photo SET trashedAt = NULL WHERE id = '" + rendered + "'");
  fs::remove(archive_.root() / archive_.row(rendered)->targetPath);
  model.stackAllRawPairs();
  settle();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2*; a.dng b.jpg");
  fs::rename(archive_.root(), archive_.folder / "away");
  model.stackAllRawPairs();
  settle();
  EXPECT_EQ(shown(), "e.jpg f.jpg; c.dng d.cr2*; a.dng* b.jpg") << "nothing is known of a drive";
}

TEST_F(DuplicatesModelTest, ABrokenCatalogIsAnEmptyScanAndAFailedAction) {
  const LogCapture log;
  add("a", 100);
  add("b", 100);
  DuplicatesModel& model = start();
  const DuplicateGroup group = model.groups().front();
  {
    const auto full = FaultPlan::failing("commit", 1, ENOSPC);
    model.trash(group.members[1], group.id);
    settle();
  }
  EXPECT_EQ(error(), "save: No space left on device");
  EXPECT_EQ(shown(), "a.jpg b.jpg");
  model.trash(group.members[1], group.id);
  settle();
  EXPECT_EQ(trashed(), Strings{"b.jpg"}) << "the file at the other end counts as moved";
  archive_.execute("ALTER TABLE Photo RENAME TO Away");
  rescan();
  EXPECT_EQ(shown(), "");
  EXPECT_TRUE(log.contains("Vaultmere: no search for duplicates — "));
  model.stack(group);
  model_.reset();  // an action may still run
  settle();
}

}  // namespace
}  // namespace vaultmere
