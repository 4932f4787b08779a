// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/signal.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include "platform/Bookmark.h"
#include "platform/DetachedThread.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/Notifications.h"
#include "platform/Volumes.h"
#include "settings/SpaceGate.h"

namespace vaultmere {

/// A destination that was found.
struct ProbeResult {
  std::filesystem::path root;  ///< where it is now
  dev_t device = 0;            ///< the file system that `root` lies on
  VolumeCapacity capacity;
  Bookmark bookmark;  ///< the one that was asked for, completed
};

/// Looks for a destination on the disk; absent when it isn't there, isn't a
/// folder, or reports no capacity. Any thread; may block for as long as a dead
/// mount likes.
[[nodiscard]] std::optional<ProbeResult> probeDestination(const Bookmark& bookmark);

/// What the monitor needs from outside; tests put their own in.
struct DestinationDependencies {
  std::function<std::optional<ProbeResult>(const Bookmark&)> probe = probeDestination;
  /// Runs what may block.
  Background background = runDetached;
  /// Whether changes of the mount table start a refresh too.
  bool watchMounts = true;
};

/// Watches the archive's destination: is it there, and how much room has it.
///
/// Looks every 5 seconds, at each change of the mount table, and when asked,
/// always on a thread of its own. A drive that gives no answer is offline, so
/// that nothing new is begun, but copies under way may go on: see SpaceGate.
/// Main thread only, destruction included, which waits for no probe.
class DestinationMonitor {
 public:
  using Capacity = VolumeCapacity;

  /// No destination is chosen.
  struct Unset {
    bool operator==(const Unset&) const = default;
  };
  /// One is chosen, but its drive isn't there, it reports no capacity, or it
  /// gave no answer in `kTimeout`.
  struct Offline {
    bool operator==(const Offline&) const = default;
  };
  struct Online {
    Capacity capacity;
    bool operator==(const Online&) const = default;
  };
  using Status = std::variant<Unset, Offline, Online>;

  static constexpr std::chrono::seconds kPollInterval{5};
  static constexpr std::chrono::seconds kTimeout{5};
  /// Looks that may hang at the same time.
  static constexpr unsigned kMaxProbes = 4;

  /// Starts the polling. `marginFloor` gives the bytes to keep free, and is
  /// asked on the main thread. `notify` is called off it. `gate` is closed
  /// until a destination is found.
  DestinationMonitor(MainThread& main, std::function<std::int64_t()> marginFloor, Notify notify,
                     std::shared_ptr<SpaceGate> gate, DestinationDependencies dependencies = {});
  DestinationMonitor(const DestinationMonitor&) = delete;
  DestinationMonitor& operator=(const DestinationMonitor&) = delete;

  [[nodiscard]] const Status& status() const { return status_; }
  [[nodiscard]] bool isOnline() const { return std::holds_alternative<Online>(status_); }
  /// The archive's root: where it is, or was last seen. Absent when unset.
  [[nodiscard]] const std::optional<std::filesystem::path>& url() const { return url_; }
  /// The destination as it was set, with what probes have found out since:
  /// where its drive is mounted now, and its file system when only the path
  /// was known. Worth storing when it differs from what was set.
  [[nodiscard]] const std::optional<Bookmark>& resolvedBookmark() const { return destination_; }

  /// Another destination, or none. Doesn't look for it: `refresh` does, and
  /// until its answer nothing is online and the gate is closed. Setting what is
  /// set, or its resolved bookmark, changes nothing.
  void setDestination(const std::optional<Bookmark>& destination);
  /// Hands the margin on to the gate, then looks for the destination; `status`
  /// follows with the answer. Without a destination it is `Unset` at once. A
  /// call during a look gives one more look after it.
  void refresh();

  /// Looks again because the mount table has changed, also when the last look
  /// has given no answer in time and never may: a dead mount that was replaced.
  void mountsChanged();

  /// Emitted after `status`, `url` or `resolvedBookmark` has changed.
  [[nodiscard]] sigc::signal<void()>& changed() { return changed_; }

 private:
  void startProbe();
  void onAnswer(std::uint64_t number, const std::optional<ProbeResult>& result);
  void onNoAnswer(std::uint64_t number);
  void becomeOnline(const ProbeResult& result);
  void becomeOffline();
  void publish(const Status& status);
  void updateGate();
  void postNotification();

  MainThread& main_;
  const std::function<std::int64_t()> marginFloor_;
  const Notify notify_;
  const std::shared_ptr<SpaceGate> gate_;
  const DestinationDependencies dependencies_;
  const MainThreadCallback toMain_{main_};

  Status status_ = Unset{};
  std::optional<std::filesystem::path> url_;
  std::optional<Bookmark> given_;
  std::optional<Bookmark> destination_;
  SpaceGate::State found_;
  sigc::signal<void()> changed_;

  std::uint64_t probes_ = 0;                  ///< started so far
  std::optional<std::uint64_t> outstanding_;  ///< the number of the one that is waited for
  unsigned running_ = 0;                      ///< with those that nobody waits for any more
  bool again_ = false;                        ///< one more probe is wanted after it
  Timer timeout_;
  Timer poll_;
  std::unique_ptr<MountWatcher> watcher_;  // last: it stops before the rest goes
};

}  // namespace vaultmere
