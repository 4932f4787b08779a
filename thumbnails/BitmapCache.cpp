// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/BitmapCache.h"

#include <iterator>
#include <utility>

namespace vaultmere {

std::shared_ptr<const Bitmap> BitmapCache::find(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto found = byName_.find(name);
  if (found == byName_.end()) {
    return nullptr;
  }
  entries_.splice(entries_.begin(), entries_, found->second);
  return found->second->bitmap;
}

void BitmapCache::insert(const std::string& name, std::shared_ptr<const Bitmap> bitmap) {
  const std::lock_guard lock(mutex_);
  if (const auto found = byName_.find(name); found != byName_.end()) {
    remove(found->second);
  }
  const std::size_t bytes = bitmap->pixels.size();
  if (bytes > limits_.bytes) {
    return;
  }
  entries_.push_front({name, std::move(bitmap)});
  byName_.emplace(name, entries_.begin());
  bytes_ += bytes;
  while (entries_.size() > limits_.count || bytes_ > limits_.bytes) {
    remove(std::prev(entries_.end()));
  }
}

void BitmapCache::clear() {
  const std::lock_guard lock(mutex_);
  byName_.clear();
  entries_.clear();
  bytes_ = 0;
}

void BitmapCache::remove(Entries::iterator entry) {
  bytes_ -= entry->bitmap->pixels.size();
  byName_.erase(entry->name);
  entries_.erase(entry);
}

}  // namespace vaultmere
