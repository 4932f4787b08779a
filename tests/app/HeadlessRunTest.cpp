// SPDX-License-Identifier: GPL-3.0-or-later
#include <csignal>

#include "app/HeadlessRun.h"
#include "platform/Log.h"
#include "tests/intake/CrashScenario.h"

namespace vaultmere {
namespace {

TEST(KilledProgram, HealsAtTheNextRun) {
  killAtEveryStep([](Archive& archive) {
    ::setenv("XDG_DATA_HOME", archive.data().parent_path().c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (archive.folder / "config").c_str(), 1);
    setLogSink([](std::string_view line) {
      if (line.starts_with("SELFTEST_END")) {
        std::raise(SIGTERM);
      }
    });
    if (runHeadless({archive.sources().string(), archive.root().string()}) != 0) {
      ::_exit(1);
    }
  });
}

}  // namespace
}  // namespace vaultmere
