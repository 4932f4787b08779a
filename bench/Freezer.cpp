// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Freezer.h"

#include <fmt/format.h>

#include <future>
#include <stdexcept>

#include "platform/Files.h"
#include "tests/support/TestMedia.h"

namespace vaultmere::bench {
namespace {

/// What the program has beyond the batch's own.
constexpr unsigned kFurtherThreads = 3;

}  // namespace

Freezer::Freezer(const fs::path& folder)
    : media_(testMediaOptions()),
      pool_(batchWidth(activeProcessors()) + kFurtherThreads),
      queue_(pool_) {
  const fs::path root = folder / "archive";
  const fs::path data = folder / "data";
  makeDirectories(root);
  catalog_ = std::make_unique<VaultmereCatalog>(
      VaultmereCatalog::Options{data, nullptr, [](auto) {}}, pool_);
  const dev_t expected = fileStatus(root)->stamp.device;
  const Ingestor::Factory ingestors(
      {.root = {root, [expected](dev_t device) { return device == expected; }},
       .media = media_,
       .gate = nullptr,
       .neverScanned = {data},
       .neverRemoved = {data},
       .vision = nullptr,
       .stop = {}});
  coordinator_ = std::make_shared<IngestCoordinator>(
      IngestCoordinator::Options{ingestors.make(CatalogWriter(catalog_->newBackgroundContext())),
                                 std::make_shared<ImportLog>(data / "import-log.jsonl", pool_),
                                 [] { return std::chrono::system_clock::now(); }, pool_, queue_});
}

Freezer::~Freezer() { pool_.join(); }

void Freezer::freeze(const fs::path& dropped, std::size_t count) {
  std::promise<IngestCoordinator::BatchResult> done;
  coordinator_->ingestDropped(
      {dropped}, false, {}, {nullptr, [](const BatchProgress&) {}},
      [&](IngestCoordinator::BatchResult result) { done.set_value(std::move(result)); });
  const IngestCoordinator::BatchResult batch = done.get_future().get();
  std::size_t inserted = 0;
  for (const Ingestor::Result& result : batch.results) {
    if (result.outcome != IngestOutcome::inserted) {
      throw std::runtime_error(fmt::format("{}: {} {}", result.filename,
                                           outcomeText(result.outcome), result.error.value_or("")));
    }
    ++inserted;
  }
  if (inserted != count) {
    throw std::runtime_error(fmt::format("{} items were frozen, not {}", inserted, count));
  }
}

}  // namespace vaultmere::bench
