// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// A scope in which this thread's reads and writes wait for those of others, where
/// the system's I/O scheduler knows priorities. Elsewhere it does nothing.
class IdleIoPriority {
 public:
  IdleIoPriority() noexcept;
  /// On the same thread.
  ~IdleIoPriority();
  IdleIoPriority(const IdleIoPriority&) = delete;
  IdleIoPriority& operator=(const IdleIoPriority&) = delete;

 private:
  long before_;  ///< -1: not known, and nothing has been changed
};

}  // namespace vaultmere
