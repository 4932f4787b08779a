// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Benchmark.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>

namespace vaultmere::bench {
namespace fs = std::filesystem;

namespace {

class WorkFolder {
 public:
  explicit WorkFolder(fs::path path) : path_(std::move(path)) { makeFresh(path_); }
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

}  // namespace

int runBenchmark(int argc, char** argv, const std::function<void(const fs::path&)>& benchmark) {
  if (argc != 2) {
    fmt::print(stderr, "usage: {} FOLDER\n", argv[0]);
    return 1;
  }
  try {
    const WorkFolder folder(fs::absolute(argv[1]) / fs::path(argv[0]).filename());
    benchmark(folder.path());
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}: {}\n", argv[0], error.what());
    return 1;
  }
}

void makeFresh(const fs::path& folder) {
  fs::remove_all(folder);
  fs::create_directories(folder);
}

}  // namespace vaultmere::bench
