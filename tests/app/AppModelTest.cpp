// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>

#include "app/SelfTest.h"
#include "gallery/http/DescriptorLimit.h"
#include "gallery/http/ListeningSockets.h"
#include "platform/LocalAddress.h"
#include "tests/app/Program.h"
#include "tests/gallery/GalleryClient.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

class AppModelTest : public Program {
 protected:
  /// Drops and waits for the end; gives the summary.
  std::string drop(const std::vector<fs::path>& locations) {
    model_->importDropped(locations);
    settle();
    EXPECT_FALSE(model_->imports().isImporting());
    return model_->imports().status();
  }
};

TEST_F(AppModelTest, RefusesDropsInWords) {
  AppModel& model = start();
  EXPECT_EQ(model.status(), "Ready");
  EXPECT_EQ(drop({archive_.sources()}), "Set a destination first.");
  model.settings().setDestinationRoot(archive_.root());
  settle();
  fs::remove(archive_.root());
  pass(DestinationMonitor::kPollInterval);
  EXPECT_EQ(drop({archive_.sources()}), "Destination offline — reconnect it to import.");
}

TEST_F(AppModelTest, RefusesToFreezeWithoutTheMediaProgram) {
  const fs::path program = archive_.folder / "program";
  auto options = testMediaOptions();
  options.process.program = program;
  media_ = std::make_unique<MediaService>(options);
  AppModel& model = startWithDestination();
  const std::string problem = "Photos and videos can't be read (start “" + program.string() +
                              "”: No such file or directory). "
                              "If that lasts, install Vaultmere again.";
  EXPECT_EQ(model.status(), problem);
  const fs::path file = archive_.source("a.jpg", "a");
  model.settings().setDeleteSourceAfterIntake(true);
  EXPECT_EQ(drop({file}), problem);
  EXPECT_EQ(archive_.files(), Strings{});
  EXPECT_TRUE(fs::exists(file));
  {
    const LogCapture log;
    archive_.open();
    SelfTest{archive_.catalog, {}, *media_, nullptr, {}}.run(archive_.sources(), archive_.root());
    EXPECT_EQ(log.lines(), Strings{"Vaultmere: self-test not begun — " + problem});
  }
  fs::create_symlink(testMediaOptions().process.program, program);
  EXPECT_EQ(drop({file}), "Imported: 1 new");
  EXPECT_EQ(model.status(), "Ready");
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(AppModelTest, SaysWhatBecameOfADrop) {
  AppModel& model = startWithDestination();
  archive_.source("known.jpg", "known");
  EXPECT_EQ(drop({archive_.sources()}), "Imported: 1 new");
  archive_.source("1.jpg", "1");
  archive_.source("2.jpg", "2");
  archive_.source("3.mp4", "3");
  archive_.source("a.txt", "t");
  archive_.source("b.txt", "t");
  EXPECT_EQ(drop({archive_.sources()}), "Imported: 3 new, 1 duplicate, 2 junk");
  EXPECT_EQ(model.imports().last(), (ImportStats{3, 1, 0, 0, 2}));
  EXPECT_FALSE(model.imports().live());
  EXPECT_EQ(model.archive(), (ArchiveBreakdown{4, 3, 1, 8, 7, 1}));
  EXPECT_EQ(drop({archive_.sources() / "a.txt"}), "Imported: 0 new, 1 junk");
  EXPECT_EQ(drop({archive_.root()}),
            "Nothing importable found in that drop (no images or videos, or no access).");
  EXPECT_FALSE(filesBelow(archive_.sources()).empty());
  model.settings().setDeleteSourceAfterIntake(true);
  drop({archive_.sources()});
  EXPECT_EQ(filesBelow(archive_.sources()), (Strings{"a.txt", "b.txt"}));
  model.settings().setMarginGB(9'000'000'000);
  settle();
  const fs::path large = archive_.source("large.jpg", "large");
  EXPECT_EQ(drop({large}), "Imported: 0 new, 1 skipped (no space)");
  EXPECT_TRUE(fs::exists(large));
}

TEST_F(AppModelTest, StopIsTheLastWordAlsoWithDropsQueued) {
  AppModel& model = startWithDestination();
  for (int i = 0; i < 30; ++i) {
    archive_.source("one/" + std::to_string(i) + ".jpg", std::to_string(i));
  }
  archive_.source("two/x.jpg", "x");
  archive_.source("two/x.txt", "junk");
  const FaultPlan stops = FaultPlan::doing("rename", 3, [&] {
    std::promise<void> stopped;
    main_.post([&] {
      model.imports().cancel();
      stopped.set_value();
    });
    stopped.get_future().wait();
  });
  for (const char* name : {"one", "two", "two/x.txt"}) {
    model.importDropped({archive_.sources() / name});
  }
  EXPECT_TRUE(main_.runUntil([&] { return model.imports().last().has_value(); }));
  const std::string status = model.imports().status();
  EXPECT_EQ(status.substr(0, 9), "Stopped: ");
  settle();
  EXPECT_EQ(model.imports().status(), status) << "the queued drops end in silence";
  EXPECT_EQ(model.imports().last()->noImage, 0U);
  EXPECT_EQ(slurp(archive_.data() / "import-log.jsonl").find("x.txt"), std::string::npos);
  EXPECT_LT(archive_.rows().size(), 30U);
  for (const std::string& row : archive_.rows()) {
    EXPECT_EQ(row.find(Archive::hashOf("x")), std::string::npos);
  }
}

TEST_F(AppModelTest, AnnouncesChangesOfOneTurnOnceAndReadsChangedRowsAgain) {
  AppModel& model = startWithDestination();
  archive_.source("a.jpg", "a");
  drop({archive_.sources()});
  int changes = 0;
  model.changed().connect([&] { ++changes; });
  model.gallery().stop();
  model.gallery().stop();
  EXPECT_EQ(changes, 0);
  main_.runPosted();
  EXPECT_EQ(changes, 1);

  ASSERT_EQ(model.browser()->items().size(), 1U);
  EXPECT_FALSE(model.browser()->items()[0].favorite);
  archive_.open();
  archive_.catalog->viewContext().perform(
      [](Connection& store) { store.execute("UPDATE Photo SET favorite = 1"); });
  model.catalog()->rowsChanged().emit({Archive::hashOf("a")});
  settle();
  EXPECT_TRUE(model.browser()->items()[0].favorite);
}

TEST_F(AppModelTest, ADestinationThatVanishesInTheMiddleCostsNothing) {
  AppModel& model = startWithDestination();
  for (int i = 0; i < 20; ++i) {
    archive_.source(std::to_string(i) + ".jpg", std::to_string(i));
  }
  model.settings().setDeleteSourceAfterIntake(true);
  const FaultPlan vanishes = FaultPlan::doing(
      "rename", 3, [&] { fs::rename(archive_.root(), archive_.folder / "unplugged"); });
  drop({archive_.sources()});
  EXPECT_FALSE(fs::exists(archive_.root()));
  const std::size_t archived = filesBelow(archive_.folder / "unplugged").size();
  EXPECT_LT(archived, 20U);
  EXPECT_GE(filesBelow(archive_.sources()).size(), 20 - archived);
}

TEST_F(AppModelTest, ANewDestinationTakesOver) {
  AppModel& model = startWithDestination();
  const fs::path other = archive_.folder / "other";
  fs::create_directories(other);
  archive_.source("a.jpg", "a");
  model.settings().setDestinationRoot(other);
  settle();
  EXPECT_EQ(drop({archive_.sources()}), "Imported: 1 new");
  EXPECT_EQ(filesBelow(other).size(), 1U);
  EXPECT_TRUE(archive_.files().empty());
}

TEST_F(AppModelTest, StartsAndStopsTheGallery) {
  const LogCapture log;
  AppModel& model = start();
  const auto ask = [&](const std::string& headers = {}) {
    GalleryClient client(static_cast<std::uint16_t>(model.settings().serverPort()), 0);
    client.send("GET /api/photos HTTP/1.1\r\n" + headers + "\r\n");
    return client.receiveAll().substr(0, 12);
  };
  const std::uint16_t port = ListeningSockets(0).port();
  model.settings().setServerPort(port);
  model.gallery().start();
  EXPECT_EQ(model.gallery().url(),
            "http://" + localAddress().value_or("127.0.0.1") + ":" + std::to_string(port));
  EXPECT_EQ(ask(), "HTTP/1.1 200");
  model.settings().setServerPassword(" secret\t");
  EXPECT_EQ(ask(), "HTTP/1.1 401");
  EXPECT_EQ(ask("Authorization: Basic bWU6c2VjcmV0\r\n"), "HTTP/1.1 200");
  {
    const ListeningSockets taken(0);
    model.settings().setServerPort(taken.port());
    model.gallery().start();
  }
  EXPECT_FALSE(model.gallery().isRunning());
  EXPECT_FALSE(model.gallery().url()) << "of the run before";
  EXPECT_TRUE(
      log.contains("Vaultmere: gallery server failed to start — " + *model.gallery().error()));
  model.gallery().start();
  EXPECT_TRUE(model.gallery().isRunning());
  EXPECT_FALSE(model.gallery().error());
  model.gallery().stop();
  EXPECT_FALSE(model.gallery().url());
  EXPECT_ANY_THROW(ask());
}

TEST_F(AppModelTest, ImportsBesideFiveThousandSilentGalleryClients) {
  const std::size_t granted = raiseDescriptorLimit();
  AppModel& model = startWithDestination();
  const std::uint16_t port = ListeningSockets(0).port();
  model.settings().setServerPort(port);
  model.gallery().start();
  // Both ends are in this process.
  const std::size_t count = std::min<std::size_t>(5000, granted / 2 - 50);
  std::vector<GalleryClient> silent;
  while (silent.size() < count) {
    silent.emplace_back(port);
  }
  for (int i = 0; i < 20; ++i) {
    archive_.source(std::to_string(i) + ".jpg", std::to_string(i));
  }
  EXPECT_EQ(drop({archive_.sources()}), "Imported: 20 new");
  silent.front().send("GET /api/photos HTTP/1.1\r\n\r\n");
  EXPECT_NE(silent.front().receiveAll().find(R"("total":20)"), std::string::npos);
}

TEST_F(AppModelTest, ABrokenCatalogIsShownAndRunsNothing) {
  const LogCapture log;
  fs::create_directories(archive_.data());
  writeText(archive_.data() / "Vaultmere.sqlite", std::string(4096, 'x'));
  AppModel& model = start({archive_.sources().string(), archive_.root().string()});
  EXPECT_EQ(model.status().substr(0, 15), "Catalog error: ");
  EXPECT_TRUE(log.contains("Vaultmere: failed to open catalog — "));
  EXPECT_FALSE(log.contains("SELFTEST"));
  EXPECT_EQ(drop({archive_.sources()}), "Set a destination first.");
  model.gallery().start();
  EXPECT_FALSE(model.gallery().isRunning());
}

TEST_F(AppModelTest, TheSelfTestPrintsItsLines) {
  LogCapture log;
  archive_.source("IMG_20210305_101112.jpg", "one");
  archive_.source("twin.jpg", "one");
  archive_.source("x.json", "{}");
  archive_.source("x.txt", "t");
  archive_.source("d\n.jpg", "odd");
  start({archive_.sources().string(), archive_.root().string()});
  const std::string id = Archive::hashOf("one");
  EXPECT_TRUE(log.contains("SELFTEST_BEGIN dir=" + archive_.sources().string() +
                           " archive=" + archive_.root().string()));
  EXPECT_TRUE(log.contains("SELFTEST_RESULT IMG_20210305_101112.jpg -> inserted "));
  EXPECT_TRUE(log.contains("SELFTEST_RESULT twin.jpg -> duplicate "));
  EXPECT_TRUE(log.contains("SELFTEST_PHOTO IMG_20210305_101112.jpg hash=" + id.substr(0, 12) +
                           " wxh=0x0 date=2021-03-05T10:11:12(filename) color=nil bw=false "
                           "target=2021/2021-03/" +
                           id + ".jpg labels= aesthetic=nil"));
  EXPECT_TRUE(log.contains("SELFTEST_END count=3 redup=3/3"));
  log.clear();
  start({archive_.sources().string(), std::nullopt});
  EXPECT_FALSE(log.contains("SELFTEST")) << "it needs both variables";
}

}  // namespace
}  // namespace vaultmere
