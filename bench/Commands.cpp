// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Commands.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace vaultmere::bench {
namespace {

/// What the new process does; never comes back.
[[noreturn]] void become(char* const* command, int processor) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(processor), &one);
  ::sched_setaffinity(0, sizeof one, &one);
  if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) {
    ::dup2(nowhere, STDOUT_FILENO);
  }
  ::execvp(command[0], command);
  ::_exit(127);
}

}  // namespace

std::string outputOf(const std::string& command) {
  FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) {
    throw std::runtime_error(fmt::format("can't run “{}”", command));
  }
  std::string text;
  std::array<char, 512> buffer{};
  while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
    text += buffer.data();
  }
  if (::pclose(pipe) != 0) {
    throw std::runtime_error(fmt::format("“{}” failed: {}", command, text));
  }
  return text;
}

BackgroundProcess::BackgroundProcess(std::vector<std::string> command, int processor)
    : name_(command.front()) {
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (std::string& word : command) {
    words.push_back(word.data());
  }
  words.push_back(nullptr);
  process_ = ::fork();
  if (process_ == 0) {
    become(words.data(), processor);
  }
  if (process_ < 0) {
    throw std::runtime_error(fmt::format("can't start {}", name_));
  }
}

BackgroundProcess::~BackgroundProcess() {
  if (process_ > 0) {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
  }
}

void BackgroundProcess::checkRunning() {
  if (process_ < 0 || ::waitpid(process_, nullptr, WNOHANG) != 0) {
    process_ = -1;
    throw std::runtime_error(fmt::format("{} has ended", name_));
  }
}

std::vector<int> usableProcessors() {
  cpu_set_t usable;
  CPU_ZERO(&usable);
  std::vector<int> processors;
  if (::sched_getaffinity(0, sizeof usable, &usable) == 0) {
    for (int number = 0; number < CPU_SETSIZE; ++number) {
      if (CPU_ISSET(static_cast<std::size_t>(number), &usable)) {
        processors.push_back(number);
      }
    }
  }
  return processors;
}

}  // namespace vaultmere::bench
