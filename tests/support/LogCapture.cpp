// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/LogCapture.h"

#include <algorithm>
#include <mutex>

#include "platform/Log.h"

namespace vaultmere {

struct LogCapture::State {
  std::mutex mutex;
  std::vector<std::string> lines;  // guarded by mutex
};

// The sink shares the state: a thread that is in the middle of logging when the
// capture goes still has somewhere to write.
LogCapture::LogCapture() : state_(std::make_shared<State>()) {
  setLogSink([state = state_](std::string_view text) {
    const std::lock_guard lock(state->mutex);
    state->lines.emplace_back(text);
  });
}

LogCapture::~LogCapture() { setLogSink({}); }

std::vector<std::string> LogCapture::lines() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lines;
}

bool LogCapture::contains(std::string_view part) const {
  const std::lock_guard lock(state_->mutex);
  return std::any_of(state_->lines.begin(), state_->lines.end(), [part](const std::string& line) {
    return line.find(part) != std::string::npos;
  });
}

void LogCapture::clear() {
  const std::lock_guard lock(state_->mutex);
  state_->lines.clear();
}

}  // namespace vaultmere
