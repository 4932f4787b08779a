// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace vaultmere {

/// Runs a job that may never return, such as a look at a dead network mount, on
/// a thread of its own, which nobody waits for: not even the end of the process.
/// Throws std::system_error when there is no thread to be had.
void runDetached(std::function<void()> job);

/// What runs such jobs; tests put their own in.
using BackgroundRunner = std::function<void(std::function<void()> job)>;

}  // namespace vaultmere
