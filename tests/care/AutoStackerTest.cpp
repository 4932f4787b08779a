// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/AutoStacker.h"
#include "tests/care/CareArchive.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualMainThread.h"

namespace vaultmere {
namespace {

DuplicateMember member(const char* filename, bool isBurst = false) {
  DuplicateMember member;
  member.filename = filename;
  member.ext = fs::path(filename).extension().string();
  member.burst = isBurst;
  return member;
}

TEST(AutoStacker, TakesOnlyPairsThatAreOneShot) {
  using Kind = DuplicateKind;
  auto exempt = member("a.heic");
  exempt.exempt = true;
  auto stacked = member("a.heic");
  stacked.stackedUnder = "x";
  const struct {
    const char* name;
    Kind kind;
    std::vector<DuplicateMember> members;
    bool isTaken;
  } rows[] = {
      {"RAW pair", Kind::rawPair, {member("IMG_1.dng"), member("IMG_1.jpg")}, true},
      {"other numbers, other extensions", Kind::rawPair, {member("1.dng"), member("2.jpg")}, true},
      {"re-encoded", Kind::reencode, {member("a.jpg"), member("b.jpg")}, false},
      {"videos", Kind::video, {member("a.mov"), member("a.mp4")}, false},
      {"burst frames", Kind::formatPair, {member("a.jpg", true), member("a.heic", true)}, false},
      {"one of a burst", Kind::formatPair, {member("a.jpg", true), member("a.heic")}, true},
      {"split", Kind::formatPair, {member("a.jpg"), exempt}, false},
      {"stacked", Kind::formatPair, {member("a.jpg"), stacked}, false},
      {"series",
       Kind::rawPair,
       {member("IMG_12.dng"), member("IMG_12.jpg"), member("IMG_13.jpg")},
       false},
      {"zeros in front",
       Kind::rawPair,
       {member("IMG_12.dng"), member("A0012.jpg"), member("B_12.jpg")},
       true},
      {"nothing but zeros",
       Kind::rawPair,
       {member("1.dng"), member("0.jpg"), member("00.jpg")},
       true},
      {"no number", Kind::rawPair, {member("a.dng"), member("a.jpg"), member("a2.jpg")}, true},
      {"staged twice",
       Kind::rawPair,
       {member("A.dng"), member("IMG_1-0A3F0A52-1111-4222-8333-123456789012.jpg"),
        member("IMG_1-0A3F0A52-1111-4222-8333-123456789013.jpg")},
       true},
      {"staged series",
       Kind::rawPair,
       {member("A.dng"), member("IMG_1-0A3F0A52-1111-4222-8333-123456789012.jpg"),
        member("IMG_2-0A3F0A52-1111-4222-8333-123456789012.jpg")},
       false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(mayStackByItself({"", {}, 0, 0, row.kind, row.members}), row.isTaken) << row.name;
  }
}

TEST(AutoStacker, HidesOnceAndTellsHowMany) {
  const LogCapture log;
  CareArchive archive;
  const auto add = [&](const std::string& name, const std::string& ext, const char* type) {
    return archive.add(name, ext, [&](Photo& photo) {
      photo.captureDate = CatalogDate{100};
      photo.width = photo.height = ext == ".dng" ? 8 : 4;
      photo.mediaType = type;
    });
  };
  const std::string raw = add("a", ".dng", "image");
  const std::string jpeg = add("b", ".jpg", "image");
  const std::string live = add("c", ".heic", "live_photo");
  ManualMainThread main{TimePoint()};
  AutoStacker stacker(main, archive.pool);
  const auto run = [&] {
    std::optional<std::size_t> hidden;
    stacker.run(archive.catalog, ArchiveRoot{archive.root(), nullptr},
                [&](std::size_t count) { hidden = count; });
    stacker.run(archive.catalog, std::nullopt, [](std::size_t) { ADD_FAILURE() << "dropped"; });
    main.settle(archive.pool);
    return hidden;
  };
  EXPECT_EQ(run(), 2U);
  EXPECT_EQ(archive.row(raw)->stackedUnder, live);
  EXPECT_EQ(archive.row(jpeg)->stackedUnder, live);
  EXPECT_FALSE(archive.row(live)->stackedUnder);
  EXPECT_EQ(log.lines(), Strings{"Vaultmere: auto-stacked 2 duplicate pair members"});
  EXPECT_EQ(run(), 0U);
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace vaultmere
