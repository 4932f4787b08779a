// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <deque>
#include <limits>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "platform/Files.h"
#include "platform/ScopedConnection.h"
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
      {"the user's own wins", 80 * kGB, 2000 * kGB, 80 * kGB},
      {"where the part meets its cap", 10 * kGB, 1000 * kGB, 50 * kGB},
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
  EXPECT_FALSE(gate.allows(file + 2));
  EXPECT_FALSE(gate.allows(std::numeric_limits<std::int64_t>::max()));
  state.online = false;
  gate.update(state);
  EXPECT_FALSE(gate.allows(file));
  EXPECT_EQ(gate.expectedDevice(), 7U) << "copies under way go on when it answers again";
}

/// A monitor over drives that a test plugs in and out. Probes and notifications
/// run when the test says so: a probe that hangs is one that isn't run.
class DestinationMonitorTest : public testing::Test {
 protected:
  DestinationMonitorTest() { restart(); }

  void plugIn(const Bookmark& drive, const fs::path& root) {
    Bookmark found = drive;
    found.path = root;
    drives_[drive.volume->uuid] = ProbeResult{root, 42, kRoom, found};
  }
  void unplug(const Bookmark& drive) { drives_.erase(drive.volume->uuid); }

  /// Lets everything in the background answer, and the answers arrive.
  void settle() {
    for (main_.runPosted(); !background_.empty(); main_.runPosted()) {
      const auto job = std::move(background_.front());
      background_.pop_front();
      job();
    }
  }
  void refresh() {
    monitor_->refresh();
    settle();
  }
  void choose(const std::optional<Bookmark>& destination) {
    monitor_->setDestination(destination);
    refresh();
  }

  std::optional<ProbeResult> probe(const Bookmark& bookmark) {
    ++probes_;
    if (isBroken_) {
      throw std::runtime_error("a bad moment");
    }
    const auto drive = drives_.find(bookmark.volume ? bookmark.volume->uuid : "A");
    return drive == drives_.end() ? std::nullopt : std::optional(drive->second);
  }
  void inBackground(std::function<void()> job) {
    if (isFull_) {
      throw std::system_error(EAGAIN, std::generic_category());
    }
    background_.push_back(std::move(job));
  }

  /// A new monitor, in a world without drives.
  void restart() {
    drives_.clear();
    notes_.clear();
    isBroken_ = false;
    monitor_.emplace(
        main_, [this] { return floor_; },
        [this](const std::string& title, const std::string& body) {
          notes_.push_back(title + "|" + body);
        },
        gate_,
        DestinationDependencies{[this](const Bookmark& bookmark) { return probe(bookmark); },
                                [this](auto job) { inBackground(std::move(job)); }, false});
    connection_ = monitor_->changed().connect([this] { ++changes_; });
    probes_ = 0;
    changes_ = 0;
  }

  /// One step of a table: a letter each.
  void take(char step) {
    switch (step) {
      case 'p':  // plugged in
        return plugIn(kDrive, kDrive.path);
      case 'x':  // pulled out
        return unplug(kDrive);
      case 'c':  // chosen
        return choose(kDrive);
      case 'n':  // nothing chosen
        return choose(std::nullopt);
      case 'u':  // used up
        drives_.at("A").capacity.available = 0;
        return;
      case 'b':  // probes throw from now on
        isBroken_ = true;
        return;
      case 'f':  // no thread to be had, or one again
        isFull_ = !isFull_;
        return;
      default:  // polled
        main_.advance(Monitor::kPollInterval);
        settle();
    }
  }

  std::map<std::string, ProbeResult> drives_;
  bool isBroken_ = false;
  bool isFull_ = false;
  std::deque<std::function<void()>> background_;
  std::vector<std::string> notes_;
  int probes_ = 0;
  int changes_ = 0;
  std::int64_t floor_ = 10 * kGB;
  ManualMainThread main_{TimePoint{} + 100h};
  const std::shared_ptr<SpaceGate> gate_ = std::make_shared<SpaceGate>();
  std::optional<Monitor> monitor_;
  ScopedConnection connection_;

  const Monitor::Status unset_ = Monitor::Unset{};
  const Monitor::Status offline_ = Monitor::Offline{};
  const Monitor::Status online_ = Monitor::Online{kRoom};
};

