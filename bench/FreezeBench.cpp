// SPDX-License-Identifier: GPL-3.0-or-later
//
// Freezing a camera's card, next to the least that a freeze has to do.
#include <fmt/format.h>

#include <memory>

#include "bench/Benchmark.h"
#include "bench/CameraCard.h"
#include "bench/Freezer.h"
#include "bench/Measurement.h"
#include "bench/RawIngestBaseline.h"

namespace vaultmere::bench {
namespace {

constexpr int kPictures = 200;
constexpr std::size_t kRounds = 7;

void freezeCard(const fs::path& folder) {
  const fs::path sources = folder / "card";
  makeFresh(sources);
  const std::vector<CardPicture> card = makeCameraCard(sources, kPictures);
  const fs::path oursFolder = folder / "ours";
  const fs::path bareFolder = folder / "bare";
  std::unique_ptr<Freezer> ours;
  std::unique_ptr<RawIngestBaseline> bare;
  const Rounds rounds = measure(kRounds,
                                {[&] {
                                   ours.reset();
                                   makeFresh(oursFolder);
                                   ours = std::make_unique<Freezer>(oursFolder);
                                 },
                                 [&] { ours->freeze(sources, card.size()); }},
                                {[&] {
                                   bare.reset();
                                   makeFresh(bareFolder);
                                   bare = std::make_unique<RawIngestBaseline>(bareFolder);
                                 },
                                 [&] { bare->freeze(card, batchWidth(activeProcessors())); }});
  const auto time = [](const Statistics& seconds) {
    return fmt::format("{:.2f} s", seconds.median);
  };
  report({fmt::format("freeze {} pictures of 12 megapixels", kPictures), "bare loop",
          Wanted::atMost, 1.15},
         time(rounds.ours()), time(rounds.reference()), rounds.timeRatio());
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::freezeCard);
}
