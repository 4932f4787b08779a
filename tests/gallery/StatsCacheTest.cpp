// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "gallery/StatsCache.h"

namespace vaultmere {
namespace {

using namespace std::chrono_literals;

/// A cache whose clock and whose work are the test's.
class StatsCacheTest : public testing::Test {
 protected:
  void ask() {
    cache_->get([this](const StatsCache::Bytes& bytes) { documents_.push_back(*bytes); });
  }

  void work() {
    for (const auto& task : std::exchange(tasks_, {})) {
      task();
    }
  }

  std::chrono::steady_clock::time_point now_{1h};
  int computed_ = 0;
  bool isComplete_ = true;
  std::vector<std::function<void()>> tasks_;
  std::vector<std::string> documents_;
  const std::shared_ptr<StatsCache> cache_ = std::make_shared<StatsCache>(
      [this] {
        return GalleryAPI::Statistics{"stats " + std::to_string(++computed_), isComplete_};
      },
      [this](std::function<void()> task) { tasks_.push_back(std::move(task)); },
      [this] { return now_; });
};

TEST_F(StatsCacheTest, ComputesOnceForConcurrentRequests) {
  for (int i = 0; i < 100; ++i) {
    ask();
  }
  EXPECT_EQ(documents_.size(), 0U);
  EXPECT_EQ(tasks_.size(), 1U);
  work();
  EXPECT_EQ(documents_, std::vector<std::string>(100, "stats 1"));
}

TEST_F(StatsCacheTest, KeepsTheDocumentForThirtySeconds) {
  ask();
  now_ += 10s;  // the age counts from the end of the work
  work();
  now_ += 30s - 1ns;
  ask();
  EXPECT_EQ(documents_.back(), "stats 1");
  EXPECT_EQ(documents_.size(), 2U);
  now_ += 1ns;
  ask();
  EXPECT_EQ(documents_.size(), 2U);
  work();
  EXPECT_EQ(documents_.back(), "stats 2");
}

TEST_F(StatsCacheTest, DoesntKeepIncompleteDocuments) {
  isComplete_ = false;
  ask();
  work();
  isComplete_ = true;
  ask();
  work();
  ask();
  EXPECT_EQ(documents_, (std::vector<std::string>{"stats 1", "stats 2", "stats 2"}));
}

TEST_F(StatsCacheTest, ServesRequestsThatACallbackMakes) {
  cache_->get([this](const StatsCache::Bytes&) { ask(); });
  work();
  EXPECT_EQ(documents_, std::vector<std::string>{"stats 1"});
}

}  // namespace
}  // namespace vaultmere
