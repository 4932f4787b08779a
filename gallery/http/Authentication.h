// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vaultmere {

/// Whether a request's head carries the password, by HTTP's Basic scheme
/// (RFC 7617, in UTF-8). The user name doesn't matter and may be missing, with
/// its colon too. An empty password lets everybody in. Composed and decomposed
/// letters are the same. Comparing takes the same time whatever is offered.
[[nodiscard]] bool isAuthorised(std::string_view head, std::string_view password);

}  // namespace vaultmere
