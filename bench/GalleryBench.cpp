// SPDX-License-Identifier: GPL-3.0-or-later
//
// The gallery next to a web server that sends the same bytes from files: one
// request a connection, each server on one and the same processor, the client
// on another one. And its statistics next to one read of the whole table.
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "bench/Benchmark.h"
#include "bench/CatalogMaker.h"
#include "bench/Measurement.h"
#include "bench/Scan.h"
#include "bench/WebServer.h"
#include "gallery/GalleryStats.h"
#include "tests/support/DeterministicRandom.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kThumbnails = 400;
constexpr int kClients = 32;
constexpr std::size_t kRounds = 7;

/// As large as a photograph's thumbnail is: 20 to 40 KB.
Painter grainyPicture(std::uint64_t seed) {
  const std::uint64_t depth = 24 + seed % 32;
  return [seed, depth, ground = spots(seed)](double x, double y) {
    std::uint64_t grain = (static_cast<std::uint64_t>(x * 1e4) * 10'007 + seed + 1) *
                          (static_cast<std::uint64_t>(y * 1e4) * 2 + 0x9E3779B97F4A7C15U);
    grain ^= grain >> 29U;
    grain *= 0xBF58476D1CE4E5B9U;
    const int noise = static_cast<int>((grain >> 32U) % depth);
    const Colour colour = ground(x, y);
    const auto channel = [&](int value) {
      return static_cast<std::uint8_t>(std::min(255, value + noise));
    };
    return Colour{channel(colour.red), channel(colour.green), channel(colour.blue)};
  };
}

class GalleryBench {
 public:
  explicit GalleryBench(const fs::path& folder)
      : folder_(folder), support_(folder / "support"), store_(sharedCatalog(folder)) {
    fs::create_directories(support_);
    fs::create_symlink(store_, support_ / store_.filename());
  }

  void run() {
    thumbnails();
    firstPage();
    computedStats();
    askedStats();
  }

 private:
  /// Each server has files of its own.
  void thumbnails() {
    const fs::path ours = support_ / "cache/thumbs";
    const fs::path theirs = folder_ / "thumb";
    fs::create_directories(ours);
    fs::create_directories(theirs);
    std::string ourPaths;
    std::string theirPaths;
    std::size_t bytes = 0;
    for (std::uint64_t number = 0; number < kThumbnails; ++number) {
      const std::string id = DeterministicRandom(number).hexDigits(4);
      const std::string picture = stillBytes(
          {.width = 400, .height = 300, .painter = grainyPicture(number), .quality = 80});
      writeText(ours / (id + ".jpg"), picture);
      writeText(theirs / (id + ".jpg"), picture);
      ourPaths += "/thumb/" + id + "\n";
      theirPaths += "/thumb/" + id + ".jpg\n";
      bytes += picture.size();
    }
    compare({fmt::format("thumbnails of {} KB", bytes / kThumbnails / 1000),
             "nginx, the same files", Wanted::atLeast, 0.8},
            ourPaths, theirPaths);
  }

  void firstPage() {
    const std::string path = "/api/photos?page=1";
    const std::string page = startGallery(support_)->get(path);
    writeText(folder_ / "photos.json", page);
    compare({fmt::format("first page of the list, {} KB", page.size() / 1000),
             "nginx, the same bytes", Wanted::atLeast, 0.05},
            path + "\n", "/photos.json\n");
  }

  /// Both servers at the same paths, by turns. They are idle when it isn't
  /// their turn.
  void compare(const Claim& claim, const std::string& ours, const std::string& theirs) {
    writeText(folder_ / "ours", ours);
    writeText(folder_ / "theirs", theirs);
    const auto server = startGallery(support_);
    const auto reference = startNginx(folder_);
    Rounds rounds;
    for (std::size_t round = 0; round <= kRounds; ++round) {
      const double first = server->secondsAnAnswer(kClients, folder_ / "ours");
      const double second = reference->secondsAnAnswer(kClients, folder_ / "theirs");
      if (round > 0) {  // the first one warms up
        rounds.add(first, second);
      }
    }
    const auto rate = [](const Statistics& seconds) {
      return fmt::format("{:.0f}/s", 1 / seconds.median);
    };
    report(claim, rate(rounds.ours()), rate(rounds.reference()), rounds.speedRatio());
  }

  void computedStats() {
    Connection connection(store_);
    compareWithScan(connection, "statistics", 12, [&] { (void)galleryStats(connection); });
  }

  /// By many at once, of a server that has just been started.
  void askedStats() {
    Connection connection(store_);
    std::unique_ptr<WebServer> server;
    const auto ask = [&] {
      std::vector<std::future<std::string>> answers;
      answers.reserve(kClients);
      for (int i = 0; i < kClients; ++i) {
        answers.push_back(
            std::async(std::launch::async, [&] { return server->get("/api/stats"); }));
      }
      for (auto& answer : answers) {
        answer.get();
      }
    };
    compareWithScan(connection, fmt::format("statistics, asked for by {} at once", kClients), 12,
                    ask, [&] {
                      server.reset();
                      server = startGallery(support_);
                    });
  }

  const fs::path folder_;
  const fs::path support_;
  const fs::path store_;
};

void serve(const fs::path& folder) { GalleryBench(folder).run(); }

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::serve);
}
