// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "care/MergeInto.h"
#include "care/VisualGrouping.h"
#include "catalog/PhotoFilter.h"
#include "catalog/VaultmereCatalog.h"
#include "media/MediaService.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/SerialQueue.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// Identical pictures that are stored as different files, whenever they were taken: a
/// search on the user's request, its groups, and their merging. The groups are those of
/// the search's moment; later imports and changes don't show in them.
///
/// Main thread only; the work runs on pools, one search and one merge at a time, and
/// results come back posted. May be destroyed while work runs: the search ends at its next
/// batch, a merge behind the photo that is being moved. `changed` is emitted when anything
/// that a getter shows has changed, at most once a turn of the event loop.
class VisualDupeModel {
 public:
  struct Dependencies {
    MainThread& main;
    std::shared_ptr<const VaultmereCatalog> catalog;
    std::shared_ptr<ThumbnailProvider> thumbnails;
    MediaService& media;
    ThumbnailProvider::Pools
        pools;  ///< thumbnails are hashed on the first, originals moved on the other
    MergeInto mergeInto;
  };

  explicit VisualDupeModel(Dependencies dependencies);
  ~VisualDupeModel();
  VisualDupeModel(const VisualDupeModel&) = delete;
  VisualDupeModel& operator=(const VisualDupeModel&) = delete;

  [[nodiscard]] ChangeSignal& changed() { return changed_; }

  /// A search is under way, also one that has been cancelled and hasn't ended yet.
  [[nodiscard]] bool running() const { return running_; }
  /// Of the pictures that the search has to hash, how many it has gone through.
  [[nodiscard]] std::size_t hashed() const { return hashed_; }
  [[nodiscard]] std::size_t toHash() const { return toHash_; }
  /// Those of the last search that wasn't cancelled, without the merged ones; the most
  /// reclaimable bytes first.
  [[nodiscard]] const std::deque<VisualGroup>& groups() const { return groups_; }
  /// A search has ended, and its result hasn't been put away.
  [[nodiscard]] bool showResults() const { return showResults_; }
  /// Groups are being merged.
  [[nodiscard]] bool merging() const { return !merging_.empty(); }
  /// What went wrong in the last merge that had a failure, a line for each reason.
  [[nodiscard]] const std::optional<std::string>& errorMessage() const { return errorMessage_; }

  /// Searches what the filter shows; the whole catalog, hidden photos of stacks too, when
  /// none is active. Does nothing while a search is under way.
  void start(const PhotoFilter& filter);
  /// Ends the search behind its present batch. Its hashes are kept, its groups aren't shown.
  void cancel() { searchStop_.request_stop(); }

  /// Moves all members but the first to the trash. One that can't be moved stays where it
  /// is, and the next one's turn comes. The group goes in any case, and the changed rows are
  /// announced. Does nothing for one that is gone or
  /// that is being merged.
  void mergeGroup(const std::string& id);
  /// Merges all groups, in their order.
  void mergeAll();

  /// "2 groups · 3 redundant files · 12.3 MB"
  [[nodiscard]] std::string summaryLine() const;

  void putResultsAway();
  void clearError();

 private:
  using Groups = std::deque<VisualGroup>;
  void showGroups(const std::shared_ptr<Groups>& groups);
  void beginMerge(const VisualGroup& group);
  struct Merged {
    std::vector<std::string> changedIds;
    std::vector<std::string> errors;  ///< each once
  };
  static Merged mergeMembers(const std::vector<std::string>& ids, const MergeInto& mergeInto,
                             const std::stop_token& stop);
  void finishMerge(const std::string& id, const Merged& merged);

  const Dependencies dependencies_;
  ChangeSignal changed_{dependencies_.main};
  bool running_ = false;
  std::size_t hashed_ = 0;
  std::size_t toHash_ = 0;
  std::deque<VisualGroup> groups_;  ///< merges take them off the front
  bool showResults_ = false;
  std::optional<std::string> errorMessage_;
  std::set<std::string> merging_;  ///< ids of groups
  std::stop_source searchStop_;
  std::stop_source mergeStop_;
  SerialQueue merges_{dependencies_.pools.originals};
  const MainThreadCallback toMain_{dependencies_.main};  // last: no answer comes once this goes
};

}  // namespace vaultmere
