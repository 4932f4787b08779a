// SPDX-License-Identifier: GPL-3.0-or-later
//
// Making the thumbnails of a camera's card, next to the command that does
// nothing else. The pictures have none inside. Both get as many workers.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <latch>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/Benchmark.h"
#include "bench/CameraCard.h"
#include "bench/Measurement.h"
#include "platform/ThreadPool.h"
#include "tests/support/FileTools.h"
#include "tests/support/TestMedia.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kPictures = 500;
constexpr std::size_t kRounds = 5;

void makeOurs(const std::vector<PhotoRef>& items, const fs::path& folder, unsigned workers) {
  ThreadPool pool(workers);
  auto options = testMediaOptions();
  options.foreground = workers;
  MediaService media(options);
  ThumbnailProvider provider(folder, media, {pool, pool});
  std::atomic<int> failed{0};
  std::latch done(static_cast<std::ptrdiff_t>(items.size()));
  for (const PhotoRef& item : items) {
    provider.ensureThumb(item, [&](RenditionState state) {
      failed += state == RenditionState::made ? 0 : 1;
      done.count_down();
    });
  }
  done.wait();
  if (failed != 0) {
    throw std::runtime_error(fmt::format("{} thumbnails couldn't be made", failed.load()));
  }
}

/// Each worker is one process, with one thread and its share of the pictures.
void makeByCommand(const fs::path& list, const fs::path& folder, unsigned workers) {
  const std::string command = fmt::format(
      "xargs -a '{}' -P {} -n {} vipsthumbnail --vips-concurrency=1 -s 400 -o '{}/%s.jpg'",
      list.string(), workers, (kPictures + workers - 1) / workers, folder.string());
  if (std::system(command.c_str()) != 0 || filesBelow(folder).size() != kPictures) {
    throw std::runtime_error("vipsthumbnail failed");
  }
}

void makeThumbnails(const fs::path& folder) {
  const fs::path sources = folder / "card";
  makeFresh(sources);
  std::vector<PhotoRef> items;
  std::string list;
  for (const CardPicture& picture : makeCameraCard(sources, kPictures)) {
    PhotoRef item;
    item.id = fmt::format("{:064x}", items.size());
    item.ext = "jpg";
    item.archivePath = picture.file.string();
    items.push_back(item);
    list += picture.file.string() + "\n";
  }
  writeText(folder / "list", list);
  const unsigned workers = std::min(activeProcessors(), static_cast<unsigned>(kThumbnailSlots));
  const fs::path ours = folder / "ours";
  const fs::path reference = folder / "reference";
  const Rounds rounds = measure(
      kRounds, {[&] { makeFresh(ours); }, [&] { makeOurs(items, ours, workers); }},
      {[&] { makeFresh(reference); }, [&] { makeByCommand(folder / "list", reference, workers); }});
  const auto speed = [](const Statistics& seconds) {
    return fmt::format("{:.1f}/s", kPictures / seconds.median);
  };
  report({fmt::format("make {} thumbnails from 12 megapixels", kPictures), "vipsthumbnail",
          Wanted::atLeast, 0.9},
         speed(rounds.ours()), speed(rounds.reference()), rounds.speedRatio());
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::makeThumbnails);
}
