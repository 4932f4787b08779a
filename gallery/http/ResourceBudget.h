// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <unordered_map>

namespace vaultmere {

/// A limit on what connections take together (bytes, descriptors), and who has
/// to go past it: the one that has been silent longest. A plain value; each
/// operation takes the same short time however many holders there are.
template <typename Holder>
class ResourceBudget {
 public:
  explicit ResourceBudget(std::size_t limit) : limit_(limit) {}

  /// Says what a holder takes now, which also says that it isn't silent. One
  /// that `isBusy` with its request counts, but isn't picked: it's not the
  /// client who keeps it waiting.
  void set(Holder holder, std::size_t amount, bool isBusy) {
    if (amount == 0) {
      forget(holder);
      return;
    }
    const auto [place, isNew] = places_.try_emplace(holder);
    if (isNew) {
      place->second = silent_.insert(silent_.end(), Entry{holder, 0, false});
    }
    const auto entry = place->second;
    total_ += amount - entry->amount;
    entry->amount = amount;
    auto& target = isBusy ? busy_ : silent_;
    target.splice(target.end(), entry->isBusy ? busy_ : silent_, entry);
    entry->isBusy = isBusy;
  }

  void forget(Holder holder) {
    if (const auto place = places_.find(holder); place != places_.end()) {
      total_ -= place->second->amount;
      (place->second->isBusy ? busy_ : silent_).erase(place->second);
      places_.erase(place);
    }
  }

  [[nodiscard]] std::size_t total() const { return total_; }
  [[nodiscard]] bool isExceeded() const { return total_ > limit_; }

  /// The holder that has been silent longest, but never the latest one: what
  /// it has just been given, it may keep. Absent when there is nobody else.
  [[nodiscard]] std::optional<Holder> leastRecentlyActive() const {
    return silent_.size() > 1 ? std::optional(silent_.front().holder) : std::nullopt;
  }

 private:
  struct Entry {
    Holder holder;
    std::size_t amount;
    bool isBusy;
  };

  std::size_t limit_;
  std::size_t total_ = 0;
  std::list<Entry> silent_;  // the one that has been silent longest first
  std::list<Entry> busy_;
  std::unordered_map<Holder, typename std::list<Entry>::iterator> places_;
};

}  // namespace vaultmere
