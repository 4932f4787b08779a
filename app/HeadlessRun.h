// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/DiagnosticEnvironment.h"

namespace vaultmere {

/// Runs the program without a window until SIGTERM or SIGINT; gives the exit
/// status. At a signal, work in progress ends at its next step, temporary
/// files are removed, and sources stay; a second signal ends the process at
/// once, which loses nothing either.
int runHeadless(const DiagnosticEnvironment& hooks);

}  // namespace vaultmere
