// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/FaultPlan.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>

#include "platform/FaultPoint.h"

namespace vaultmere {
namespace {

struct Plan {
  std::mutex mutex;  // one step at a time: others wait for an action's end
  std::atomic<std::size_t> passed{0};
  std::atomic<std::size_t> number{0};
  std::atomic<int> code{0};
  std::atomic<bool> hit{false};
  std::string step;  // this and the rest are set while no hook is installed
  std::string part;
  std::function<void()> action;
} plan;

int hook(std::string_view step, const std::filesystem::path& path) {
  if ((!plan.step.empty() && plan.step != step) ||
      path.native().find(plan.part) == std::string::npos) {
    return 0;
  }
  const std::lock_guard lock(plan.mutex);
  if (++plan.passed != plan.number) {
    return 0;
  }
  plan.hit = true;
  if (plan.code < 0) {
    std::raise(SIGKILL);
  }
  if (plan.action) {
    plan.action();
  }
  return plan.code;
}

struct Record {
  std::mutex mutex;
  std::vector<std::string> steps;
  std::vector<std::pair<std::string, int>> faults;
} record;

int recordingHook(std::string_view step, const std::filesystem::path& path) {
  const std::lock_guard lock(record.mutex);
  record.steps.push_back(std::string(step) + " " + path.filename().string());
  const auto fault = std::find_if(record.faults.begin(), record.faults.end(),
                                  [&](const auto& f) { return f.first == step; });
  if (fault == record.faults.end()) {
    return 0;
  }
  const int code = fault->second;
  record.faults.erase(fault);
  return code;
}

}  // namespace

FaultPlan::FaultPlan(std::size_t number, int code, std::string_view step, std::string_view part,
                     std::function<void()> action) {
  plan.passed = 0;
  plan.number = number;
  plan.code = code;
  plan.hit = false;
  plan.step = step;
  plan.part = part;
  plan.action = std::move(action);
  setFaultHook(hook);
}

FaultPlan::~FaultPlan() { setFaultHook(nullptr); }

bool FaultPlan::wasHit() const { return plan.hit; }

StepRecorder::StepRecorder(std::vector<std::pair<std::string, int>> faults) {
  record.steps.clear();
  record.faults = std::move(faults);
  setFaultHook(recordingHook);
}

StepRecorder::~StepRecorder() { setFaultHook(nullptr); }

std::vector<std::string> StepRecorder::steps() const {
  const std::lock_guard lock(record.mutex);
  return record.steps;
}

bool StepRecorder::hitAll() const {
  const std::lock_guard lock(record.mutex);
  return record.faults.empty();
}

}  // namespace vaultmere
