// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>
#include <thread>

#include "app/HeadlessRun.h"
#include "platform/Log.h"
#include "tests/intake/CrashScenario.h"
#include "tests/media/FaultyMedia.h"
#include "tests/support/DeterministicRandom.h"

namespace vaultmere {
namespace {

fs::path helpersOf(const Archive& archive) { return archive.folder / "libexec"; }

/// Gives the runs over an archive this program for their media processes, by a
/// path of its own.
void useMediaProgram(const Archive& archive, const fs::path& program) {
  fs::create_directories(helpersOf(archive));
  fs::create_symlink(program, helpersOf(archive) / kMediaProgram);
}

/// The media processes of the runs over an archive, also of those that are over.
std::vector<pid_t> mediaProcesses(const Archive& archive) {
  std::vector<pid_t> found;
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") == std::string::npos) {
      std::ifstream in(entry.path() / "cmdline");
      std::string program;
      std::getline(in, program, '\0');
      if (program == (helpersOf(archive) / kMediaProgram).native()) {
        found.push_back(std::stoi(name));
      }
    }
  }
  return found;
}

void expectNoMediaProcess(const Archive& archive) {
  EXPECT_TRUE(eventually([&] { return mediaProcesses(archive).empty(); }));
}

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
  directories.helpers = helpersOf(archive);
  return runHeadless({archive.sources().string(), archive.root().string()}, directories,
                     quitTimeout);
}

TEST(HeadlessRun, KilledAtAnyStepItHealsAtTheNextRun) {
  killAtEveryStep(
      [](Archive& archive) {
        if (!fs::exists(helpersOf(archive))) {
          useMediaProgram(archive, VAULTMERE_FAULTY_MEDIA_PROGRAM);  // it starts faster
        }
        if (runUntilSignal(archive, kQuitTimeout) != 0) {
          ::_exit(1);
        }
      },
      expectNoMediaProcess);
}

TEST(HeadlessRun, KilledAtAnyMomentWithItsMediaProcessesItHealsAtTheNextRun) {
  DeterministicRandom random(8);
  const auto pause = [&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(random.below(120)));
  };
  for (int round = 0; round < 12 && !testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    Archive archive;
    const Sources sources(archive);
    useMediaProgram(archive, testMediaOptions().process.program);
    archive.pool.join();
    const auto run = [&] {
      const pid_t child = ::fork();
      if (child == 0) {
        ::_exit(runUntilSignal(archive, kQuitTimeout));
      }
      return child;
    };
    const pid_t killed = run();
    for (int kills = random.below(3); kills > 0; --kills) {
      pause();
      for (const pid_t process : mediaProcesses(archive)) {
        ::kill(process, SIGKILL);
      }
    }
    pause();
    ::kill(killed, SIGKILL);
    EXPECT_EQ(::waitpid(killed, nullptr, 0), killed);
    expectNoMediaProcess(archive);
    Sources::expectNothingLost(archive);
    archive.catalog.reset();
    int status = -1;
    EXPECT_EQ(::waitpid(run(), &status, 0) > 0 ? status : -1, 0);
    expectNoMediaProcess(archive);
    Sources::expectArchived(archive);
  }
}

TEST(HeadlessRun, QuittingDoesNotWaitForADriveThatHangs) {
  Archive archive;
  archive.source("a.jpg", "a");
  useMediaProgram(archive, testMediaOptions().process.program);
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
