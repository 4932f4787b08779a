// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/ShutdownDeadline.h"

#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <stop_token>

#include "platform/Log.h"

namespace vaultmere {
namespace {

void endWhenDue(const std::stop_token& stop, std::chrono::milliseconds limit) {
  std::mutex mutex;
  std::condition_variable_any stopped;
  std::unique_lock lock(mutex);
  stopped.wait_for(lock, stop, limit, [] { return false; });
  if (!stop.stop_requested()) {
    logLine("Vaultmere: a drive gives no answer — ended without waiting for it");
    ::_exit(0);
  }
}

}  // namespace

ShutdownDeadline::ShutdownDeadline(std::chrono::milliseconds limit)
    : watch_([limit](const std::stop_token& stop) { endWhenDue(stop, limit); }) {}

}  // namespace vaultmere
