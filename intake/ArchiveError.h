// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace vaultmere {

/// A copy or an archived file that isn't what it must be.
class ArchiveError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  /// `what` is "hash" or "size": "hash mismatch for 3f….jpg".
  static ArchiveError verifyFailed(std::string_view what, const std::filesystem::path& target);
};

}  // namespace vaultmere
