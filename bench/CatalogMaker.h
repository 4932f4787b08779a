// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>

namespace vaultmere::bench {

/// How large a made-up library is.
struct LibrarySize {
  int photos = 1'000'000;
  int tags = 2'000;
  int labels = 1'000;
};

/// Fills an empty catalog as years of photography do: folders of a few hundred
/// pictures from one camera and one journey, imported in no order of time;
/// more of everything in later years; albums that follow the folders and a few
/// large ones; labels of very unequal use; one row in a hundred trashed, one in
/// twenty-five below a stack. The same sizes always give the same rows.
void makeCatalog(const std::filesystem::path& store, const LibrarySize& size);

/// A catalog of the usual size that the benchmarks share, to read from: the
/// first one that asks makes it, beside the benchmark's own folder, where it
/// stays. Nothing is left of it for the system to write.
[[nodiscard]] std::filesystem::path sharedCatalog(const std::filesystem::path& folder);

}  // namespace vaultmere::bench
