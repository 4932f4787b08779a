// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace vaultmere {

/// Runs a job away from the calling thread. May throw std::system_error.
using Background = std::function<void(std::function<void()> job)>;

/// Runs a job on a thread of its own that nobody waits for: for calls that a
/// dead drive or a silent service may hold for ever, which must not hold a
/// thread of the pool. The job must not use what the process may have ended.
/// Throws std::system_error when there is no thread to be had.
void runDetached(std::function<void()> job);

}  // namespace vaultmere
