// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/VaultmereCatalog.h"
#include "intake/FileHash.h"
#include "intake/Ingestor.h"
#include "platform/Sha256.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {

/// A catalog, an empty archive and a folder of sources, in a temporary folder.
struct Archive {
  Archive() {
    fs::create_directories(sources());
    fs::create_directories(root());
  }

  [[nodiscard]] fs::path sources() const { return folder / "sources"; }
  [[nodiscard]] fs::path root() const { return folder / "archive"; }
  [[nodiscard]] fs::path data() const { return folder / "data" / "Vaultmere"; }

  /// A source with these bytes, last changed at noon UTC of a day.
  fs::path source(const std::string& name, const std::string& bytes,
                  const std::string& day = "2020-02-03") const {
    const fs::path path = sources() / name;
    fs::create_directories(path.parent_path());
    writeText(path, bytes);
    setModified(path, parseCatalogDate(day + "T12:00:00Z")->moment());
    return path;
  }

  void open() {
    catalog = std::make_shared<VaultmereCatalog>(
        VaultmereCatalog::Options{data(), nullptr, [](auto) {}}, pool);
  }

  [[nodiscard]] Ingestor::Options options() const {
    return {.root = {root(), nullptr},
            .media = testMedia(),
            .gate = nullptr,
            .neverScanned = {data()},
            .neverRemoved = {},
            .vision = nullptr,
            .stop = {}};
  }
  [[nodiscard]] Ingestor ingestor(Ingestor::Options options) {
    if (!catalog) {
      open();
    }
    return Ingestor::Factory(std::move(options))
        .make(CatalogWriter(catalog->newBackgroundContext()));
  }
  [[nodiscard]] Ingestor ingestor() { return ingestor(options()); }

  /// The rows' targets, sorted.
  [[nodiscard]] std::vector<std::string> rows() {
    if (!catalog) {
      open();
    }
    return catalog->viewContext().perform([](Connection& connection) {
      std::vector<std::string> targets;
      auto found = connection.prepare("SELECT targetPath FROM Photo ORDER BY targetPath");
      while (found.step()) {
        targets.push_back(found.text(0));
      }
      return targets;
    });
  }
  /// What the row of a file says of its motion file: media type, then name, path
  /// and size where it has one.
  [[nodiscard]] std::string motionOf(const std::string& bytes) {
    const std::string id = hashOf(bytes);
    return catalog->viewContext().perform([&](Connection& connection) {
      auto found = connection.prepare(
          "SELECT mediaType || coalesce(' ' || liveMotionFile || ' ' || liveMotionPath"
          " || ' ' || liveMotionSize, '')"
          " FROM Photo WHERE id = ?");
      found.bind(1, std::string_view(id));
      return found.step() ? found.text(0) : std::string();
    });
  }
  [[nodiscard]] std::vector<std::string> files() const { return filesBelow(root()); }

  /// Every archived file has the hash that its name tells.
  void expectSound() const {
    for (const std::string& file : files()) {
      const fs::path path = root() / file;
      if (path.extension() != ".mov") {
        EXPECT_EQ(hashFile(path, PageCache::use, {}).hash, path.stem().string()) << file;
      }
    }
  }

  static std::string hashOf(const std::string& bytes) {
    Sha256 hash;
    hash.update(std::as_bytes(std::span(bytes)));
    return hash.hexDigest();
  }

  TemporaryFolder folder;
  ThreadPool pool{4};
  std::shared_ptr<VaultmereCatalog> catalog;
};

inline std::vector<std::string> outcomes(const std::vector<Ingestor::Result>& results) {
  std::vector<std::string> list;
  for (const Ingestor::Result& result : results) {
    list.push_back(result.filename + " " + outcomeText(result.outcome));
  }
  std::sort(list.begin(), list.end());
  return list;
}

using Strings = std::vector<std::string>;

}  // namespace vaultmere
