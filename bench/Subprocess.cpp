// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Subprocess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <stdexcept>

namespace vaultmere::bench {
namespace {

[[noreturn]] void fail(const std::string& program) {
  throw std::runtime_error(fmt::format("{} has failed", program));
}

double statusValue(pid_t process, const std::string& key) {
  std::ifstream status(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key + ":")) {
      return std::stod(line.substr(key.size() + 1)) / 1024;
    }
  }
  throw std::runtime_error(fmt::format("no {} of process {}", key, process));
}

}  // namespace

TurnTakingProcess::TurnTakingProcess(std::vector<std::string> command) : name_(command.front()) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) {
    fail(name_);
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  std::vector<char*> words;
  for (std::string& word : command) {
    words.push_back(word.data());
  }
  words.push_back(nullptr);
  const int result =
      ::posix_spawn(&process_, words.front(), &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::close(out[1]);
  input_ = ::fdopen(in[1], "w");
  output_ = ::fdopen(out[0], "r");
  if (result != 0) {
    process_ = -1;
    fail(name_);
  }
  awaitLine();
}

TurnTakingProcess::~TurnTakingProcess() {
  static_cast<void>(std::fclose(input_));
  static_cast<void>(std::fclose(output_));
  if (process_ > 0) {
    ::waitpid(process_, nullptr, 0);
  }
}

void TurnTakingProcess::takeTurn() {
  if (std::fputc('\n', input_) == EOF || std::fflush(input_) != 0) {
    fail(name_);
  }
  awaitLine();
}

void TurnTakingProcess::awaitLine() {
  for (int character = 0; character != '\n';) {
    character = std::fgetc(output_);
    if (character == EOF) {
      fail(name_);
    }
  }
}

double TurnTakingProcess::mebibytes(const std::string& key) const {
  return statusValue(process_, key);
}

void runToEnd(const std::string& program) {
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string name = program;
  const std::array<char*, 2> words{name.data(), nullptr};
  pid_t process = -1;
  const int result =
      ::posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  if (result != 0 || ::waitpid(process, &status, 0) != process || !WIFEXITED(status)) {
    fail(program);
  }
}

/// Stopped by the system as a debugger's program, at its end with its memory still
/// there.
double residentAtEnd(const std::string& program) {
  const pid_t process = ::fork();
  if (process == 0) {
    const int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDERR_FILENO);
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::execl(program.c_str(), program.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  if (::waitpid(process, &status, 0) != process || !WIFSTOPPED(status) ||
      ::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACEEXIT) != 0) {
    fail(program);
  }
  ::ptrace(PTRACE_CONT, process, nullptr, nullptr);
  if (::waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) {
    fail(program);
  }
  const double resident = statusValue(process, "VmRSS");
  ::ptrace(PTRACE_CONT, process, nullptr, nullptr);
  ::waitpid(process, &status, 0);
  return resident;
}

}  // namespace vaultmere::bench
