// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <deque>
#include <future>
#include <limits>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "platform/Files.h"
#include "settings/DestinationMonitor.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using namespace std::chrono_literals;
using Monitor = DestinationMonitor;

constexpr std::int64_t kGB = 1'000'000'000;
constexpr VolumeCapacity kRoom{1000 * kGB, 600 * kGB};
const Bookmark kDrive{"/media/drive/Archive", VolumeIdentity{"A", "ext4", "/dev/sdb1"}, "Archive"};
const Bookmark kOther{"/media/other/Archive", VolumeIdentity{"B", "ext4", "/dev/sdc1"}, "Archive"};

TEST(SpaceMargin, IsTheLargerOfTheFloorAndACappedPart) {
  const struct {
    const char* name;
    std::int64_t floor, total, margin;
  } rows[] = {
      {"4 TB", 10 * kGB, 4000 * kGB, 50 * kGB},
      {"100 GB", 10 * kGB, 100 * kGB, 10 * kGB},
      {"the user's own wins", 80 * kGB, 2000 * kGB, 80 * kGB},
      {"where the part meets its cap", 10 * kGB, 1000 * kGB, 50 * kGB},
      {"just below it", 10 * kGB, 1000 * kGB - 1, 50 * kGB - 1},
      {"no floor", 0, 100 * kGB, 5 * kGB},
      {"a floor below 0", -1, 100 * kGB, 5 * kGB},
      {"a part is rounded down", 0, 39, 1},
      {"the largest numbers", std::numeric_limits<std::int64_t>::max(),
       std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::max()},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(spaceMargin(row.floor, row.total), row.margin) << row.name;
  }
}

TEST(SpaceGate, OpensToTheByte) {
  constexpr std::int64_t file = 123'456;
  SpaceGate gate;
  EXPECT_FALSE(gate.allows(0));
  SpaceGate::State state{true, "/a", 7, {100 * kGB, 10 * kGB + file}, 10 * kGB};
  gate.update(state);
  EXPECT_TRUE(gate.allows(file));
  EXPECT_FALSE(gate.allows(file + 1));
  EXPECT_FALSE(gate.allows(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(gate.expectedDevice(), 7U);
  state.online = false;
  gate.update(state);
  EXPECT_FALSE(gate.allows(file));
  EXPECT_FALSE(gate.expectedDevice());
  EXPECT_EQ(gate.lastDeviceOf("/a"), 7U) << "a drive that stalls isn't gone";
  EXPECT_FALSE(gate.lastDeviceOf("/b"));
}

/// A monitor over drives that a test plugs in and out. Probes and notifications
/// run when the test says so: a probe that hangs is one that isn't run.
class DestinationMonitorTest : public testing::Test {
 protected:
  void plugIn(const Bookmark& drive, const fs::path& root) {
    Bookmark found = drive;
    found.path = root;
    drives_[drive.volume->uuid] = ProbeResult{root, 42, kRoom, found};
  }
  void unplug(const Bookmark& drive) { drives_.erase(drive.volume->uuid); }

  /// Lets everything in the background answer, and the answers arrive.
  void settle() {
    main_.runPosted();
    while (!background_.empty()) {
      runNext();
    }
  }
  void runNext() {
    const auto job = std::move(background_.front());
    background_.pop_front();
    job();
    main_.runPosted();
  }
  void refresh() {
    monitor_->refresh();
    settle();
  }
  void choose(const std::optional<Bookmark>& destination) {
    monitor_->setDestination(destination);
    refresh();
  }

  DestinationDependencies dependencies() {
    return {[this](const Bookmark& bookmark) -> std::optional<ProbeResult> {
              ++probes_;
              const auto drive = drives_.find(bookmark.volume ? bookmark.volume->uuid : "A");
              return drive == drives_.end() ? std::nullopt : std::optional(drive->second);
            },
            [this](std::function<void()> job) { background_.push_back(std::move(job)); }, false};
  }

  std::map<std::string, ProbeResult> drives_;
  std::deque<std::function<void()>> background_;
  std::vector<std::string> notes_;
  int probes_ = 0;
  int changes_ = 0;
  std::int64_t floor_ = 10 * kGB;
  ManualMainThread main_{TimePoint{} + 100h};
  const std::shared_ptr<SpaceGate> gate_ = std::make_shared<SpaceGate>();
  std::optional<Monitor> monitor_{std::in_place,
                                  main_,
                                  [this] { return floor_; },
                                  [this](const std::string& title, const std::string& body) {
                                    notes_.push_back(title + "|" + body);
                                  },
                                  gate_,
                                  dependencies()};
  const sigc::connection connection_ = monitor_->changed().connect([this] { ++changes_; });

  const Monitor::Status unset_ = Monitor::Unset{};
  const Monitor::Status offline_ = Monitor::Offline{};
  const Monitor::Status online_ = Monitor::Online{kRoom};
};

TEST_F(DestinationMonitorTest, WithoutADestinationItStaysUnsetAndLooksForNothing) {
  refresh();
  main_.advance(1min);
  settle();
  EXPECT_EQ(monitor_->status(), unset_);
  EXPECT_FALSE(monitor_->url());
  EXPECT_EQ(probes_, 0);
  EXPECT_EQ(changes_, 0);
  EXPECT_TRUE(notes_.empty());
  EXPECT_FALSE(gate_->allows(0));
}

TEST_F(DestinationMonitorTest, UnpluggingIsToldOnceEachTime) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  EXPECT_EQ(monitor_->status(), online_);
  EXPECT_TRUE(gate_->allows(kGB));
  EXPECT_EQ(gate_->expectedDevice(), 42U);

  const auto pollFor = [this](Duration time) {
    for (; time > 0s; time -= 1s) {
      main_.advance(1s);
      settle();
    }
  };
  const std::string note =
      "Destination offline|Vaultmere paused — reconnect the drive to resume backing up.";
  unplug(kDrive);
  pollFor(5s);
  EXPECT_EQ(monitor_->status(), offline_);
  EXPECT_EQ(monitor_->url(), kDrive.path) << "where it was last seen";
  EXPECT_FALSE(gate_->allows(0));
  EXPECT_FALSE(gate_->expectedDevice());
  EXPECT_EQ(notes_, std::vector{note});
  pollFor(30s);
  EXPECT_EQ(notes_.size(), 1U);

  plugIn(kDrive, kDrive.path);
  pollFor(5s);
  EXPECT_EQ(monitor_->status(), online_);
  unplug(kDrive);
  pollFor(30s);
  EXPECT_EQ(notes_, (std::vector{note, note}));
}

TEST_F(DestinationMonitorTest, AbsentAtStartItIsOfflineInSilenceAndComesBack) {
  choose(kDrive);
  EXPECT_EQ(monitor_->status(), offline_);
  EXPECT_TRUE(notes_.empty());
  plugIn(kDrive, kDrive.path);
  main_.advance(5s);
  settle();
  EXPECT_EQ(monitor_->status(), online_);
  choose(std::nullopt);
  EXPECT_EQ(monitor_->status(), unset_);
  EXPECT_FALSE(monitor_->url());
  EXPECT_TRUE(notes_.empty()) << "nobody is told of their own choice";
}

TEST_F(DestinationMonitorTest, NoAnswerInFiveSecondsIsOffline) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  monitor_->refresh();
  main_.advance(5s - 1ms);
  EXPECT_EQ(monitor_->status(), online_);
  main_.advance(1ms);
  EXPECT_EQ(monitor_->status(), offline_);
  EXPECT_FALSE(gate_->allows(0));
  main_.advance(1h);
  EXPECT_EQ(background_.size(), 2U) << "the hanging probe and the notification, no heap of probes";

  settle();
  EXPECT_EQ(monitor_->status(), online_) << "the late answer counts";
  EXPECT_EQ(notes_.size(), 1U);
  EXPECT_EQ(probes_, 3) << "one more look was remembered";
}

