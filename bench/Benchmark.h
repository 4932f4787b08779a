// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>

namespace vaultmere::bench {

/// The `main` of a benchmark: makes a folder of its own below the one that is
/// the program's argument, runs the benchmark in it and removes it again, also
/// after a failure. Gives the exit status: 0 when it could be measured, whatever
/// came of it, else 1 with the reason on standard error.
[[nodiscard]] int runBenchmark(int argc, char** argv,
                               const std::function<void(const std::filesystem::path&)>& benchmark);

/// An empty folder in place of whatever was there.
void makeFresh(const std::filesystem::path& folder);

}  // namespace vaultmere::bench
