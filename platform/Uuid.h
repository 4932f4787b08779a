// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace vaultmere {

/// A new random UUID (RFC 4122, version 4) in upper-case hyphenated form.
[[nodiscard]] std::string newUuid();

}  // namespace vaultmere
