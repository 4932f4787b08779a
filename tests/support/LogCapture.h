// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

/// Collects what is logged while it lives, instead of standard error. One at a
/// time; any thread may log meanwhile, and may still be logging when this goes.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// The texts so far, without the line prefix.
  [[nodiscard]] std::vector<std::string> lines() const;
  /// True when a text so far has `part` in it.
  [[nodiscard]] bool contains(std::string_view part) const;
  void clear();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace vaultmere
