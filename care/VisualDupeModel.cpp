// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/VisualDupeModel.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "care/VisualScan.h"
#include "catalog/CatalogError.h"
#include "platform/ByteText.h"
#include "platform/Log.h"

namespace vaultmere {
VisualDupeModel::VisualDupeModel(Dependencies dependencies)
    : dependencies_(std::move(dependencies)) {}

VisualDupeModel::~VisualDupeModel() {
  searchStop_.request_stop();
  mergeStop_.request_stop();
}

void VisualDupeModel::start(const PhotoFilter& filter) {
  if (std::exchange(running_, true)) {
    return;
  }
  hashed_ = 0;
  toHash_ = 0;
  changed_.notify();
  searchStop_ = std::stop_source();
  VisualScan::Listener listener{
      toMain_([this](std::size_t count) {
        toHash_ = count;
        changed_.notify();
      }),
      toMain_([this](std::size_t count) {
        hashed_ = count;
        changed_.notify();
      }),
      [show = toMain_([this](const std::shared_ptr<Groups>& groups) { showGroups(groups); })](
          std::optional<std::vector<VisualGroup>> groups) {
        show(groups ? std::make_shared<Groups>(std::make_move_iterator(groups->begin()),
                                               std::make_move_iterator(groups->end()))
                    : nullptr);
      }};
  // A context opens files: not here.
  dependencies_.pools.cached.post(
      [catalog = dependencies_.catalog, thumbnails = dependencies_.thumbnails,
       media = &dependencies_.media, pool = &dependencies_.pools.cached, filter,
       stop = searchStop_.get_token(), listener = std::move(listener)] {
        try {
          VisualScan{catalog->newBackgroundContext(), thumbnails, *media, *pool, filter}.run(
              stop, listener);
        } catch (const CatalogError& error) {
          logLine(fmt::format("Vaultmere: visual duplicates — {}", error.what()));
          listener.ended(std::vector<VisualGroup>());
        }
      });
}

void VisualDupeModel::showGroups(const std::shared_ptr<Groups>& groups) {
  running_ = false;
  if (groups && !searchStop_.stop_requested()) {
    groups_ = std::move(*groups);
    showResults_ = true;
  }
  changed_.notify();
}

void VisualDupeModel::mergeGroup(const std::string& id) {
  const auto group =
      std::find_if(groups_.begin(), groups_.end(), [&](const auto& each) { return each.id == id; });
  if (group != groups_.end()) {
    beginMerge(*group);
  }
}

void VisualDupeModel::mergeAll() {
  for (const VisualGroup& group : groups_) {
    beginMerge(group);
  }
  merges_.async([done = toMain_([this] {
                   showResults_ = !groups_.empty();
                   changed_.notify();
                 })] { done(); });
}

void VisualDupeModel::beginMerge(const VisualGroup& group) {
  if (group.members.size() < 2 || !merging_.insert(group.id).second) {
    return;
  }
  std::vector<std::string> ids;
  ids.reserve(group.members.size());
  for (const DuplicateMember& member : group.members) {
    ids.push_back(member.id);
  }
  merges_.async(
      [ids = std::move(ids), mergeInto = dependencies_.mergeInto, stop = mergeStop_.get_token(),
       finish = toMain_([this, id = group.id](const Merged& merged) { finishMerge(id, merged); })] {
        finish(mergeMembers(ids, mergeInto, stop));
      });
  changed_.notify();
}

VisualDupeModel::Merged VisualDupeModel::mergeMembers(const std::vector<std::string>& ids,
                                                      const MergeInto& mergeInto,
                                                      const std::stop_token& stop) {
  Merged merged;
  for (std::size_t i = 1; i < ids.size() && !stop.stop_requested(); ++i) {
    MergedPhoto photo = mergeInto(ids.front(), ids[i]);
    merged.changedIds.insert(merged.changedIds.end(), photo.changedIds.begin(),
                             photo.changedIds.end());
    // A bad keeper is the same reason for all of them.
    if (photo.error && (merged.errors.empty() || merged.errors.back() != *photo.error)) {
      merged.errors.push_back(std::move(*photo.error));
    }
  }
  return merged;
}

void VisualDupeModel::finishMerge(const std::string& id, const Merged& merged) {
  merging_.erase(id);
  const auto group =
      std::find_if(groups_.begin(), groups_.end(), [&](const auto& each) { return each.id == id; });
  if (group != groups_.end()) {
    groups_.erase(group);
  }
  if (!merged.errors.empty()) {
    errorMessage_ = fmt::format("{}", fmt::join(merged.errors, "\n"));
  }
  if (!merged.changedIds.empty()) {
    dependencies_.catalog->rowsChanged().emit(merged.changedIds);
  }
  changed_.notify();
}

std::string VisualDupeModel::summaryLine() const {
  std::size_t extra = 0;
  std::int64_t bytes = 0;
  for (const VisualGroup& group : groups_) {
    extra += group.members.size() - 1;
    bytes += reclaimableBytes(group.members);
  }
  return fmt::format("{} groups · {} redundant files · {}", groups_.size(), extra, byteText(bytes));
}

void VisualDupeModel::putResultsAway() {
  showResults_ = false;
  changed_.notify();
}

void VisualDupeModel::clearError() {
  errorMessage_.reset();
  changed_.notify();
}

}  // namespace vaultmere
