// SPDX-License-Identifier: GPL-3.0-or-later
#include <future>

#include "intake/IngestCoordinator.h"
#include "tests/intake/Archive.h"
#include "tests/media/FaultyMedia.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

/// The memory that this process has in use, in bytes.
std::size_t residentBytes() {
  std::size_t whole = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> whole >> resident;
  return resident * 4096;
}

/// Freezes a folder in one batch, several files at once.
IngestCoordinator::BatchResult freeze(Archive& archive, MediaService& media) {
  auto log = std::make_shared<ImportLog>(archive.folder / "log.jsonl", archive.pool);
  Ingestor::Options options{.root = {archive.root(), nullptr},
                            .media = media,
                            .gate = nullptr,
                            .neverScanned = {},
                            .neverRemoved = {},
                            .vision = nullptr,
                            .stop = {}};
  TurnQueue queue(archive.pool);
  const auto coordinator = std::make_shared<IngestCoordinator>(IngestCoordinator::Options{
      archive.ingestor(options), log, [] { return std::chrono::system_clock::now(); }, archive.pool,
      queue});
  std::promise<IngestCoordinator::BatchResult> ended;
  coordinator->ingestDropped({archive.sources()}, false, {}, {[] {}, [](const auto&) {}},
                             [&](auto result) { ended.set_value(std::move(result)); });
  return ended.get_future().get();
}

TEST(DecoderFault, AThousandCrashesEndInOrder) {
  constexpr std::size_t count = 1000;
  const LogCapture log;
  Archive archive;
  archive.open();
  const std::size_t descriptors = openDescriptors();
  const std::size_t others = childProcesses().size();
  std::size_t resident = 0;
  {
    MediaService media(faultyMediaOptions());
    archive.source("first.jpg", "well");
    EXPECT_EQ(freeze(archive, media).results.size(), 1U);
    for (std::size_t i = 0; i < count; ++i) {
      archive.source(std::to_string(i) + ".jpg", "crash\n" + std::to_string(i));
    }
    resident = residentBytes();
    const auto batch = freeze(archive, media);
    EXPECT_EQ(
        std::count_if(batch.results.begin(), batch.results.end(),
                      [](const auto& result) { return result.outcome == IngestOutcome::inserted; }),
        count);
    // The same ones once more: none is asked again.
    EXPECT_EQ(freeze(archive, media).results.size(), count + 1);
  }
  EXPECT_EQ(archive.rows().size(), count + 1);
  EXPECT_EQ(log.lines().size(), count);
  archive.expectSound();
  EXPECT_TRUE(eventually([&] { return childProcesses().size() == others; }));
  EXPECT_LE(openDescriptors(), descriptors + 4);  // the catalog's
  EXPECT_LT(residentBytes(), resident + (std::size_t{16} << 20));
}

}  // namespace
}  // namespace vaultmere
