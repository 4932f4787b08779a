// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vaultmere::bench {

/// What a shell command prints. Throws std::runtime_error when it fails.
[[nodiscard]] std::string outputOf(const std::string& command);

/// A program that runs beside the benchmark until this goes out of scope; at
/// the latest until the benchmark itself ends. Its standard output is dropped.
class BackgroundProcess {
 public:
  /// The program, looked for in PATH, and its arguments, on one processor.
  /// Throws std::runtime_error.
  BackgroundProcess(std::vector<std::string> command, int processor);
  ~BackgroundProcess();
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;

  /// Throws std::runtime_error when the program has ended.
  void checkRunning();

 private:
  const std::string name_;
  pid_t process_ = -1;
};

/// The processors that this process may use.
[[nodiscard]] std::vector<int> usableProcessors();

}  // namespace vaultmere::bench
