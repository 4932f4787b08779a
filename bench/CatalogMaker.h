// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

#include "tests/catalog/LibraryGenerator.h"

namespace vaultmere::bench {

/// Fills an empty catalog with the rows of a `LibraryGenerator`, always the same
/// ones for the same sizes.
void makeCatalog(const std::filesystem::path& store, const LibrarySize& size);

/// A catalog of the usual size that the benchmarks share, to read from: the
/// first one that asks makes it, beside the benchmark's own folder, where it
/// stays. Nothing is left of it for the system to write.
[[nodiscard]] std::filesystem::path sharedCatalog(const std::filesystem::path& folder);

}  // namespace vaultmere::bench
