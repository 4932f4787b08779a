// SPDX-License-Identifier: GPL-3.0-or-later
//
// A scrub of an archive next to the command that only hashes the same files, both
// cold: pages are dropped before each run.
#include <fmt/format.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Benchmark.h"
#include "bench/Commands.h"
#include "bench/Measurement.h"
#include "care/Scrub.h"
#include "catalog/PhotoSchema.h"
#include "catalog/VaultmereCatalog.h"
#include "intake/FileHash.h"
#include "tests/support/FileTools.h"

namespace vaultmere::bench {
namespace {

constexpr std::size_t kPhotos = 200;
constexpr std::size_t kPhotoSize = 5'000'000;
constexpr std::size_t kVideoSize = 500'000'000;
constexpr std::size_t kRounds = 5;

/// An archive whose rows tell what a scrub reads, without the rest.
class Archive {
 public:
  explicit Archive(const fs::path& folder)
      : root_(folder / "archive"), catalog_({folder / "data", nullptr, [](auto) {}}, pool_) {
    for (std::size_t i = 0; i <= kPhotos; ++i) {
      add(i, i == 0 ? kVideoSize : kPhotoSize);
    }
  }

  void dropPages() const {
    for (const fs::path& file : files_) {
      File::openForReading(file).dropCache();
    }
  }

  void scrub() {
    const TimePoint now = std::chrono::system_clock::now();
    Scrub::Options options;
    options.context = catalog_.newBackgroundContext();
    options.store = catalog_.store();
    options.root = {root_, nullptr};
    options.since = now;
    const ScrubResult result = Scrub(std::move(options)).run();
    if (result.files != static_cast<std::int64_t>(files_.size())) {
      throw std::runtime_error(fmt::format("the scrub has read {} files", result.files));
    }
  }

  void hashWithOpenssl() const {
    (void)outputOf(
        fmt::format("find '{}' -type f -print0 | xargs -0 openssl dgst -sha256", root_.string()));
  }

  [[nodiscard]] double gigabytes() const { return bytes_ / 1e9; }

 private:
  void add(std::size_t seed, std::size_t size) {
    const fs::path made = root_ / "2020/2020-02" / "made";
    writeNoise(made, size, seed + 1);
    Photo photo;
    photo.id = hashFile(made, PageCache::use, {}).hash;
    photo.ext = ".jpg";
    photo.sizeBytes = static_cast<std::int64_t>(size);
    photo.targetPath = "2020/2020-02/" + photo.id + ".jpg";
    photo.processedAt = CatalogDate{static_cast<double>(seed)};
    files_.push_back(root_ / photo.targetPath);
    fs::rename(made, files_.back());
    bytes_ += static_cast<double>(size);
    catalog_.viewContext().perform(
        [&](Connection& connection) { (void)insertPhoto(connection, photo); });
  }

  const fs::path root_;
  ThreadPool pool_{1};
  VaultmereCatalog catalog_;
  std::vector<fs::path> files_;
  double bytes_ = 0;
};

void scrubAnArchive(const fs::path& folder) {
  Archive archive(folder);
  const Rounds rounds = measure(kRounds, {[&] { archive.dropPages(); }, [&] { archive.scrub(); }},
                                {[&] { archive.dropPages(); }, [&] { archive.hashWithOpenssl(); }});
  const auto speed = [&](const Statistics& seconds) {
    return fmt::format("{:.2f} GB/s", archive.gigabytes() / seconds.median);
  };
  report({"scrub 200 photos and a video, cold", "openssl dgst -sha256", Wanted::atLeast, 0.9},
         speed(rounds.ours()), speed(rounds.reference()), rounds.speedRatio());
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::scrubAnArchive);
}
