// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vaultmere {

/// Makes one step of the file layer go wrong, counted from 1, while it is in
/// scope. One at a time in a process.
class FaultPlan {
 public:
  /// Fails the n-th step with an errno.
  static FaultPlan failing(std::size_t number, int code) { return FaultPlan(number, code, {}); }
  /// Fails the n-th step of one name, of those whose path has `part` in it.
  static FaultPlan failing(std::string_view step, std::size_t number, int code,
                           std::string_view part = {}) {
    return FaultPlan(number, code, step, part);
  }
  /// Calls `action` before the n-th step of one name goes on; later ones wait.
  static FaultPlan doing(std::string_view step, std::size_t number, std::function<void()> action) {
    return FaultPlan(number, 0, step, {}, std::move(action));
  }
  /// Ends the process at the n-th step, as SIGKILL does.
  static FaultPlan killing(std::size_t number) { return FaultPlan(number, kKill, {}); }
  ~FaultPlan();
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  /// True when the step was reached.
  [[nodiscard]] bool wasHit() const;

 private:
  static constexpr int kKill = -1;
  FaultPlan(std::size_t number, int code, std::string_view step, std::string_view part = {},
            std::function<void()> action = nullptr);
};

/// Writes down the steps of the file layer while it is in scope, as "fsync a.jpg":
/// the step and the last component of its path. Each of `faults` fails one step
/// of its name, the first one. Not beside a FaultPlan.
class StepRecorder {
 public:
  explicit StepRecorder(std::vector<std::pair<std::string, int>> faults = {});
  ~StepRecorder();
  StepRecorder(const StepRecorder&) = delete;
  StepRecorder& operator=(const StepRecorder&) = delete;

  [[nodiscard]] std::vector<std::string> steps() const;
  /// True when all faults have been hit.
  [[nodiscard]] bool hitAll() const;
};

}  // namespace vaultmere
