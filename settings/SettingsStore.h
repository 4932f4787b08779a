// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/signal.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/Bookmark.h"
#include "platform/DetachedThread.h"
#include "platform/Files.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/SettingsFile.h"

namespace vaultmere {

/// The user's choices, read once and written back when they change. No value is
/// limited here; its user limits it. Main thread only; no drive and no
/// file is touched on it.
///
/// The keys and forms under which the values are stored never change.
class SettingsStore {
 public:
  /// How long a chosen folder's drive has to answer.
  static constexpr std::chrono::seconds kTimeout{5};

  /// Reads everything from `file`, which it must not outlive. `background`
  /// runs what touches a drive; `main` also gives the day of the default for
  /// `streamDailyTime`.
  SettingsStore(SettingsFile& file, MainThread& main, Background background = runDetached);
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  /// Emitted after a value has changed.
  [[nodiscard]] sigc::signal<void()>& changed() { return changed_; }

  /// Decimal gigabytes (1,000,000,000 bytes) to keep free on the destination.
  [[nodiscard]] std::int64_t marginGB() const { return marginGB_; }
  void setMarginGB(std::int64_t gigabytes);
  /// The same in bytes; held at what 64 bits can say.
  [[nodiscard]] std::int64_t marginBytes() const;

  /// The most that one run of the stream moves, in decimal gigabytes.
  [[nodiscard]] std::int64_t streamCapGB() const { return streamCapGB_; }
  void setStreamCapGB(std::int64_t gigabytes);
  [[nodiscard]] std::int64_t streamCapBytes() const;

  [[nodiscard]] std::int64_t streamIntervalHours() const { return streamIntervalHours_; }
  void setStreamIntervalHours(std::int64_t hours);

  /// The gallery's password; empty for none.
  [[nodiscard]] const std::string& serverPassword() const { return serverPassword_; }
  void setServerPassword(const std::string& password);

  [[nodiscard]] std::int64_t serverPort() const { return serverPort_; }
  void setServerPort(std::int64_t port);

  /// Names under which the gallery may be asked for, beside those of local
  /// networks.
  [[nodiscard]] const std::vector<std::string>& serverHosts() const { return serverHosts_; }
  void setServerHosts(const std::vector<std::string>& hosts);

  /// True: at `streamDailyTime` on `streamWeekdays`. False: every
  /// `streamIntervalHours`.
  [[nodiscard]] bool streamUsesDailyTime() const { return streamUsesDailyTime_; }
  void setStreamUsesDailyTime(bool uses);

  /// A moment of which only the hour and minute of the local wall clock count.
  [[nodiscard]] TimePoint streamDailyTime() const { return streamDailyTime_; }
  void setStreamDailyTime(TimePoint moment);

  /// 1 is Sunday, 7 is Saturday. May be empty.
  [[nodiscard]] const std::set<int>& streamWeekdays() const { return streamWeekdays_; }
  void setStreamWeekdays(const std::set<int>& weekdays);

  [[nodiscard]] bool deleteSourceAfterIntake() const { return deleteSourceAfterIntake_; }
  void setDeleteSourceAfterIntake(bool deletes);

  [[nodiscard]] bool autoStackPairs() const { return autoStackPairs_; }
  void setAutoStackPairs(bool stacks);

  /// The archive's root and the watched folder, whether or not their drives
  /// are there; absent when none has been chosen.
  [[nodiscard]] const std::optional<Bookmark>& destination() const { return destination_.bookmark; }
  [[nodiscard]] const std::optional<Bookmark>& inbox() const { return inbox_.bookmark; }

  /// What came of a chosen folder: absent once it is stored.
  using Done = std::function<void(const std::optional<FileError>& failure)>;
  /// Stores a bookmark of an existing folder, once its drive has answered; then
  /// calls `done`. A failure (ETIMEDOUT: no answer) changes nothing, and is
  /// logged. A newer choice takes the place of one that isn't stored yet, whose
  /// `done` isn't called.
  void setDestinationRoot(const std::filesystem::path& root, Done done = nullptr);
  /// The same; nothing clears it, at once.
  void setInbox(const std::optional<std::filesystem::path>& folder, Done done = nullptr);
  /// Stores what has been found out about the destination: where its drive is
  /// mounted now, or the file system of a bookmark that was only a path.
  void updateDestination(const Bookmark& bookmark);

  /// When the stream's schedule last fired, to the second; absent before the
  /// first time. Not a choice: setting it emits nothing.
  [[nodiscard]] std::optional<TimePoint> streamLastFired() const { return streamLastFired_; }
  void setStreamLastFired(TimePoint moment);

 private:
  template <typename Value>
  void assign(Value& current, const Value& value, const char* key, nlohmann::json stored);
  /// A folder, and the choice of another one that is on its way.
  struct Location {
    const char* key;
    std::optional<Bookmark> bookmark;
    std::uint64_t choice = 0;  ///< the number of the latest one; results of others are stale
    Timer timeout{};
  };
  void choose(Location& location, const std::filesystem::path& folder, Done done);
  void assignBookmark(Location& location, const std::optional<Bookmark>& value);

  MainThread& main_;
  const Background background_;
  const MainThreadCallback toMain_{main_};
  SettingsFile& file_;
  sigc::signal<void()> changed_;
  std::int64_t marginGB_;
  std::int64_t streamCapGB_;
  std::int64_t streamIntervalHours_;
  std::int64_t serverPort_;
  std::string serverPassword_;
  std::vector<std::string> serverHosts_;
  bool streamUsesDailyTime_;
  TimePoint streamDailyTime_;
  std::set<int> streamWeekdays_;
  bool deleteSourceAfterIntake_;
  bool autoStackPairs_;
  Location destination_;
  Location inbox_;
  std::optional<TimePoint> streamLastFired_;
};

}  // namespace vaultmere
