// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// From now on this process ends with the status `kMediaExitMemory` where a library
/// would end it in a crash because it gets no memory: GLib at a refused allocation,
/// C++ at a std::bad_alloc that nobody catches. What is caught goes on as it did.
void exitWhenOutOfMemory();

}  // namespace vaultmere
