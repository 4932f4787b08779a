// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include "care/PhotoTrash.h"
#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {

/// An archive whose files and rows a test makes by itself, without a freeze.
struct CareArchive : Archive {
  static constexpr const char* kMonth = "2020/2020-02/";
  static constexpr CatalogDate kNow{800'000'000};

  /// A file with its row, which `change` may alter first. Gives its id.
  std::string add(const std::string& bytes, const std::string& ext = ".jpg",
                  const std::function<void(Photo&)>& change = nullptr) {
    Photo photo;
    photo.id = hashOf(bytes);
    photo.ext = ext;
    photo.originalFilename = bytes + ext;
    photo.sizeBytes = static_cast<std::int64_t>(bytes.size());
    photo.targetPath = kMonth + photo.id + ext;
    if (change) {
      change(photo);
    }
    if (!fs::exists(root() / photo.targetPath)) {
      writeText(root() / (kMonth + photo.id + ext), bytes);
    }
    changeStore([&](Connection& connection) { insertPhoto(connection, photo); });
    return photo.id;
  }
  /// A Live Photo.
  std::string addLive(const std::string& bytes, const std::string& motion) {
    writeText(root() / (kMonth + hashOf(bytes) + ".mov"), motion);
    return add(bytes, ".heic", [](Photo& photo) {
      photo.mediaType = "live_photo";
      photo.liveMotionFile = photo.id + ".mov";
    });
  }

  [[nodiscard]] PhotoTrash trash() { return PhotoTrash(trashOptions()); }
  [[nodiscard]] PhotoTrash::Options trashOptions() {
    ensureOpen();
    return {.root = ArchiveRoot{root(), nullptr},
            .catalog = catalog->newBackgroundContext(),
            .now = [] { return kNow; },
            .isDamaged = nullptr,
            .stop = {}};
  }

  [[nodiscard]] std::optional<Photo> row(const std::string& id) {
    ensureOpen();
    return catalog->viewContext().perform([&](Connection& connection) {
      auto rows = fetchPhotos(connection, std::span(&id, 1));
      return rows.empty() ? std::nullopt : std::optional(rows.front());
    });
  }
  [[nodiscard]] bool isTrashed(const std::string& id) { return row(id)->trashedAt.has_value(); }
  void execute(const std::string& sql) {
    changeStore([&](Connection& connection) { connection.execute(sql.c_str()); });
  }

  /// Every file below the root, its ids replaced by the bytes that have that hash:
  /// "trash/still.mov: motion". Sorted.
  [[nodiscard]] Strings tree(const Strings& known) const {
    Strings list;
    for (const std::string& file : files()) {
      std::string name = file;
      for (const std::string& bytes : known) {
        if (const auto at = name.find(hashOf(bytes)); at != std::string::npos) {
          name.replace(at, hashOf(bytes).size(), bytes);
        }
      }
      list.push_back(name + ": " + slurp(root() / file));
    }
    std::sort(list.begin(), list.end());
    return list;
  }

  /// Runs `work` in a process that is killed at its n-th step; false when it came
  /// to its end. Nothing may have the catalog open.
  bool isKilledAt(std::size_t number, const std::function<void(CareArchive&)>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
      const auto plan = FaultPlan::killing(number);
      work(*this);
      ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFSIGNALED(status);
  }

 private:
  void ensureOpen() {
    if (!catalog) {
      open();
    }
  }
  void changeStore(const std::function<void(Connection&)>& change) {
    ensureOpen();
    catalog->viewContext().perform([&](Connection& connection) { change(connection); });
  }
};

}  // namespace vaultmere
