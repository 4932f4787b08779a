// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/Descriptor.h"

namespace vaultmere {

/// How a process has ended.
struct ProcessEnd {
  int signal = 0;  ///< by which it was killed; 0 for none
  int status = 0;  ///< that it ended with, without a signal
};

/// A program that this one runs beside itself. It inherits one descriptor and
/// nothing else: standard input, output and error are /dev/null, the working
/// directory is "/", all signals have their usual effect, and it has a session of
/// its own, so that a terminal's interrupt doesn't reach it.
class ChildProcess {
 public:
  static constexpr int kDescriptor = 3;  ///< the number of what it inherits

  struct Options {
    std::filesystem::path program;
    std::vector<std::string> arguments{};    ///< behind the program's own name
    std::vector<std::string> environment{};  ///< "NAME=value", all of it
    int descriptor = -1;
  };

  /// Throws FileError.
  explicit ChildProcess(const Options& options);
  /// Kills it, and waits a little for its end: one that hangs in a call to a
  /// dead drive ends when that does.
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;

  [[nodiscard]] pid_t id() const { return id_; }
  void kill() noexcept;
  /// How it has ended; waits at most so long, and is absent if it goes on.
  [[nodiscard]] std::optional<ProcessEnd> wait(std::chrono::milliseconds timeout);
  /// The memory of its own and shared that it has in use, in bytes; 0 when that
  /// can't be told.
  [[nodiscard]] std::size_t residentBytes() const;

 private:
  pid_t id_ = -1;  // -1 once it is over
  Descriptor handle_{-1};
  std::optional<ProcessEnd> end_;
};

}  // namespace vaultmere
