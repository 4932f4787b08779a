// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "media/Bitmap.h"

namespace vaultmere {

/// Pictures in memory by name. Past either limit, those go that nobody has
/// asked for longest; one that is larger than the limit is never kept. Any
/// thread.
class BitmapCache {
 public:
  struct Limits {
    std::size_t count = 0;
    std::size_t bytes = 0;  ///< of pixels
  };

  explicit BitmapCache(Limits limits) : limits_(limits) {}

  /// Null when there is none of this name.
  [[nodiscard]] std::shared_ptr<const Bitmap> find(const std::string& name);
  /// Replaces one of the same name.
  void insert(const std::string& name, std::shared_ptr<const Bitmap> bitmap);
  void clear();

 private:
  struct Entry {
    std::string name;
    std::shared_ptr<const Bitmap> bitmap;
  };
  using Entries = std::list<Entry>;

  void remove(Entries::iterator entry);

  const Limits limits_;
  std::mutex mutex_;  // guards the rest
  Entries entries_;   ///< the one asked for last in front
  std::unordered_map<std::string, Entries::iterator> byName_;
  std::size_t bytes_ = 0;
};

}  // namespace vaultmere
