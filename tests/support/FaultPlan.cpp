// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/FaultPlan.h"

#include <atomic>
#include <csignal>

#include "platform/FaultPoint.h"

namespace vaultmere {
namespace {

struct Plan {
  std::atomic<std::size_t> passed{0};
  std::atomic<std::size_t> number{0};
  std::atomic<int> code{0};
  std::atomic<bool> hit{false};
  std::string step;  // this and the next are set while no hook is installed
  std::string part;
} plan;

int hook(std::string_view step, const std::filesystem::path& path) {
  if ((!plan.step.empty() && plan.step != step) ||
      path.native().find(plan.part) == std::string::npos) {
    return 0;
  }
  if (++plan.passed != plan.number) {
    return 0;
  }
  plan.hit = true;
  if (plan.code < 0) {
    std::raise(SIGKILL);
  }
  return plan.code;
}

}  // namespace

FaultPlan::FaultPlan(std::size_t number, int code, std::string_view step, std::string_view part) {
  plan.passed = 0;
  plan.number = number;
  plan.code = code;
  plan.hit = false;
  plan.step = step;
  plan.part = part;
  setFaultHook(hook);
}

FaultPlan::~FaultPlan() { setFaultHook(nullptr); }

bool FaultPlan::wasHit() const { return plan.hit; }

}  // namespace vaultmere
