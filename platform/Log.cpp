// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Log.h"

#include <fmt/format.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <mutex>
#include <string>

#include "platform/Text.h"

namespace vaultmere {
namespace {

std::mutex sinkMutex;
std::function<void(std::string_view)> sink;  // guarded by sinkMutex

std::string prefix() {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::tm local{};
  localtime_r(&now.tv_sec, &local);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}.{:03} Vaultmere[{}:{}] ",
                     local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                     local.tm_min, local.tm_sec, now.tv_usec / 1000, getpid(), gettid());
}

/// Writes as much as standard error takes; there is nobody to tell of the rest.
void writeToStandardError(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

void logLine(std::string_view text) {
  const std::lock_guard lock(sinkMutex);
  if (sink) {
    sink(text);
    return;
  }
  writeToStandardError(prefix() + oneLine(text) + '\n');
}

void setLogSink(std::function<void(std::string_view)> newSink) {
  const std::lock_guard lock(sinkMutex);
  sink = std::move(newSink);
}

}  // namespace vaultmere
