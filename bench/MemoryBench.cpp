// SPDX-License-Identifier: GPL-3.0-or-later
//
// What freezing a huge video adds to the memory that the process has in use.
// The video is a short clip with 4 GiB of padding behind it: sparse, so that
// only its copy takes room on the disk.
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <fstream>
#include <stdexcept>

#include "bench/Benchmark.h"
#include "bench/Freezer.h"
#include "bench/Measurement.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"

namespace vaultmere::bench {
namespace {

constexpr std::uint64_t kSize = std::uint64_t{4} << 30;
constexpr double kAllowedMiB = 32;

/// Runs `work` in a process of its own and gives its value. Neither what ran
/// before nor what other work leaves behind counts.
template <typename Work>
double inChild(Work&& work) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    throw std::runtime_error("no pipe");
  }
  const pid_t child = ::fork();
  if (child == -1) {
    throw std::runtime_error("no process");
  }
  if (child == 0) {
    try {
      const double value = work();
      ::_exit(::write(ends[1], &value, sizeof value) == sizeof value ? 0 : 1);
    } catch (const std::exception& error) {
      fmt::print(stderr, "{}\n", error.what());
      ::_exit(1);
    }
  }
  ::close(ends[1]);
  double value = 0;
  const bool isTold = ::read(ends[0], &value, sizeof value) == sizeof value;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!isTold || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    throw std::runtime_error("the measuring process failed");
  }
  return value;
}

/// Takes the peak back to what is resident now.
void resetResidentPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

/// Pads a clip with a box of a 64-bit length that readers pass over.
void makePaddedClip(const fs::path& path, std::uint64_t size) {
  makeClip(path, {.seconds = 2, .metadata = {{"creation_time", "2023-06-01T10:11:12Z"}}});
  std::string header("\0\0\0\1free", 8);
  const std::uint64_t length = size - fs::file_size(path);
  for (unsigned shift = 64; shift > 0; shift -= 8) {
    header += static_cast<char>((length >> (shift - 8)) & 0xFFU);
  }
  writeText(path, slurp(path) + header);
  fs::resize_file(path, size);
}

double memoryOfFreeze(const fs::path& video, const fs::path& folder) {
  makeFresh(folder);
  Freezer freezer(folder);
  resetResidentPeak();
  const double before = residentPeak();
  freezer.freeze(video, 1);
  return residentPeak() - before;
}

void freezeHugeVideo(const fs::path& folder) {
  const fs::path video = folder / "VID_0001.mp4";
  inChild([&] {
    makePaddedClip(video, kSize);
    return 0.0;
  });
  const double added = inChild([&] { return memoryOfFreeze(video, folder / "target"); });
  const double ratio = added / kAllowedMiB;
  report({"memory added by freezing a sparse 4 GiB video", "allowance", Wanted::atMost, 1.0},
         fmt::format("{:.1f} MiB", added), fmt::format("{:.0f} MiB", kAllowedMiB),
         {ratio, ratio, ratio, 1});
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::freezeHugeVideo);
}
