// SPDX-License-Identifier: GPL-3.0-or-later
//
// The integrity check next to `find` and one read of the rows, and a backup of
// the catalog next to a flushed copy of its file.
#include <fmt/format.h>

#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench/Benchmark.h"
#include "bench/CatalogMaker.h"
#include "bench/Commands.h"
#include "bench/Measurement.h"
#include "bench/Scan.h"
#include "care/CatalogBackup.h"
#include "care/IntegrityCheck.h"
#include "catalog/ArchivePlaces.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere::bench {
namespace {

constexpr int kFiles = 200'000;
constexpr int kFolders = 24;
constexpr std::size_t kRounds = 7;

/// An archive of empty files with a row for each.
void makeArchive(const fs::path& root, const fs::path& store) {
  Connection connection(store);
  prepareSchema(connection);
  Transaction transaction(connection);
  for (int i = 0; i < kFiles; ++i) {
    Photo photo;
    photo.id = fmt::format("{:064x}", i);
    photo.ext = ".jpg";
    const int month = i % kFolders;
    photo.targetPath =
        fmt::format("{0}/{0}-{1:02}/{2}.jpg", 2020 + month / 12, 1 + month % 12, photo.id);
    photo.archivePath = (root / photo.targetPath).string();
    photo.originalFilename = fmt::format("IMG_{}.jpg", i);
    insertPhoto(connection, photo);
    if (i < kFolders) {
      fs::create_directories(fs::path(*photo.archivePath).parent_path());
    }
    const std::ofstream made(*photo.archivePath);
  }
  transaction.commit();
  connection.execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

void checkNames(const fs::path& folder, ThreadPool& pool) {
  const fs::path root = folder / "archive";
  fs::create_directories(root);
  makeArchive(root, folder / "Vaultmere.sqlite");
  const auto context = std::make_shared<CatalogContext>(folder / "Vaultmere.sqlite", pool);
  const auto ours = [&] {
    const auto report = checkIntegrity(*context, {root, nullptr}, {});
    if (!report || report->diskFiles != kFiles || !report->missing.empty() ||
        !report->orphans.empty()) {
      throw std::runtime_error("the archive isn't in order");
    }
  };
  const auto reference = [&] {
    (void)outputOf(fmt::format("find '{}' -type f | wc -l", root.string()));
    context->perform(
        [](Connection& connection) { forEachArchivePlace(connection, [](ArchivePlace&&) {}); });
  };
  const Rounds rounds = measure(kRounds, {nullptr, ours}, {nullptr, reference});
  report({fmt::format("integrity check of {} files", kFiles), "find and one read of the rows",
          Wanted::atMost, 2},
         milliseconds(rounds.ours()), milliseconds(rounds.reference()), rounds.timeRatio());
}

void backUpCatalog(const fs::path& folder, ThreadPool& pool) {
  const fs::path data = folder / "data";
  const fs::path root = folder / "root";
  fs::create_directories(data);
  fs::create_directories(root);
  fs::copy_file(sharedCatalog(folder), data / "Vaultmere.sqlite");
  const VaultmereCatalog catalog({data, nullptr, [](auto) {}}, pool);
  const auto copy = [&] {
    (void)outputOf(fmt::format("cp '{}' '{}' && sync '{}'", catalog.store().string(),
                               (folder / "copy").string(), (folder / "copy").string()));
  };
  const Rounds rounds = measure(kRounds,
                                {[&] { makeFresh(root); },
                                 [&] {
                                   (void)CatalogBackup::backUp(catalog, {root, nullptr}, 0, {}, {});
                                 }},
                                {[&] { fs::remove(folder / "copy"); }, copy});
  report({"backup of a catalog of 1,000,000 rows", "cp and sync", Wanted::atMost, 8},
         milliseconds(rounds.ours()), milliseconds(rounds.reference()), rounds.timeRatio());
}

void careForArchive(const fs::path& folder) {
  ThreadPool pool(2);
  checkNames(folder, pool);
  backUpCatalog(folder, pool);
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::careForArchive);
}
