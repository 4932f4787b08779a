// SPDX-License-Identifier: GPL-3.0-or-later
//
// Hashing one large file, next to the command that does nothing else. The file
// is in the page cache.
#include <fmt/format.h>

#include <stdexcept>
#include <string>

#include "bench/Benchmark.h"
#include "bench/Commands.h"
#include "bench/Measurement.h"
#include "intake/FileHash.h"
#include "tests/support/FileTools.h"

namespace vaultmere::bench {
namespace {

constexpr std::size_t kSize = std::size_t{1} << 30;
constexpr std::size_t kRounds = 7;

/// The last word that `openssl dgst -sha256 FILE` prints.
std::string opensslHash(const fs::path& file) {
  const std::string text = outputOf(fmt::format("openssl dgst -sha256 '{}'", file.string()));
  const auto end = text.find_last_not_of('\n') + 1;
  const auto start = text.find_last_of(' ', end) + 1;
  return text.substr(start, end - start);
}

void hashOneFile(const fs::path& folder) {
  const fs::path file = folder / "noise";
  writeNoise(file, kSize);
  std::string ours;
  std::string reference;
  const Rounds rounds =
      measure(kRounds, {nullptr, [&] { ours = hashFile(file, PageCache::use, {}).hash; }},
              {nullptr, [&] { reference = opensslHash(file); }});
  if (ours != reference) {
    throw std::runtime_error(
        fmt::format("the hashes differ: ours {}, openssl's {}", ours, reference));
  }
  const auto speed = [](const Statistics& seconds) {
    return fmt::format("{:.2f} GB/s", static_cast<double>(kSize) / 1e9 / seconds.median);
  };
  report({"hash a file of 1 GiB", "openssl dgst -sha256", Wanted::atLeast, 0.95},
         speed(rounds.ours()), speed(rounds.reference()), rounds.speedRatio());
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::hashOneFile);
}
