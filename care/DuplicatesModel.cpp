// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/DuplicatesModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "care/PhotoTrash.h"
#include "care/StackGroups.h"
#include "catalog/CatalogError.h"
#include "catalog/TrashQueries.h"
#include "platform/ByteText.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

void append(std::vector<std::string>& list, std::vector<std::string> more) {
  list.insert(list.end(), std::move_iterator(more.begin()), std::move_iterator(more.end()));
}

}  // namespace

/// What an action works with, on a pool thread.
struct DuplicatesModel::Job {
  std::shared_ptr<CatalogContext> catalog;
  std::optional<ArchiveRoot> root;
  std::function<bool(const std::string& id)> isDamaged;
  std::stop_token stop;

  [[nodiscard]] PhotoTrash trash() const {
    const auto now = [] { return CatalogDate::of(std::chrono::system_clock::now()); };
    return PhotoTrash({root, catalog, now, isDamaged, stop});
  }
};

struct DuplicatesModel::Outcome {
  std::vector<std::string> changed;  ///< ids of rows, announced also after a failure
  std::vector<std::string> trashed;  ///< ids of photos that are in the trash now
  std::vector<std::string> done;     ///< ids of groups
  std::optional<std::string> error;
};

DuplicatesModel::DuplicatesModel(Options options)
    : options_(std::move(options)), changed_(options_.main), actionQueue_(options_.originalsPool) {}

DuplicatesModel::~DuplicatesModel() { stop_.request_stop(); }

void DuplicatesModel::setKindFilter(std::optional<DuplicateKind> kind) {
  if (std::exchange(kindFilter_, kind) != kind) {
    changed_.notify();
  }
}

void DuplicatesModel::clearError() {
  if (std::exchange(errorMessage_, std::nullopt)) {
    changed_.notify();
  }
}

// MARK: Reading

void DuplicatesModel::rescan() {
  if (std::exchange(scanning_, true)) {
    return;
  }
  changed_.notify();
  options_.catalogPool.post(
      [catalog = options_.catalog, stop = stop_.get_token(),
       show = toMain_([this](const auto& groups) { showGroups(std::move(*groups)); })] {
        auto groups = std::make_shared<std::vector<DuplicateGroup>>();  // large: not copied
        try {
          *groups = catalog->newBackgroundContext()->perform([&](Connection& connection) {
            const Interruptible scope(connection, stop);
            return scanDuplicates(connection);
          });
        } catch (const CatalogError& error) {
          logLine(fmt::format("Vaultmere: no search for duplicates — {}", error.what()));
        }
        show(groups);
      });
}

void DuplicatesModel::showGroups(std::vector<DuplicateGroup> groups) {
  groups_ = std::move(groups);
  scanning_ = false;
  hasScanned_ = true;
  const auto trashed = std::exchange(trashedWhileScanning_, {});
  if (!trashed.empty()) {
    for (DuplicateGroup& group : groups_) {
      std::erase_if(group.members, [&](const auto& member) { return trashed.contains(member.id); });
    }
    std::erase_if(groups_, [](const auto& group) { return group.members.size() < 2; });
  }
  changed_.notify();
  reloadTrashed();
}

void DuplicatesModel::reloadTrashed() {
  const std::uint64_t number = ++trashedLoad_;
  options_.catalogPool.post(
      [catalog = options_.catalog,
       show = toMain_([this, number](const std::vector<DuplicateMember>& trashed) {
         if (number == trashedLoad_ && std::exchange(trashed_, trashed) != trashed) {
           changed_.notify();
         }
       })] {
        std::vector<DuplicateMember> members;
        try {
          const auto photos = catalog->newBackgroundContext()->perform(
              [](Connection& connection) { return fetchTrashed(connection, kTrashedLimit); });
          for (const Photo& photo : photos) {
            members.push_back(memberOf(0, photo));
            members.back().stackedUnder.reset();
          }
        } catch (const CatalogError& error) {
          logLine(fmt::format("Vaultmere: trash not listed — {}", error.what()));
        }
        show(members);
      });
}

void DuplicatesModel::setScope(const PhotoFilter& filter) {
  if (filter == activeFilter_ && (!filter.isActive() || matchIDs_)) {
    return;
  }
  activeFilter_ = filter;
  changed_.notify();
  if (!filter.isActive()) {
    matchIDs_.reset();
    return;
  }
  using Keys = std::unordered_set<std::int64_t>;
  options_.catalogPool.post([catalog = options_.catalog, filter, stop = stop_.get_token(),
                             show = toMain_([this, filter](const std::shared_ptr<Keys>& keys) {
                               if (filter == activeFilter_) {
                                 matchIDs_ = std::move(*keys);
                                 changed_.notify();
                               }
                             })] {
    auto keys = std::make_shared<Keys>();
    try {
      const auto found = catalog->newBackgroundContext()->perform([&](Connection& connection) {
        const Interruptible scope(connection, stop);
        return fetchKeys(connection, filter.predicate());
      });
      keys->insert(found.begin(), found.end());
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: duplicates not narrowed — {}", error.what()));
    }
    show(keys);
  });
}

std::vector<const DuplicateGroup*> DuplicatesModel::visibleGroups() const {
  std::vector<const DuplicateGroup*> visible;
  for (const DuplicateGroup& group : groups_) {
    const bool isOfKind = !kindFilter_ || group.kind == *kindFilter_;
    const auto matches = [&](const auto& member) { return matchIDs_->contains(member.objectID); };
    if (isOfKind &&
        (!matchIDs_ || std::any_of(group.members.begin(), group.members.end(), matches))) {
      visible.push_back(&group);
    }
  }
  return visible;
}

