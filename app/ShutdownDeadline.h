// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <thread>

namespace vaultmere {

/// Ends the process with status 0 unless it is destroyed in time: what hangs on
/// a dead drive can't be ended otherwise. Nothing is lost by that: every step of
/// the program may be its last one.
class ShutdownDeadline {
 public:
  explicit ShutdownDeadline(std::chrono::milliseconds limit);

 private:
  std::jthread watch_;
};

}  // namespace vaultmere
