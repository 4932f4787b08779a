// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace vaultmere {

/// The formats of which damaged files can be made, by their extensions: each that
/// the program takes and the tests' makers write.
[[nodiscard]] std::vector<std::string> damagedFormats();

/// So many damaged files of a format, all different: small ones with metadata that
/// are cut, overwritten here and there, or spliced with another one. The same
/// arguments give the same bytes.
[[nodiscard]] std::set<std::string> damagedFiles(const std::string& format, std::size_t count);

}  // namespace vaultmere
