// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "platform/MainThread.h"

// Files in a line of a test. All of these throw std::runtime_error, with the
// path and the system's words, when they can't do what they are asked for.
namespace vaultmere {

/// Makes or replaces a file with these bytes, and the folders above it. An
/// empty text makes a zero-byte file.
void writeText(const std::filesystem::path& path, std::string_view bytes);

/// Makes or replaces a file of `size` bytes that look random and are the same
/// for one seed.
void writeNoise(const std::filesystem::path& path, std::size_t size, std::uint64_t seed = 1);

/// The bytes of a file.
[[nodiscard]] std::string slurp(const std::filesystem::path& path);

/// Sets the modification time, to the nanosecond. Doesn't follow links.
void setModified(const std::filesystem::path& path, TimePoint moment);

/// The relative paths of everything below a folder but folders, sorted by their
/// bytes; hidden files too, links unresolved. Empty for a folder that is missing.
[[nodiscard]] std::vector<std::string> filesBelow(const std::filesystem::path& folder);

/// Cuts a file to its first `size` bytes.
void truncateFile(const std::filesystem::path& path, std::uintmax_t size);

/// Replaces the bytes from `offset` on, which must all be there already.
void overwriteBytes(const std::filesystem::path& path, std::uintmax_t offset,
                    std::string_view bytes);

}  // namespace vaultmere