TEST_F(DestinationMonitorTest, ADeadMountThatWasReplacedIsLookedForAgain) {
  choose(kDrive);
  monitor_->refresh();
  const auto hanging = std::move(background_.front());
  background_.clear();
  monitor_->mountsChanged();
  EXPECT_TRUE(background_.empty()) << "it may still answer in time";
  main_.advance(5s);
  plugIn(kDrive, kDrive.path);
  monitor_->mountsChanged();
  settle();
  EXPECT_EQ(monitor_->status(), online_);
  for (int i = 0; i < 10; ++i) {
    monitor_->refresh();
    main_.advance(5s);
    monitor_->mountsChanged();
  }
  EXPECT_LE(background_.size(), Monitor::kMaxProbes + notes_.size()) << "and one that hangs";
}

TEST_F(DestinationMonitorTest, AHangingDriveHoldsUpNoOther) {
  plugIn(kDrive, kDrive.path);
  plugIn(kOther, kOther.path);
  choose(kDrive);
  monitor_->refresh();
  const auto hanging = std::move(background_.front());
  background_.clear();

  monitor_->setDestination(kOther);
  EXPECT_EQ(monitor_->url(), kOther.path);
  EXPECT_FALSE(gate_->allows(0)) << "the numbers were those of the other drive";
  EXPECT_FALSE(gate_->expectedDevice());
  refresh();
  EXPECT_EQ(monitor_->status(), online_);
  EXPECT_EQ(gate_->state().root, kOther.path);

  unplug(kDrive);
  hanging();
  main_.runPosted();
  EXPECT_EQ(monitor_->status(), online_) << "an answer about the old drive is stale";
  EXPECT_EQ(monitor_->url(), kOther.path);
}

TEST_F(DestinationMonitorTest, ADriveMountedElsewhereIsFollowed) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  changes_ = 0;
  plugIn(kDrive, "/run/media/drive/Archive");
  refresh();
  EXPECT_EQ(monitor_->status(), online_);
  EXPECT_EQ(monitor_->url(), "/run/media/drive/Archive");
  EXPECT_EQ(gate_->state().root, "/run/media/drive/Archive");
  EXPECT_EQ(changes_, 1);
  ASSERT_TRUE(monitor_->resolvedBookmark());
  EXPECT_EQ(monitor_->resolvedBookmark()->path, "/run/media/drive/Archive");

  const auto before = gate_->state();
  monitor_->setDestination(monitor_->resolvedBookmark());
  monitor_->setDestination(kDrive);
  EXPECT_EQ(gate_->state(), before) << "neither is another destination";
  EXPECT_EQ(changes_, 1);
}

