// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

#include "app/DiagnosticEnvironment.h"
#include "platform/AppDirectories.h"

namespace vaultmere {

/// How long quitting waits for what hangs on a dead drive.
inline constexpr std::chrono::seconds kQuitTimeout{5};

/// Runs the program without a window until SIGTERM or SIGINT; gives the exit
/// status. At a signal, work in progress ends at its next step, temporary
/// files are removed, and sources stay. What hasn't ended in `quitTimeout`
/// ends with the process, as everything does at a second signal; that loses
/// nothing either.
int runHeadless(const DiagnosticEnvironment& environment,
                const AppDirectories& directories = AppDirectories::ofUser(),
                std::chrono::milliseconds quitTimeout = kQuitTimeout);

}  // namespace vaultmere
