// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/StackQueries.h"

#include <algorithm>

namespace vaultmere {
namespace {

struct Member {
  std::string id;
  std::optional<std::string> stackedUnder;
  bool isExempt = false;
};

/// Those that have a row and aren't trashed.
std::vector<Member> membersOf(Connection& connection, const Stack& stack) {
  std::vector<Member> members;
  for (const std::string& id : stack.members) {
    auto row = connection.prepare(
        "SELECT stackedUnder, stackExempt FROM Photo WHERE id = ? AND trashedAt IS NULL");
    row.bind(1, std::string_view(id));
    if (row.step()) {
      members.push_back(
          {id, row.isNull(0) ? std::nullopt : std::optional(row.text(0)), row.integer(1) != 0});
    }
  }
  return members;
}

/// True when the row has changed.
bool place(Connection& connection, const Member& member, const std::optional<std::string>& under,
           bool isExempt) {
  if (member.stackedUnder == under && member.isExempt == isExempt) {
    return false;
  }
  auto change =
      connection.prepare("UPDATE Photo SET stackedUnder = ?, stackExempt = ? WHERE id = ?");
  if (under) {
    change.bind(1, std::string_view(*under));
  } else {
    change.bind(1, nullptr);
  }
  change.bind(2, isExempt).bind(3, std::string_view(member.id)).step();
  return true;
}

bool isTouched(const Member& member) { return member.stackedUnder || member.isExempt; }

/// False when the target can't be seen.
bool stackOne(Connection& connection, const Stack& stack, StackedBy by, StackedRows& result) {
  const auto members = membersOf(connection, stack);
  if (std::none_of(members.begin(), members.end(),
                   [&](const auto& member) { return member.id == stack.target; })) {
    return false;
  }
  if (by == StackedBy::program && std::any_of(members.begin(), members.end(), isTouched)) {
    return true;
  }
  for (const Member& member : members) {
    const auto under = member.id == stack.target ? std::nullopt : std::optional(stack.target);
    if (under && member.stackedUnder != under) {
      ++result.hidden;
    }
    if (place(connection, member, under, false)) {
      result.changed.push_back(member.id);
    }
  }
  return true;
}

}  // namespace

StackedRows stackPhotos(Connection& connection, std::span<const Stack> stacks, StackedBy by) {
  Transaction transaction(connection);
  StackedRows result;
  for (std::size_t number = 0; number < stacks.size(); ++number) {
    if (!stackOne(connection, stacks[number], by, result)) {
      result.withoutTarget.push_back(number);
    }
  }
  transaction.commit();
  return result;
}

std::vector<std::string> unstackPhotos(Connection& connection, std::span<const std::string> ids) {
  Transaction transaction(connection);
  std::vector<std::string> changed;
  for (const Member& member : membersOf(connection, {{}, {ids.begin(), ids.end()}})) {
    if (place(connection, member, std::nullopt, true)) {
      changed.push_back(member.id);
    }
  }
  transaction.commit();
  return changed;
}

}  // namespace vaultmere
