// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// Lets all threads of this process make only the system calls that decoding needs.
/// Others fail with EPERM; those by which an attacker would reach other processes
/// or the kernel end the process (SIGSYS). Needs no_new_privs. False when the
/// kernel has no such filters; throws std::system_error for any other failure.
[[nodiscard]] bool filterSystemCalls();

}  // namespace vaultmere
