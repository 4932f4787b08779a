// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "media/MediaService.h"

namespace vaultmere {

/// Media processes with faults: see tests/media/faulty/main.cpp. `start` is what
/// they do at their start. Little memory is too much.
inline MediaPool::Options faultyMediaOptions(std::string start = "") {
  using namespace std::chrono_literals;
  return {.process = {.program = VAULTMERE_FAULTY_MEDIA_PROGRAM,
                      .arguments = {start},
                      .startTimeout = start == "never-ready" ? 100ms : 10s,
                      .maxResidentBytes = std::size_t{100} << 20},
          .idleTimeout = 1h};
}

/// The states of this process's children by their ids: 'Z' for one that is over,
/// and hasn't been reaped.
inline std::vector<std::pair<pid_t, char>> childProcesses() {
  std::vector<std::pair<pid_t, char>> children;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    std::ifstream in(entry.path() / "stat");
    std::string text;
    std::getline(in, text);  // nothing if it is over by now
    const auto end = text.rfind(')');
    if (end != std::string::npos && std::stoi(text.substr(end + 4)) == ::getpid()) {
      children.emplace_back(std::stoi(name), text[end + 2]);
    }
  }
  return children;
}

inline std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/// Waits until something holds; false after ten seconds.
template <typename Holds>
bool eventually(Holds holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace vaultmere
