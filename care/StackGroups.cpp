// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/StackGroups.h"

#include <algorithm>

#include "care/PhotoTrash.h"
#include "catalog/CatalogError.h"
#include "catalog/PhotoQueries.h"

namespace vaultmere {
namespace {

/// So many groups are quickly written: imports wait for the store meanwhile.
constexpr std::size_t kGroupsInTransaction = 200;

/// Whether the original isn't there, as far as that can be told.
bool isGone(const Photo& photo, const ArchiveRoot& root) {
  try {
    return isInReach(root) && !findOriginal(photo, root);
  } catch (const FileError&) {
    return false;
  }
}

void stackSome(CatalogContext& catalog, const std::optional<ArchiveRoot>& root,
               std::span<const DuplicateGroup> groups, StackedBy by, StackedGroups& result) {
  std::vector<std::string> targets;
  for (const DuplicateGroup& group : groups) {
    targets.push_back(stackTarget(group.members).id);
  }
  const auto photos =
      catalog.perform([&](Connection& connection) { return fetchPhotos(connection, targets); });
  std::vector<Stack> stacks;
  std::vector<const DuplicateGroup*> taken;
  const auto refuse = [&](const Photo& photo) {
    if (!result.error) {
      result.error = TrashError::originalNotFound(photo).what();
    }
  };
  const auto photoOf = [&](const std::string& id) {
    const auto found = std::find_if(photos.begin(), photos.end(),
                                    [&](const Photo& photo) { return photo.id == id; });
    return found != photos.end() ? *found : Photo();
  };
  for (std::size_t number = 0; number < groups.size(); ++number) {
    const Photo target = photoOf(targets[number]);
    if (root && isGone(target, *root)) {
      refuse(target);
      continue;
    }
    Stack& stack = stacks.emplace_back(Stack{targets[number], {}});
    for (const DuplicateMember& member : groups[number].members) {
      stack.members.push_back(member.id);
    }
    taken.push_back(&groups[number]);
  }
  StackedRows rows =
      catalog.perform([&](Connection& connection) { return stackPhotos(connection, stacks, by); });
  result.hidden += rows.hidden;
  result.changed.insert(result.changed.end(), rows.changed.begin(), rows.changed.end());
  for (std::size_t number = 0; number < stacks.size(); ++number) {
    if (std::binary_search(rows.withoutTarget.begin(), rows.withoutTarget.end(), number)) {
      refuse(photoOf(stacks[number].target));
    } else {
      result.done.push_back(taken[number]->id);
    }
  }
}

}  // namespace

StackedGroups stackGroups(CatalogContext& catalog, const std::optional<ArchiveRoot>& root,
                          std::span<const DuplicateGroup> groups, StackedBy by,
                          const std::stop_token& stop) {
  StackedGroups result;
  try {
    while (!groups.empty() && !stop.stop_requested()) {
      const auto some = groups.first(std::min(groups.size(), kGroupsInTransaction));
      stackSome(catalog, root, some, by, result);
      groups = groups.subspan(some.size());
    }
  } catch (const CatalogError& error) {
    result.error = error.what();
  }
  return result;
}

}  // namespace vaultmere
