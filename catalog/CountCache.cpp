// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/CountCache.h"

#include <algorithm>
#include <variant>

#include "catalog/PhotoQueries.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMaxLists = 100;

/// Lists for longer texts than this are counted each time.
constexpr std::size_t kMaxArgument = 1000;

bool isShort(const Predicate& predicate) {
  return std::all_of(predicate.arguments.begin(), predicate.arguments.end(),
                     [](const Predicate::Argument& argument) {
                       const auto* text = std::get_if<std::string>(&argument);
                       return text == nullptr || text->size() <= kMaxArgument;
                     });
}

/// A number that is another one after each commit of another connection.
std::int64_t versionOf(Connection& connection) {
  auto row = connection.prepare("PRAGMA data_version");
  row.step();
  return row.integer(0);
}

}  // namespace

std::int64_t CountCache::count(Connection& connection, const Predicate& predicate) {
  const std::int64_t version = versionOf(connection);
  if (version != version_ || counts_.size() >= kMaxLists) {
    counts_.clear();
    version_ = version;
  }
  if (!isShort(predicate)) {
    return countPhotos(connection, predicate);
  }
  const Key key{predicate.gathering, predicate.arguments};
  const auto known = counts_.find(key);
  if (known != counts_.end()) {
    return known->second;
  }
  return counts_[key] = countPhotos(connection, predicate);
}

}  // namespace vaultmere
