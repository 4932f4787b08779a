// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "gallery/GalleryAPI.h"

namespace vaultmere {

/// Keeps the one document of statistics for a while, and has it computed once
/// however many requests for it come meanwhile. An incomplete one is sent to
/// those requests, and not kept. Any thread. Kept in a shared_ptr.
class StatsCache : public std::enable_shared_from_this<StatsCache> {
 public:
  using Bytes = std::shared_ptr<const std::string>;
  using Compute = std::function<GalleryAPI::Statistics()>;
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// How old a document may be; changes of the catalog don't count.
  static constexpr std::chrono::seconds kLifetime{30};

  /// `compute` runs on whatever thread `post` takes it to. It doesn't throw.
  StatsCache(Compute compute, std::function<void(std::function<void()>)> post, Clock clock)
      : compute_(std::move(compute)), post_(std::move(post)), clock_(std::move(clock)) {}

  /// Calls back once with the document: at once on this thread when a recent one
  /// is kept, else, without holding a thread, from where it was computed.
  void get(std::function<void(Bytes)> callback);

 private:
  void refresh();

  const Compute compute_;
  const std::function<void(std::function<void()>)> post_;
  const Clock clock_;

  std::mutex mutex_;  // guards the rest
  Bytes bytes_;       // null when none may be kept
  std::chrono::steady_clock::time_point madeAt_;
  std::vector<std::function<void(Bytes)>> waiting_;
};

}  // namespace vaultmere
