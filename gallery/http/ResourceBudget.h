// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <list>
#include <optional>
#include <unordered_map>

namespace vaultmere {

/// A limit on what connections take together (bytes, descriptors), and the
/// order in which they are evicted past it: the least recently active one
/// first. A plain value; each operation takes the same short time however many
/// holders there are.
template <typename Holder>
class ResourceBudget {
 public:
  explicit ResourceBudget(std::size_t limit) : limit_(limit) {}

  /// Says what a holder takes now, which also makes it the most recently active
  /// one. One that `isBusy` with its request counts, but isn't evicted: it
  /// doesn't wait for its client.
  void set(Holder holder, std::size_t amount, bool isBusy) {
    if (amount == 0) {
      forget(holder);
      return;
    }
    const auto [place, isNew] = places_.try_emplace(holder);
    if (isNew) {
      place->second = idle_.insert(idle_.end(), Entry{holder, 0, false});
    }
    const auto entry = place->second;
    total_ += amount - entry->amount;
    entry->amount = amount;
    auto& target = isBusy ? busy_ : idle_;
    target.splice(target.end(), entry->isBusy ? busy_ : idle_, entry);
    entry->isBusy = isBusy;
  }

  void forget(Holder holder) {
    if (const auto place = places_.find(holder); place != places_.end()) {
      total_ -= place->second->amount;
      (place->second->isBusy ? busy_ : idle_).erase(place->second);
      places_.erase(place);
    }
  }

  [[nodiscard]] std::size_t total() const { return total_; }
  [[nodiscard]] bool isExceeded() const { return total_ > limit_; }

  /// The holder to evict, but never the latest one: what it has just been given,
  /// it may keep. Absent when there is no other.
  [[nodiscard]] std::optional<Holder> leastRecentlyActive() const {
    return idle_.size() > 1 ? std::optional(idle_.front().holder) : std::nullopt;
  }

 private:
  struct Entry {
    Holder holder;
    std::size_t amount;
    bool isBusy;
  };

  std::size_t limit_;
  std::size_t total_ = 0;
  std::list<Entry> idle_;  // the least recently active one first
  std::list<Entry> busy_;
  std::unordered_map<Holder, typename std::list<Entry>::iterator> places_;
};

}  // namespace vaultmere
