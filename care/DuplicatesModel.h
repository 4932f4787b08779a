// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <vector>

#include "care/DuplicateScan.h"
#include "catalog/PhotoFilter.h"
#include "catalog/VaultmereCatalog.h"
#include "intake/ArchiveRoot.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/SerialQueue.h"

namespace vaultmere {

/// The groups of duplicates with what can be done to them, and the list of trashed
/// photos. Groups are a snapshot: they change by the model's own actions and by
/// the next scan.
///
/// Main thread only. Scans and actions run on pools and come back posted; actions
/// run one after the other. Each action that fails shows why in `errorMessage`,
/// and what it had done before stands. Changed rows are announced by the catalog's
/// signal. May be destroyed while work runs.
class DuplicatesModel {
 public:
  /// The trash list shows so many photos, the latest.
  static constexpr int kTrashedLimit = 500;

  struct Options {
    MainThread& main;
    ThreadPool& catalogPool;    ///< reads of the catalog
    ThreadPool& originalsPool;  ///< what touches the archive's drive
    std::shared_ptr<const VaultmereCatalog> catalog;
    /// The archive as it is now; absent when no destination is chosen. Asked on the
    /// main thread.
    std::function<std::optional<ArchiveRoot>()> archive;
    /// Whether a file is known to have other bytes than it should; null when nobody
    /// knows. Any thread.
    std::function<bool(const std::string& id)> isDamaged;
  };

  explicit DuplicatesModel(Options options);
  ~DuplicatesModel();
  DuplicatesModel(const DuplicatesModel&) = delete;
  DuplicatesModel& operator=(const DuplicatesModel&) = delete;

  [[nodiscard]] ChangeSignal& changed() { return changed_; }

  /// All groups, the latest capture first.
  [[nodiscard]] const std::vector<DuplicateGroup>& groups() const { return groups_; }
  /// The latest trashed photos, latest first.
  [[nodiscard]] const std::vector<DuplicateMember>& trashed() const { return trashed_; }
  [[nodiscard]] bool scanning() const { return scanning_; }
  /// The first scan has ended.
  [[nodiscard]] bool hasScanned() const { return hasScanned_; }
  /// An action runs or waits for its turn.
  [[nodiscard]] bool busy() const { return actions_ > 0; }
  [[nodiscard]] const std::optional<DuplicateKind>& kindFilter() const { return kindFilter_; }
  [[nodiscard]] const std::optional<std::string>& errorMessage() const { return errorMessage_; }
  /// Keys of the rows that fulfil the filter; absent without one, and until the
  /// answer for the first one is there.
  [[nodiscard]] const std::optional<std::unordered_set<std::int64_t>>& matchIDs() const {
    return matchIDs_;
  }
  [[nodiscard]] const PhotoFilter& activeFilter() const { return activeFilter_; }

  void setKindFilter(std::optional<DuplicateKind> kind);
  void clearError();

  /// Searches the whole catalog; does nothing while a search runs. A failure gives
  /// no groups, and a line of the log.
  void rescan();
  /// Narrows what is visible to groups with a photo that fulfils the filter.
  void setScope(const PhotoFilter& filter);
  /// The groups of the kind and in the scope, until the next change.
  [[nodiscard]] std::vector<const DuplicateGroup*> visibleGroups() const;
  /// "12 groups · 14 extra files · 1.25 GB": of the visible groups, what is beyond
  /// the first member of each.
  [[nodiscard]] std::string summaryLine() const;
  void reloadTrashed();

  /// Trashes one member; a group that is left with one goes.
  void trash(const DuplicateMember& member, const std::string& groupID);
  void restore(const DuplicateMember& member);
  /// Keeps the first member and trashes the others in their order. The first
  /// failure ends it; the group stays as it is then until the next scan.
  void merge(const DuplicateGroup& group);
  /// Hides all members but the stack target, or shows all.
  void stack(const DuplicateGroup& group);
  void unstack(const DuplicateGroup& group);
  /// Stacks every group of RAW files and renderings that isn't stacked, whatever
  /// is visible, also those that were split.
  void stackAllRawPairs();

 private:
  struct Outcome;
  struct Job;
  using Work = std::function<void(const Job& job, Outcome& outcome)>;
  using Show = std::function<void(const Outcome& outcome)>;
  void act(Work work, Show show);
  void stackAll(std::vector<DuplicateGroup> groups);
  void finish(const Outcome& outcome, const Show& show);
  void showGroups(std::vector<DuplicateGroup> groups);
  void removeMembers(const std::string& groupID, const std::vector<std::string>& ids);
  [[nodiscard]] DuplicateGroup* find(const std::string& groupID);

  const Options options_;
  ChangeSignal changed_;
  SerialQueue actionQueue_;
  std::stop_source stop_;

  std::vector<DuplicateGroup> groups_;
  std::vector<DuplicateMember> trashed_;
  bool scanning_ = false;
  bool hasScanned_ = false;
  int actions_ = 0;
  std::optional<DuplicateKind> kindFilter_;
  std::optional<std::string> errorMessage_;
  std::optional<std::unordered_set<std::int64_t>> matchIDs_;
  PhotoFilter activeFilter_;
  std::set<std::string> trashedWhileScanning_;  ///< ids that the search may still have seen
  std::uint64_t trashedLoad_ = 0;               ///< the number of the latest one; others are stale

  const MainThreadCallback toMain_{options_.main};  // last: no answer comes once this goes
};

}  // namespace vaultmere
