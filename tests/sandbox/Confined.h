// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <string>

namespace vaultmere {

/// 0, or the errno of a call that has failed.
inline int errnoOf(long result) { return result == -1 ? errno : 0; }

/// Runs `body` in a process of its own, and tells how it ended: "works" for 0, the
/// name of the errno that it gave, "SIGSYS" and the like for a signal.
inline std::string endingOf(const std::function<int()>& body) {
  constexpr int threw = 255;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    int code = threw;
    try {
      code = body();
    } catch (const std::exception& error) {
      static_cast<void>(std::fprintf(stderr, "%s\n", error.what()));
    }
    ::_exit(code);
  }
  int status = 0;
  if (child == -1 || ::waitpid(child, &status, 0) != child) {
    return "no process";
  }
  if (WIFSIGNALED(status)) {
    return std::string("SIG") + ::sigabbrev_np(WTERMSIG(status));
  }
  const int code = WEXITSTATUS(status);
  const char* name = ::strerrorname_np(code);
  return code == 0 ? "works" : name == nullptr ? "an exception" : name;
}

}  // namespace vaultmere
