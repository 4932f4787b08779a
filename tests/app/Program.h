// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <thread>

#include "app/AppModel.h"
#include "tests/intake/Archive.h"
#include "tests/support/ManualMainThread.h"

namespace vaultmere {

/// The whole program but its window, on a clock that a test turns, with an
/// archive to freeze into. What touches the destination and the watched folder
/// runs on the pool, so that `settle` waits for its answers too.
class Program : public testing::Test {
 protected:
  ~Program() override {
    if (model_) {
      model_->shutDown();
    }
    archive_.pool.join();
  }

  AppModel& start(DiagnosticEnvironment environment = {}) {
    DestinationDependencies dependencies;
    dependencies.watchMounts = false;
    dependencies.background = [this](auto job) {
      usesOwnThreads_ ? void(ownThreads_.emplace_back(std::move(job)))
                      : archive_.pool.post(std::move(job));
    };
    dependencies.probe = [this](const Bookmark& bookmark) {
      auto found = probeDestination(bookmark);
      if (found && room_ >= 0) {
        found->capacity.available = room_;
      }
      return found;
    };
    model_ =
        std::make_unique<AppModel>(AppModel::Options{main_,
                                                     archive_.pool,
                                                     archive_.pool,
                                                     archive_.pool,
                                                     media_ ? *media_ : testMedia(),
                                                     {archive_.data(), archive_.folder / "config"},
                                                     std::move(environment),
                                                     [](const std::string&, const std::string&) {},
                                                     nullptr,
                                                     [](std::chrono::milliseconds) {},
                                                     dependencies});
    EXPECT_EQ(model_->status(), "Starting…");
    settle();
    return *model_;
  }

  AppModel& startWithDestination() {
    AppModel& model = start();
    model.settings().setMarginGB(0);
    model.settings().setDestinationRoot(archive_.root());
    settle();
    EXPECT_TRUE(model.destination().isOnline());
    return model;
  }

  /// Runs everything that doesn't wait for time.
  void settle() { main_.settle(archive_.pool); }

  /// Lets time pass, with everything done that each second brings.
  void pass(std::chrono::seconds time) {
    for (; time.count() > 0; --time) {
      main_.advance(std::chrono::seconds(1));
      settle();
    }
  }

  Archive archive_;
  std::unique_ptr<MediaService> media_;  ///< null for the tests' own
  std::atomic<std::int64_t> room_ = -1;  ///< bytes left on the destination; below 0: as it is
  ManualMainThread main_{parseCatalogDate("2030-01-01T00:00:00Z")->moment()};
  /// For folders that hang: from then on such work has threads of its own, as
  /// in the program.
  bool usesOwnThreads_ = false;
  std::vector<std::jthread> ownThreads_;
  std::unique_ptr<AppModel> model_;
};

}  // namespace vaultmere
