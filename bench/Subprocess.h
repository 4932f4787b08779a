// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

// Programs whose time or memory is measured from outside.
namespace vaultmere::bench {

/// A program that works in turns: it writes a line when it is ready, and takes one
/// for its next turn. Ends at the end of its input, or when this is destroyed. All
/// throw std::runtime_error when it fails.
class TurnTakingProcess {
 public:
  /// Returns when it is ready.
  explicit TurnTakingProcess(std::vector<std::string> command);
  ~TurnTakingProcess();
  TurnTakingProcess(const TurnTakingProcess&) = delete;
  TurnTakingProcess& operator=(const TurnTakingProcess&) = delete;

  /// Returns when the turn is over.
  void takeTurn();

  /// A value in MiB of its /proc/…/status, such as "VmRSS".
  [[nodiscard]] double mebibytes(const std::string& key) const;

 private:
  void awaitLine();

  std::string name_;
  pid_t process_ = -1;
  std::FILE* input_ = nullptr;
  std::FILE* output_ = nullptr;
};

/// Runs a program without arguments to its end, whatever its status is; nothing that
/// it prints is seen.
void runToEnd(const std::string& program);

/// The memory that such a run has resident when it ends, in MiB.
[[nodiscard]] double residentAtEnd(const std::string& program);

}  // namespace vaultmere::bench
