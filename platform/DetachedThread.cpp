// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DetachedThread.h"

#include <thread>
#include <utility>

namespace vaultmere {

void runDetached(std::function<void()> job) { std::thread(std::move(job)).detach(); }

}  // namespace vaultmere
