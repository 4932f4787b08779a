// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>

#include "app/HeadlessRun.h"
#include "platform/Log.h"
#include "tests/intake/CrashScenario.h"

namespace vaultmere {
namespace {

/// Runs the program's self-test over an archive, up to a signal. For a process
/// of its own.
int runUntilSignal(const Archive& archive, std::chrono::milliseconds quitTimeout) {
  ::setenv("XDG_DATA_HOME", archive.data().parent_path().c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", (archive.folder / "config").c_str(), 1);
  setLogSink([](std::string_view line) {
    if (line.starts_with("SELFTEST_END")) {
      std::raise(SIGTERM);
    }
  });
  AppDirectories directories = AppDirectories::ofUser();
  directories.helpers = testMediaOptions().process.program.parent_path();
  return runHeadless({archive.sources().string(), archive.root().string()}, directories,
                     quitTimeout);
}

TEST(HeadlessRun, KilledAtAnyStepItHealsAtTheNextRun) {
  constexpr std::size_t stride = 4;  // each run starts the whole program, twice
  killAtEveryStep(
      [](Archive& archive) {
        if (runUntilSignal(archive, kQuitTimeout) != 0) {
          ::_exit(1);
        }
      },
      stride);
}

TEST(HeadlessRun, QuittingDoesNotWaitForADriveThatHangs) {
  Archive archive;
  archive.source("a.jpg", "a");
  archive.pool.join();  // a fork takes along only this thread
  const pid_t child = ::fork();
  if (child == 0) {
    const auto hangs = FaultPlan::doing("rename", 1, [] {
      std::raise(SIGTERM);
      for (;;) {
        ::pause();
      }
    });
    runUntilSignal(archive, std::chrono::milliseconds(20));
    ::_exit(1);  // unreachable: the copy never ends
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_TRUE(fs::exists(archive.sources() / "a.jpg"));
}

}  // namespace
}  // namespace vaultmere
