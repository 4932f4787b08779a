// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/IoPriority.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace vaultmere {
namespace {

// As in linux/ioprio.h, which is no C++.
constexpr int kWhoProcess = 1;
constexpr int kClassShift = 13;
constexpr int kClassIdle = 3;

constexpr int kThisThread = 0;
constexpr int kIdle = kClassIdle << kClassShift;

}  // namespace

IdleIoPriority::IdleIoPriority() noexcept
    : before_(::syscall(SYS_ioprio_get, kWhoProcess, kThisThread)) {
  if (before_ != -1) {
    ::syscall(SYS_ioprio_set, kWhoProcess, kThisThread, kIdle);
  }
}

IdleIoPriority::~IdleIoPriority() {
  if (before_ != -1) {
    ::syscall(SYS_ioprio_set, kWhoProcess, kThisThread, before_);
  }
}

}  // namespace vaultmere