TEST_F(DestinationMonitorTest, ReportsTheDrivesStatusAndNotifiesOncePerLoss) {
  const LogCapture log;
  const struct {
    const char* name;
    std::string steps;
    Monitor::Status status;
    std::size_t notes;
    int changes, probes;
  } rows[] = {
      {"nothing chosen", "..", unset_, 0, 0, 0},
      {"absent at start", "c..", offline_, 0, 2, 3},
      {"comes back later", "cp.", online_, 0, 3, 2},
      {"nothing new", "pc..", online_, 0, 2, 3},
      {"less room", "pcu.", Monitor::Online{{kRoom.total, 0}}, 0, 3, 2},
      {"pulled out", "pcx...", offline_, 1, 3, 4},
      {"in and out again", "pcx.p.x..", offline_, 2, 5, 5},
      {"no longer chosen", "pcn.", unset_, 0, 4, 1},
      {"a probe that throws", "pcb.", offline_, 1, 3, 2},
      {"no thread for the first probe", "fpcf.", online_, 0, 2, 1},
  };
  for (const auto& row : rows) {
    restart();
    std::for_each(row.steps.begin(), row.steps.end(), [this](char step) { take(step); });
    EXPECT_EQ(monitor_->status(), row.status) << row.name;
    const std::string note =
        "Destination offline|Vaultmere paused — reconnect the drive to resume backing up.";
    EXPECT_EQ(notes_, std::vector(row.notes, note)) << row.name;
    EXPECT_EQ(changes_, row.changes) << row.name;
    EXPECT_EQ(probes_, row.probes) << row.name;
    EXPECT_EQ(monitor_->url().has_value(), row.status != unset_) << row.name << ": last seen there";
    EXPECT_EQ(gate_->state().online, monitor_->isOnline()) << row.name;
    EXPECT_EQ(gate_->expectedDevice().has_value(), monitor_->isOnline()) << row.name;
  }
}

TEST_F(DestinationMonitorTest, GoesOfflineWithoutAnAnswerInFiveSeconds) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  monitor_->refresh();
  main_.advance(5s - 1ms);
  EXPECT_EQ(monitor_->status(), online_);
  main_.advance(1ms);
  EXPECT_EQ(monitor_->status(), offline_);
  EXPECT_FALSE(gate_->allows(0));
  EXPECT_EQ(gate_->expectedDevice(), 42U) << "copies under way go on when it answers again";
  main_.advance(1h);
  EXPECT_EQ(background_.size(), 2U) << "the hanging probe and the notification, no heap of probes";

  settle();
  EXPECT_EQ(monitor_->status(), online_) << "the late answer counts";
  EXPECT_EQ(notes_.size(), 1U);
  EXPECT_EQ(probes_, 3) << "one more look was remembered";
}

TEST_F(DestinationMonitorTest, ProbesAgainWhenADeadMountIsReplaced) {
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

TEST_F(DestinationMonitorTest, ProbesTheNewDriveWhileTheOldOneHangs) {
  plugIn(kDrive, kDrive.path);
  plugIn(kOther, kOther.path);
  choose(kDrive);
  monitor_->refresh();
  const auto hanging = std::move(background_.front());
  background_.clear();

  monitor_->setDestination(kOther);
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

TEST_F(DestinationMonitorTest, FollowsADriveThatIsMountedElsewhere) {
  plugIn(kDrive, kDrive.path);
  choose(kDrive);
  changes_ = 0;
  plugIn(kDrive, "/run/media/drive/Archive");
  refresh();
  EXPECT_EQ(monitor_->url(), "/run/media/drive/Archive");
  EXPECT_EQ(gate_->state().root, "/run/media/drive/Archive");
  EXPECT_EQ(monitor_->resolvedBookmark()->path, "/run/media/drive/Archive");

  const auto before = gate_->state();
  monitor_->setDestination(monitor_->resolvedBookmark());
  monitor_->setDestination(kDrive);
  EXPECT_EQ(gate_->state(), before) << "neither is another destination";
  EXPECT_EQ(changes_, 1);
}

TEST_F(DestinationMonitorTest, AppliesANewMarginAtTheNextRefresh) {
  plugIn(kDrive, kDrive.path);
  choose(Bookmark{kDrive.path, std::nullopt, {}});
  EXPECT_EQ(monitor_->resolvedBookmark(), kDrive) << "a path alone is completed";
  EXPECT_TRUE(gate_->allows(400 * kGB));
  floor_ = 300 * kGB;
  monitor_->refresh();
  EXPECT_FALSE(gate_->allows(400 * kGB)) << "at once, before the drive has answered";
}

TEST_F(DestinationMonitorTest, IsDestroyedWithoutWaitingForAHangingProbe) {
  monitor_->setDestination(kDrive);
  monitor_->refresh();
  monitor_.reset();
  settle();
  EXPECT_EQ(probes_, 1);
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
