// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <unistd.h>

#include <future>

#include "intake/IngestCoordinator.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {
namespace {

class IngestCoordinatorTest : public testing::Test {
 protected:
  struct Told {
    IngestCoordinator::BatchResult result;
    std::vector<BatchProgress> progress;
  };

  std::shared_ptr<IngestCoordinator> coordinator() {
    auto options = archive_.options();
    options.gate = gate_;
    options.stop = quit_.get_token();
    return std::make_shared<IngestCoordinator>(IngestCoordinator::Options{
        archive_.ingestor(options), log_, [this] { return now_; }, archive_.pool, queue_});
  }

  /// What a batch has told when it has ended.
  using Done = std::function<void(IngestCoordinator::BatchResult)>;
  static Told await(const std::function<void(Told&, Done)>& start) {
    Told told;
    std::promise<IngestCoordinator::BatchResult> done;
    start(told, [&](auto result) { done.set_value(std::move(result)); });
    told.result = done.get_future().get();
    return told;
  }
  Told drop(const std::vector<fs::path>& locations, const std::stop_token& stop = {},
            const std::function<void(const BatchProgress&)>& watch = {}) {
    return await([&](Told& told, Done done) {
      coordinator()->ingestDropped(locations, false, stop, observer(told, watch), std::move(done));
    });
  }
  Told drain() {
    const auto target = coordinator();
    return await([&](Told& told, Done done) {
      target->drainInbox(target->inboxScanner()(archive_.sources()), {}, observer(told, {}),
                         std::move(done));
    });
  }

  static IngestCoordinator::Observer observer(Told& told,
                                              std::function<void(const BatchProgress&)> watch) {
    return {nullptr, [&told, watch = std::move(watch)](const BatchProgress& progress) {
              told.progress.push_back(progress);
              if (watch) {
                watch(progress);
              }
            }};
  }

  Strings logged() {
    Strings list;
    for (const ImportLogEntry& entry : log_->read(4000)) {
      list.push_back(entry.source + " " + entry.kind + " " + entry.filename);
    }
    std::reverse(list.begin(), list.end());
    return list;
  }

  Archive archive_;
  TimePoint now_ = parseCatalogDate("2030-01-01T00:00:00Z")->moment();
  std::shared_ptr<ImportLog> log_ =
      std::make_shared<ImportLog>(archive_.folder / "log.jsonl", archive_.pool);
  TurnQueue queue_{archive_.pool};
  std::function<bool(std::int64_t)> gate_;
  std::stop_source quit_;
};

TEST(BatchWidth, IsTheProcessorsLessOneWithinBounds) {
  for (const auto& [processors, width] : std::vector<std::pair<unsigned, unsigned>>{
           {0, 2}, {1, 2}, {2, 2}, {4, 3}, {9, 8}, {16, 8}}) {
    EXPECT_EQ(batchWidth(processors), width) << processors;
  }
}

TEST_F(IngestCoordinatorTest, LogsTheJunkOfADropBeforeItsBatch) {
  archive_.source("folder/a.jpg", "a");
  archive_.source("folder/b.jpg", "b");
  archive_.source("folder/deep/c.jpg", "a", "2021-01-01");
  archive_.source("folder/readme.txt", "x");
  const fs::path still = archive_.source("left/pair.heic", "still");
  const fs::path motion = archive_.source("right/pair.mov", "motion");
  const Told told = drop({archive_.sources() / "folder", still, motion,
                          archive_.sources() / "vanished.jpg", archive_.root()});
  EXPECT_EQ(told.result.junk, 1U);
  EXPECT_EQ(outcomes(told.result.results).size(), 4U);
  EXPECT_EQ(told.progress.front(), (BatchProgress{.total = 4, .junk = 1}));
  EXPECT_EQ(told.progress.back(),
            (BatchProgress{.done = 4, .total = 4, .added = 3, .duplicate = 1, .junk = 1}));
  EXPECT_EQ(told.progress.size(), 5U);
  const Strings lines = logged();
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[0], "intake junk readme.txt");
  EXPECT_EQ(log_->read(5).back().detail, "not an image or video — left in place");
  EXPECT_EQ(archive_.files().size(), 5U);
}

