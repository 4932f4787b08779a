// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vaultmere {

/// What a look at a source tree found.
struct HouseReport {
  std::size_t files = 0;            ///< source files that were looked at
  std::vector<std::string> broken;  ///< "platform/Files.cpp:12: what is wrong", sorted by file
};

/// Holds the sources below `root` against the rules of the house: who may
/// include whom, which library is used where, and how a file begins. Hidden
/// folders and build folders are passed over. Throws std::system_error or
/// std::ios_base::failure when something can't be read.
[[nodiscard]] HouseReport checkHouse(const std::filesystem::path& root);

}  // namespace vaultmere
