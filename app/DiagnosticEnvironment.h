// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace vaultmere {

/// The environment variables that start a diagnostic run. A variable counts
/// when it is present, also when it is empty.
struct DiagnosticEnvironment {
  std::optional<std::string> selfTestFolder;   ///< VAULTMERE_SELFTEST_DIR
  std::optional<std::string> selfTestArchive;  ///< VAULTMERE_ARCHIVE

  [[nodiscard]] static DiagnosticEnvironment fromEnvironment();

  /// True when any hook's own variable is there: the program then runs without
  /// a window.
  [[nodiscard]] bool wantsHeadlessRun() const { return selfTestFolder.has_value(); }
};

}  // namespace vaultmere