TEST_F(IngestCoordinatorTest, StartsNoGroupAfterAStop) {
  for (int i = 0; i < 40; ++i) {
    archive_.source(std::to_string(i) + ".jpg", std::to_string(i));
  }
  std::stop_source stop;
  const Told told = drop({archive_.sources()}, stop.get_token(), [&](const BatchProgress& p) {
    if (p.done == 5) {
      stop.request_stop();
    }
  });
  const std::size_t width = batchWidth(activeProcessors());
  EXPECT_GE(told.result.results.size(), 5U);
  EXPECT_LE(told.result.results.size(), 5 + width);
  EXPECT_EQ(logged().size(), told.result.results.size());
  EXPECT_EQ(archive_.rows().size(), told.result.results.size());
}

TEST_F(IngestCoordinatorTest, LogsNoFailuresWhenAQuitInterruptsHashing) {
  for (int i = 0; i < 6; ++i) {
    archive_.source(std::to_string(i) + ".jpg", std::string(2 * kFileChunk, 'x'));
  }
  const FaultPlan quits = FaultPlan::doing("read", 3, [&] { quit_.request_stop(); });
  const Told told = drop({archive_.sources()});
  EXPECT_EQ(told.progress.back().failed, 0U);
  EXPECT_TRUE(told.result.results.empty());
  EXPECT_TRUE(logged().empty());
  EXPECT_TRUE(archive_.files().empty());
}

TEST_F(IngestCoordinatorTest, RunsQueuedBatchesInTurnButNotThoseStoppedMeanwhile) {
  std::vector<std::string> events;  // unguarded: the queue is the guard
  std::stop_source stop;
  std::promise<void> done;
  // Coordinators on one queue, as when the destination changes.
  const auto drop = [&](const std::string& name, std::stop_token token,
                        std::function<void()> ended) {
    archive_.source(name + "/" + name + ".jpg", name);
    archive_.source(name + "/junk.txt", "x");
    const auto told = [&, name](const BatchProgress&) {
      events.push_back(name);
      stop.request_stop();
    };
    coordinator()->ingestDropped(
        {archive_.sources() / name}, false, std::move(token),
        {[&, name] { events.push_back(name + " starts"); }, told},
        [&, name, ended = std::move(ended)](const auto& result) {
          events.push_back(name + " ends " + std::to_string(result.results.size()));
          ended();
        });
  };
  drop("1", {}, [] {});
  drop("2", stop.get_token(), [] {});
  drop("3", {}, [&] { done.set_value(); });
  done.get_future().wait();
  EXPECT_EQ(events, (Strings{"1 starts", "1", "1", "1 ends 1", "2 ends 0", "3 starts", "3", "3",
                             "3 ends 1"}));
  EXPECT_EQ(logged(), (Strings{"intake junk junk.txt", "intake inserted 1.jpg",
                               "intake junk junk.txt", "intake inserted 3.jpg"}));
}

TEST_F(IngestCoordinatorTest, TakesSettledFilesFromTheWatchedFolder) {
  archive_.source("old.jpg", "old");
  archive_.source("pair.heic", "still");
  archive_.source("junk.txt", "x");
  archive_.source("sub/deep.jpg", "deep");
  setModified(archive_.source("fresh.jpg", "fresh"), now_ - std::chrono::milliseconds(4999));
  setModified(archive_.source("exact.jpg", "exact"), now_ - std::chrono::seconds(5));
  setModified(archive_.source("future.jpg", "future"), now_ + std::chrono::hours(1));
  setModified(archive_.source("pair.mov", "motion"), now_ - std::chrono::seconds(1));
  const fs::path writing = archive_.source("writing.jpg", "wri");
  const int writer = ::open(writing.c_str(), O_WRONLY | O_CLOEXEC);
  Told told = drain();
  EXPECT_EQ(outcomes(told.result.results), (Strings{"exact.jpg inserted", "old.jpg inserted"}));
  EXPECT_EQ(told.result.unsettled, 4U);
  EXPECT_EQ(told.progress.back().junk, 0U);
  EXPECT_EQ(filesBelow(archive_.sources()),
            (Strings{"fresh.jpg", "future.jpg", "junk.txt", "pair.heic", "pair.mov", "sub/deep.jpg",
                     "writing.jpg"}));
  ::close(writer);
  now_ += std::chrono::hours(2);
  EXPECT_EQ(drain().result.unsettled, 0U);
  told = drain();
  EXPECT_TRUE(told.progress.empty());
  EXPECT_EQ(filesBelow(archive_.sources()), (Strings{"junk.txt", "sub/deep.jpg"}));
  EXPECT_EQ(logged().back().substr(0, 6), "inbox ");
}

}  // namespace
}  // namespace vaultmere
