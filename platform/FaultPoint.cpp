// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FaultPoint.h"

#include <atomic>

namespace vaultmere {
namespace {
std::atomic<FaultHook> installedHook{nullptr};
}

void setFaultHook(FaultHook hook) { installedHook.store(hook, std::memory_order_relaxed); }

int faultAt(std::string_view step, const std::filesystem::path& path) {
  const FaultHook hook = installedHook.load(std::memory_order_relaxed);
  return hook == nullptr ? 0 : hook(step, path);
}

}  // namespace vaultmere
