// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <map>

#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {

/// A Live Photo, an exact copy under another date, and a plain picture.
struct Sources {
  explicit Sources(const Archive& archive) {
    archive.source("live.heic", "the still");
    archive.source("live.mov", "the motion");
    archive.source("plain.jpg", "plain");
    archive.source("sub/same.jpg", "plain", "2021-05-06");
  }

  /// Each source's bytes stand at their place in the archive, once for each
  /// date, with one row for each content, and nothing else is there.
  static void expectArchived(Archive& archive) {
    const std::string still = "2020/2020-02/" + Archive::hashOf("the still");
    const std::string plain = Archive::hashOf("plain") + ".jpg";
    std::map<std::string, std::string> expected{{still + ".heic", "the still"},
                                                {still + ".mov", "the motion"},
                                                {"2020/2020-02/" + plain, "plain"},
                                                {"2021/2021-05/" + plain, "plain"}};
    Strings names;
    for (const std::string& file : archive.files()) {
      if (fs::path(file).filename().string().starts_with('.')) {
        continue;  // a killed copy's temporary file
      }
      names.push_back(file);
      EXPECT_EQ(slurp(archive.root() / file), expected[file]) << file;
    }
    EXPECT_EQ(names.size(), 4U) << testing::PrintToString(names);
    EXPECT_EQ(archive.rows().size(), 2U);
  }

  /// No source is gone whose bytes and row aren't there.
  static void expectNothingLost(Archive& archive) {
    const Strings rows = archive.rows();
    const auto isSafe = [&](const std::string& bytes, const std::string& hashed) {
      const std::string id = Archive::hashOf(hashed);
      bool isThere = false;
      for (const std::string& file : archive.files()) {
        isThere = isThere || (fs::path(file).stem() == id && slurp(archive.root() / file) == bytes);
      }
      const bool hasRow = std::any_of(rows.begin(), rows.end(), [&](const std::string& row) {
        return row.find(id) != std::string::npos;
      });
      return isThere && hasRow;
    };
    const auto check = [&](const char* name, const char* bytes, const char* hashed) {
      EXPECT_TRUE(fs::exists(archive.sources() / name) || isSafe(bytes, hashed)) << name;
    };
    check("live.heic", "the still", "the still");
    check("live.mov", "the motion", "the still");
    check("plain.jpg", "plain", "plain");
    check("sub/same.jpg", "plain", "plain");
  }
};

/// Runs `run` in a process of its own that is killed at its n-th step, for each
/// n that it has; then once more to its end, after which everything must be as
/// if nothing had happened. `check` sees what each kill leaves.
inline void killAtEveryStep(
    const std::function<void(Archive&)>& run,
    const std::function<void(const Archive&)>& check = [](const auto&) {}) {
  const auto inChild = [&](Archive& archive, std::size_t number) {
    const pid_t child = ::fork();
    if (child == 0) {
      const auto plan = FaultPlan::killing(number);
      run(archive);
      ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFSIGNALED(status);
  };
  constexpr std::size_t never = 0;
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled && !testing::Test::HasFailure(); ++number) {
    SCOPED_TRACE(number);
    Archive archive;
    const Sources sources(archive);
    archive.pool.join();  // a fork takes along only this thread, and locks of others
    wasKilled = inChild(archive, number);
    check(archive);
    Sources::expectNothingLost(archive);
    archive.catalog.reset();
    EXPECT_FALSE(inChild(archive, never));
    Sources::expectArchived(archive);
  }
}

}  // namespace vaultmere
