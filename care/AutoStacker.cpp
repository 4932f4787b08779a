// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/AutoStacker.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

#include "care/StackGroups.h"
#include "catalog/CatalogError.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// True for "8D3F0A52-….": the form of `newUuid`.
bool isUuid(std::string_view text) {
  constexpr std::size_t length = 36;
  if (text.size() != length) {
    return false;
  }
  for (std::size_t at = 0; at < length; ++at) {
    const bool isHyphen = at == 8 || at == 13 || at == 18 || at == 23;
    const char c = text[at];
    if (isHyphen ? c != '-' : !isDigit(c) && !(c >= 'A' && c <= 'F')) {
      return false;
    }
  }
  return true;
}

/// The digits at the end of a file's stem, without zeros in front: "12" for
/// "IMG_0012.JPG". A hyphen and a UUID behind the stem, from staging, don't count.
std::string numberOf(const std::string& filename) {
  std::string stem = std::filesystem::path(filename).stem().string();
  constexpr std::size_t suffix = 37;
  if (stem.size() > suffix && stem[stem.size() - suffix] == '-' &&
      isUuid(std::string_view(stem).substr(stem.size() - suffix + 1))) {
    stem.resize(stem.size() - suffix);
  }
  const auto digits = std::find_if_not(stem.rbegin(), stem.rend(), isDigit).base();
  const auto first = std::find_if(digits, stem.end() - (digits == stem.end() ? 0 : 1),
                                  [](char c) { return c != '0'; });
  return {first, stem.end()};
}

bool isSeries(const DuplicateGroup& group) {
  std::map<std::string_view, std::string> numbers;
  for (const DuplicateMember& member : group.members) {
    std::string number = numberOf(member.filename);
    if (number.empty()) {
      continue;
    }
    const auto [known, isNew] = numbers.emplace(member.ext, number);
    if (!isNew && known->second != number) {
      return true;
    }
  }
  return false;
}

StackedGroups stackPairs(const VaultmereCatalog& catalog, const std::optional<ArchiveRoot>& root,
                         const std::stop_token& stop) {
  try {
    const auto context = catalog.newBackgroundContext();
    auto groups = context->perform([&](Connection& connection) {
      const Interruptible scope(connection, stop);
      return scanDuplicates(connection);
    });
    std::erase_if(groups, [](const auto& group) { return !mayStackByItself(group); });
    return stackGroups(*context, root, groups, StackedBy::program, stop);
  } catch (const CatalogError& error) {
    StackedGroups none;
    none.error = error.what();
    return none;
  }
}

}  // namespace

bool mayStackByItself(const DuplicateGroup& group) {
  const auto& members = group.members;
  return (group.kind == DuplicateKind::rawPair || group.kind == DuplicateKind::formatPair) &&
         !group.isStacked() &&
         !std::all_of(members.begin(), members.end(), [](const auto& m) { return m.burst; }) &&
         std::none_of(members.begin(), members.end(), [](const auto& m) { return m.exempt; }) &&
         !isSeries(group);
}

void AutoStacker::run(std::shared_ptr<const VaultmereCatalog> catalog,
                      std::optional<ArchiveRoot> root,
                      std::function<void(std::size_t hidden)> done) {
  if (std::exchange(isRunning_, true)) {
    return;
  }
  pool_.post([catalog, root = std::move(root), stop = stop_.get_token(),
              tell = toMain_([this, catalog, done = std::move(done)](const StackedGroups& stacked) {
                isRunning_ = false;
                if (stacked.hidden > 0) {
                  logLine(fmt::format("Vaultmere: auto-stacked {} duplicate pair members",
                                      stacked.hidden));
                  catalog->rowsChanged().emit(stacked.changed);
                }
                done(stacked.hidden);
              })] {
    StackedGroups stacked = stackPairs(*catalog, root, stop);
    if (stacked.error && !stop.stop_requested()) {
      logLine(fmt::format("Vaultmere: not all pairs stacked — {}", *stacked.error));
    }
    tell(std::move(stacked));
  });
}

}  // namespace vaultmere
