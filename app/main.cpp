// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <cstdio>

#include "app/HeadlessRun.h"

int main() {
  std::signal(SIGPIPE, SIG_IGN);
  const auto environment = vaultmere::DiagnosticEnvironment::fromEnvironment();
  if (!environment.wantsHeadlessRun()) {
    std::fputs("Vaultmere has no window yet; VAULTMERE_SELFTEST_DIR starts a run without one.\n",
               stderr);
    return 1;
  }
  return vaultmere::runHeadless(environment);
}
