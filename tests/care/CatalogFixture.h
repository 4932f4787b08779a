// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "care/CatalogBackup.h"
#include "care/CatalogRestore.h"
#include "catalog/CatalogError.h"
#include "catalog/StoreFile.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {

/// An archive whose catalog is backed up and restored; photos are known by a number.
struct CatalogFixture : Archive {
  [[nodiscard]] fs::path live() const { return data() / "Vaultmere.sqlite"; }
  [[nodiscard]] fs::path backup(const std::string& name = "catalog/Vaultmere.sqlite") const {
    return root() / ".vaultmere" / name;
  }
  [[nodiscard]] fs::path staged() const { return data() / "restore-pending/Vaultmere.sqlite"; }

  void addPhotos(int first, int last) {
    if (!catalog) {
      open();
    }
    const CatalogWriter writer(catalog->newBackgroundContext());
    for (int number = first; number <= last; ++number) {
      AnalyzedPhoto photo;
      photo.id = hashOf(std::to_string(number));
      photo.favorite = number % 2 == 1;
      photo.tags = {"Album"};
      (void)writer.write(photo);
    }
  }
  /// Another catalog in the place of this one.
  void startAnew() {
    catalog.reset();
    fs::remove_all(data());
  }

  CatalogBackup::Info backUp(const std::stop_token& stop = {}) {
    return CatalogBackup::backUp(*catalog, {root(), nullptr}, 1234, kNow, stop);
  }
  CatalogBackup::Info stage() const {
    return CatalogRestore::stage({root(), nullptr}, live(), kNow, {});
  }
  void apply() const { CatalogRestore::applyPending(live(), kNow); }

  /// The photos of a store that nobody uses; -1 without a sound one.
  static std::int64_t photosOf(const fs::path& store) {
    try {
      requireCatalog(store);
      return photosIn(store);
    } catch (const CatalogError&) {
      return -1;
    }
  }
  /// What the catalog holds after a start.
  std::int64_t photosAfterStart() {
    catalog.reset();
    apply();
    open();
    return catalog->viewContext().perform([](Connection& store) { return photosIn(store); });
  }

  /// Runs `work` in a process of its own that is killed at its n-th step, or isn't
  /// when it has fewer. True when it was killed.
  bool killAt(std::size_t number, const std::function<void()>& work) {
    pool.waitUntilIdle();
    const pid_t child = ::fork();
    if (child == 0) {
      const auto plan = FaultPlan::killing(number);
      work();
      ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFSIGNALED(status);
  }

  static constexpr std::chrono::sys_seconds kNow{std::chrono::seconds(1'900'000'000)};
};

}  // namespace vaultmere