std::string DuplicatesModel::summaryLine() const {
  const auto visible = visibleGroups();
  std::size_t extra = 0;
  std::int64_t bytes = 0;
  for (const DuplicateGroup* group : visible) {
    extra += group->members.size() - 1;
    bytes += reclaimableBytes(group->members);
  }
  return fmt::format("{} groups · {} extra files · {}", visible.size(), extra, byteText(bytes));
}

// MARK: Actions

void DuplicatesModel::act(Work work, Show show) {
  ++actions_;
  changed_.notify();
  actionQueue_.async([catalog = options_.catalog, root = options_.archive(),
                      isDamaged = options_.isDamaged, stop = stop_.get_token(),
                      work = std::move(work),
                      done = toMain_([this, show = std::move(show)](const Outcome& outcome) {
                        finish(outcome, show);
                      })] {
    Outcome outcome;
    try {
      work({catalog->newBackgroundContext(), root, isDamaged, stop}, outcome);
    } catch (const std::exception& error) {
      outcome.error = error.what();
    }
    done(outcome);
  });
}

void DuplicatesModel::finish(const Outcome& outcome, const Show& show) {
  --actions_;
  if (scanning_) {
    trashedWhileScanning_.insert(outcome.trashed.begin(), outcome.trashed.end());
  }
  show(outcome);
  if (outcome.error) {
    errorMessage_ = outcome.error;
  }
  if (!outcome.changed.empty()) {
    options_.catalog->rowsChanged().emit(outcome.changed);
  }
  reloadTrashed();
  changed_.notify();
}

void DuplicatesModel::trash(const DuplicateMember& member, const std::string& groupID) {
  act(
      [id = member.id](const Job& job, Outcome& outcome) {
        outcome.changed = job.trash().trash(id);
        outcome.trashed = {id};
      },
      [this, groupID](const Outcome& outcome) { removeMembers(groupID, outcome.trashed); });
}

void DuplicatesModel::restore(const DuplicateMember& member) {
  act([id = member.id](const Job& job,
                       Outcome& outcome) { outcome.changed = job.trash().restore(id); },
      [this, id = member.id](const Outcome& outcome) {
        if (!outcome.error) {
          std::erase_if(trashed_, [&](const auto& trashed) { return trashed.id == id; });
          trashedWhileScanning_.erase(id);
        }
      });
}

void DuplicatesModel::merge(const DuplicateGroup& group) {
  act(
      [members = group.members](const Job& job, Outcome& outcome) {
        for (std::size_t i = 1; i < members.size(); ++i) {
          append(outcome.changed, job.trash().mergeInto(members.front().id, members[i].id));
          outcome.trashed.push_back(members[i].id);
        }
      },
      [this, id = group.id](const Outcome& outcome) {
        if (!outcome.error) {
          removeMembers(id, outcome.trashed);
        }
      });
}

void DuplicatesModel::stack(const DuplicateGroup& group) { stackAll({group}); }

void DuplicatesModel::stackAllRawPairs() {
  std::vector<DuplicateGroup> pairs;
  std::copy_if(groups_.begin(), groups_.end(), std::back_inserter(pairs), [](const auto& group) {
    return group.kind == DuplicateKind::rawPair && !group.isStacked();
  });
  stackAll(std::move(pairs));
}

void DuplicatesModel::stackAll(std::vector<DuplicateGroup> groups) {
  act(
      [groups = std::move(groups)](const Job& job, Outcome& outcome) {
        StackedGroups stacked =
            stackGroups(*job.catalog, job.root, groups, StackedBy::user, job.stop);
        outcome.changed = std::move(stacked.changed);
        outcome.done = std::move(stacked.done);
        outcome.error = std::move(stacked.error);
      },
      [this](const Outcome& outcome) {
        const std::set<std::string> done(outcome.done.begin(), outcome.done.end());
        for (DuplicateGroup& group : groups_) {
          if (done.contains(group.id)) {
            const std::string target = stackTarget(group.members).id;
            for (DuplicateMember& member : group.members) {
              member.stackedUnder = member.id == target ? std::nullopt : std::optional(target);
            }
          }
        }
      });
}

void DuplicatesModel::unstack(const DuplicateGroup& group) {
  std::vector<std::string> ids;
  for (const DuplicateMember& member : group.members) {
    ids.push_back(member.id);
  }
  act(
      [ids = std::move(ids)](const Job& job, Outcome& outcome) {
        outcome.changed = job.catalog->perform(
            [&](Connection& connection) { return unstackPhotos(connection, ids); });
      },
      [this, id = group.id](const Outcome& outcome) {
        if (DuplicateGroup* shown = outcome.error ? nullptr : find(id)) {
          for (DuplicateMember& member : shown->members) {
            member.stackedUnder.reset();
          }
        }
      });
}

void DuplicatesModel::removeMembers(const std::string& groupID,
                                    const std::vector<std::string>& ids) {
  if (DuplicateGroup* group = find(groupID)) {
    std::erase_if(group->members, [&](const auto& member) {
      return std::find(ids.begin(), ids.end(), member.id) != ids.end();
    });
    if (group->members.size() < 2) {
      groups_.erase(groups_.begin() + (group - groups_.data()));
    }
  }
}

DuplicateGroup* DuplicatesModel::find(const std::string& groupID) {
  const auto found = std::find_if(groups_.begin(), groups_.end(),
                                  [&](const auto& group) { return group.id == groupID; });
  return found != groups_.end() ? &*found : nullptr;
}

}  // namespace vaultmere
