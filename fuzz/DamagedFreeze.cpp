// SPDX-License-Identifier: GPL-3.0-or-later
// Freezes damaged files of each format through the whole pipeline and the real media
// processes: damaged_freeze COUNT [FORMAT…]. Every file must be archived under its
// hash, with a row. Says how many files cost their media process, and why.
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "catalog/VaultmereCatalog.h"
#include "intake/FileHash.h"
#include "intake/IngestCoordinator.h"
#include "platform/Log.h"
#include "tests/support/DamagedMedia.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace {

using namespace vaultmere;

/// How often each reason has been logged for a file.
class Losses {
 public:
  Losses() {
    setLogSink([this](std::string_view line) {
      const std::lock_guard lock(mutex_);
      ++counts_[std::string(line.substr(0, line.find(" — ")))];
    });
  }
  ~Losses() { setLogSink({}); }
  Losses(const Losses&) = delete;
  Losses& operator=(const Losses&) = delete;

  /// ", 3 × decoder crashed (SIGSEGV)" and the like.
  [[nodiscard]] std::string text() {
    const std::lock_guard lock(mutex_);
    std::string text;
    for (const auto& [reason, count] : counts_) {
      text += fmt::format(", {} × {}", count, reason);
    }
    return text;
  }

 private:
  std::mutex mutex_;
  std::map<std::string, int> counts_;
};

void require(bool holds, const std::string& what) {
  if (!holds) {
    throw std::runtime_error(what);
  }
}

/// Freezes a folder as a drop does; one result for each file.
std::vector<Ingestor::Result> freeze(const fs::path& sources, const fs::path& root,
                                     VaultmereCatalog& catalog, ThreadPool& pool,
                                     MediaService& media) {
  TurnQueue queue(pool);
  const Ingestor::Factory ingestors({.root = {root, nullptr},
                                     .media = media,
                                     .gate = nullptr,
                                     .neverScanned = {},
                                     .neverRemoved = {},
                                     .vision = nullptr,
                                     .stop = {}});
  const auto coordinator = std::make_shared<IngestCoordinator>(IngestCoordinator::Options{
      ingestors.make(CatalogWriter(catalog.newBackgroundContext())),
      std::make_shared<ImportLog>(root.parent_path() / "log.jsonl", pool),
      [] { return std::chrono::system_clock::now(); }, pool, queue});
  std::promise<IngestCoordinator::BatchResult> ended;
  coordinator->ingestDropped({sources}, false, {}, {nullptr, [](const BatchProgress&) {}},
                             [&](auto result) { ended.set_value(std::move(result)); });
  return ended.get_future().get().results;
}

void freezeFormat(const std::string& format, std::size_t count, MediaService& media) {
  const auto start = std::chrono::steady_clock::now();
  const TemporaryFolder folder;
  const fs::path sources = folder / "sources";
  const fs::path root = folder / "archive";
  fs::create_directories(root);
  std::size_t number = 0;
  for (const std::string& bytes : damagedFiles(format, count)) {
    writeText(sources / fmt::format("{:04}.{}", number++, format), bytes);
  }
  std::int64_t sized = 0;  ///< of which the size could be told
  Losses losses;
  ThreadPool pool(4);
  {
    VaultmereCatalog catalog({folder / "data", nullptr, [](auto) {}}, pool);
    for (const auto& result : freeze(sources, root, catalog, pool, media)) {
      require(result.outcome == IngestOutcome::inserted,
              fmt::format("{}: {}", result.filename, result.error.value_or("")));
    }
    const auto archived = filesBelow(root);
    require(archived.size() == count, fmt::format("{} files archived", archived.size()));
    for (const std::string& file : archived) {
      require(hashFile(root / file, PageCache::use, {}).hash == fs::path(file).stem(), file);
    }
    const auto [all, readable] = catalog.viewContext().perform([](Connection& connection) {
      auto found = connection.prepare("SELECT count(*), count(width) FROM Photo");
      static_cast<void>(found.step());
      return std::pair(found.integer(0), found.integer(1));
    });
    require(all == static_cast<std::int64_t>(count), fmt::format("{} rows", all));
    sized = readable;
    pool.join();
  }
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  fmt::print("{:5} {} files, {} readable, in {:.1f} s{}\n", format, count, sized, time.count(),
             losses.text());
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  const std::size_t files = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 300;
  std::vector<std::string> formats(arguments + std::min(count, 2), arguments + count);
  if (formats.empty()) {
    formats = damagedFormats();
  }
  try {
    MediaService media(testMediaOptions());
    for (const std::string& format : formats) {
      freezeFormat(format, files, media);
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 1;
  }
}
