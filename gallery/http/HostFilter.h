// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

/// Decides by the `Host` header whether a request is meant for a machine of the
/// local network. A web page elsewhere can give its own name this machine's
/// address, and read the gallery through a user's browser; that request
/// still carries the page's name. Any thread.
class HostFilter {
 public:
  /// `allowed`: more names that pass, without a port, in any case.
  explicit HostFilter(const std::vector<std::string>& allowed);

  /// Passes addresses, `localhost`, names without a dot, this machine's own
  /// name, names under the usual suffixes of local networks, and the allowed
  /// ones; each with or without a port. An empty text passes.
  [[nodiscard]] bool allows(std::string_view host) const;

 private:
  std::vector<std::string> names_;
};

}  // namespace vaultmere