TEST_F(DestinationMonitorTest, APathAloneIsCompleted) {
  plugIn(kDrive, kDrive.path);
  choose(Bookmark{kDrive.path, std::nullopt, {}});
  EXPECT_EQ(monitor_->resolvedBookmark(), kDrive);
}

TEST_F(DestinationMonitorTest, ANewMarginCountsAtTheNextRefresh) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  EXPECT_TRUE(gate_->allows(400 * kGB));
  floor_ = 300 * kGB;
  monitor_->refresh();
  EXPECT_FALSE(gate_->allows(400 * kGB)) << "at once, before the drive has answered";
  settle();
  EXPECT_FALSE(gate_->allows(400 * kGB));
}

TEST_F(DestinationMonitorTest, ChangesAreToldOnlyWhenThereAreAny) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  changes_ = 0;
  refresh();
  EXPECT_EQ(changes_, 0);
  drives_.at("A").capacity.available -= 1;
  refresh();
  EXPECT_EQ(changes_, 1);
}

TEST_F(DestinationMonitorTest, AProbeThatThrowsIsOffline) {
  auto around = dependencies();
  around.probe = [](const Bookmark&) -> std::optional<ProbeResult> {
    throw std::runtime_error("a bad moment");
  };
  monitor_.emplace(
      main_, [] { return std::int64_t{0}; }, Notify(), gate_, around);
  choose(kDrive);
  EXPECT_EQ(monitor_->status(), offline_);
}

TEST_F(DestinationMonitorTest, WithoutAThreadItTriesAgainLater) {
  auto around = dependencies();
  bool full = true;
  around.background = [&](const std::function<void()>& job) {
    if (full) {
      throw std::system_error(EAGAIN, std::generic_category());
    }
    background_.push_back(job);
  };
  plugIn(kDrive, kDrive.path);
  const LogCapture log;
  monitor_.emplace(
      main_, [] { return std::int64_t{0}; }, Notify(), gate_, around);
  choose(kDrive);
  EXPECT_EQ(monitor_->status(), unset_);
  full = false;
  main_.advance(5s);
  settle();
  EXPECT_EQ(monitor_->status(), online_);
}

TEST_F(DestinationMonitorTest, GoesWithoutWaitingForAHangingProbe) {
  std::promise<void> release;
  std::promise<void> ended;
  DestinationDependencies around;
  around.watchMounts = false;
  around.probe = [&](const Bookmark&) -> std::optional<ProbeResult> {
    release.get_future().wait();
    return std::nullopt;
  };
  around.background = [&](std::function<void()> job) {
    DestinationDependencies::onOwnThread([&ended, job = std::move(job)] {
      job();
      ended.set_value();
    });
  };
  monitor_.emplace(
      main_, [] { return std::int64_t{0}; }, Notify(), gate_, around);
  monitor_->setDestination(kDrive);
  monitor_->refresh();
  monitor_.reset();
  release.set_value();
  ended.get_future().wait();
  main_.runPosted();
}

TEST(DestinationMonitor, SeesARealDriveComeAndGo) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    const fs::path here = folder / "here";
    const fs::path elsewhere = folder / "elsewhere";
    fs::create_directories(here);
    fs::create_directories(elsewhere);
    plugIn(here, "drive");
    const Bookmark root = Bookmark::of(here);

    ManualMainThread main(TimePoint{} + 100h);
    const auto gate = std::make_shared<SpaceGate>();
    std::atomic<int> notes = 0;
    Monitor monitor(
        main, [] { return std::int64_t{0}; },
        [&notes, &main](const std::string&, const std::string&) {
          ++notes;
          main.post([] {});
        },
        gate);
    // Only the mount table's changes lead from here on: no virtual time passes.
    monitor.setDestination(root);
    monitor.refresh();
    ASSERT_TRUE(main.runUntil([&] { return monitor.isOnline(); }));
    EXPECT_EQ(gate->state().capacity.total, 1 << 20);
    EXPECT_EQ(gate->expectedDevice(), fileStatus(here)->stamp.device);

    unplug(here);
    ASSERT_TRUE(main.runUntil([&] { return !monitor.isOnline() && notes == 1; }))
        << "an empty mount point isn't the drive";
    plugIn(here, "another drive");
    plugIn(elsewhere, "drive");
    ASSERT_TRUE(main.runUntil([&] { return monitor.isOnline(); }));
    EXPECT_EQ(monitor.url(), elsewhere);
    EXPECT_EQ(gate->expectedDevice(), fileStatus(elsewhere)->stamp.device);
    EXPECT_EQ(notes, 1);
  });
}

}  // namespace
}  // namespace vaultmere
