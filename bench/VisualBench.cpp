// SPDX-License-Identifier: GPL-3.0-or-later
//
// Grouping a million hashes, next to sorting four million numbers, and hashing
// cached thumbnails, next to reading their pixels with the library alone. Both of the
// latter get as many workers, and the files are in the page cache.
#include <fmt/format.h>
#include <vips/vips.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/Benchmark.h"
#include "bench/Measurement.h"
#include "care/VisualGrouping.h"
#include "care/VisualScan.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TestMedia.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPictures = 1'000'000;
constexpr std::size_t kCopies = 100'000;  ///< of them, in pairs and chains
constexpr std::size_t kSorted = 4'000'000;
constexpr std::size_t kThumbnails = 500;
constexpr std::size_t kRounds = 5;
constexpr double kAllowedMiB = 600;

/// Random hashes, and sets of 2 to 5 in which each differs from the one before by up to 2
/// bits; in random order.
std::vector<HashedPicture> makeHashes(std::mt19937_64& random) {
  std::vector<HashedPicture> pictures(kPictures);
  for (std::size_t i = 0; i < kPictures; ++i) {
    pictures[i] = {random(), 4000, 3000};
  }
  for (std::size_t first = 0; first < kCopies;) {
    const std::size_t end = std::min(first + 2 + random() % 4, kCopies);
    for (std::size_t i = first + 1; i < end; ++i) {
      const std::uint64_t bits = 1ULL << random() % 64 | 1ULL << random() % 64;
      pictures[i].hash = pictures[i - 1].hash ^ bits;
    }
    first = end;
  }
  std::shuffle(pictures.begin(), pictures.end(), random);
  return pictures;
}

void groupHashes() {
  std::mt19937_64 random(1);
  const std::vector<HashedPicture> pictures = makeHashes(random);
  std::size_t groups = findCopies(pictures).size();
  const double peak = residentPeak();
  report({"memory for grouping 1,000,000 hashes", "allowance", Wanted::atMost, 1.0},
         fmt::format("{:.0f} MiB", peak), fmt::format("{:.0f} MiB", kAllowedMiB),
         {peak / kAllowedMiB, peak / kAllowedMiB, peak / kAllowedMiB, 1});
  std::vector<std::uint64_t> unsorted(kSorted);
  std::generate(unsorted.begin(), unsorted.end(), std::ref(random));
  std::vector<std::uint64_t> sorted;
  const Rounds rounds =
      measure(kRounds,
              {nullptr,
               [&] {
                 if (findCopies(pictures).size() != groups) {
                   throw std::runtime_error("other groups than before");
                 }
               }},
              {[&] { sorted = unsorted; }, [&] { std::sort(sorted.begin(), sorted.end()); }});
  const auto time = [](const Statistics& seconds) {
    return fmt::format("{:.0f} ms", seconds.median * 1000);
  };
  report({fmt::format("group 1,000,000 hashes in {} groups", groups), "std::sort of 4,000,000",
          Wanted::atMost, 1.5},
         time(rounds.ours()), time(rounds.reference()), rounds.timeRatio());
}

/// Calls `work` with each file, on as many threads as there are workers.
template <typename Work>
void onWorkers(const std::vector<fs::path>& files, unsigned workers, const Work& work) {
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> failed{0};
  {
    std::vector<std::jthread> threads;
    for (unsigned i = 0; i < workers; ++i) {
      threads.emplace_back([&] {
        for (std::size_t file = next++; file < files.size(); file = next++) {
          failed += work(files[file]) ? 0U : 1U;
        }
      });
    }
  }
  if (failed != 0) {
    throw std::runtime_error(fmt::format("{} thumbnails couldn't be read", failed.load()));
  }
}

/// All pixels of a thumbnail.
bool readWithVips(const fs::path& file) {
  VipsImage* const image = vips_image_new_from_file(file.c_str(), nullptr);
  if (image == nullptr) {
    return false;
  }
  std::size_t size = 0;
  void* const pixels = vips_image_write_to_memory(image, &size);
  g_object_unref(image);
  g_free(pixels);
  return pixels != nullptr;
}

void hashThumbnails(const fs::path& folder) {
  std::vector<fs::path> files;
  for (std::size_t i = 0; i < kThumbnails; ++i) {
    files.push_back(folder / fmt::format("{:064x}.jpg", i));
    makeStill(files.back(), {.width = i % 3 == 0 ? 300 : 400,
                             .height = i % 3 == 0 ? 400 : 300,
                             .painter = spots(i),
                             .quality = 82});
  }
  const auto workers = static_cast<unsigned>(VisualScan::kHashThreads);
  auto options = testMediaOptions();
  MediaService media(options);
  if (vips_init("bench") != 0) {
    throw std::runtime_error("libvips doesn't start");
  }
  vips_cache_set_max(0);
  vips_concurrency_set(1);
  const Rounds rounds = measure(
      kRounds,
      {nullptr,
       [&] {
         onWorkers(files, workers,
                   [&](const fs::path& file) { return hashPicture(media, file).has_value(); });
       }},
      {nullptr, [&] {
         // The media service has one process for work in the background.
         onWorkers(files, static_cast<unsigned>(options.background), readWithVips);
       }});
  const auto speed = [](const Statistics& seconds) {
    return fmt::format("{:.0f}/s", kThumbnails / seconds.median);
  };
  report({fmt::format("hash {} cached thumbnails", kThumbnails), "libvips, pixels alone",
          Wanted::atLeast, 0.8},
         speed(rounds.ours()), speed(rounds.reference()), rounds.speedRatio());
}

void measureVisualDuplicates(const fs::path& folder) {
  groupHashes();
  hashThumbnails(folder);
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::measureVisualDuplicates);
}
