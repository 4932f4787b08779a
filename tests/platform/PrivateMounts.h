// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <system_error>

// Tests that plug drives in and out, with a mount table that nobody else sees.
namespace vaultmere {

inline void expectDone(int result, const char* what, const std::filesystem::path& where) {
  if (result == -1) {
    throw std::system_error(errno, std::generic_category(), what + (" " + where.string()));
  }
}

/// Mounts a file system in memory, 1 MiB, at an existing folder.
inline void plugIn(const std::filesystem::path& where, const char* source) {
  expectDone(::mount(source, where.c_str(), "tmpfs", 0, "size=1m"), "mount", where);
}

/// Shows a folder, with its file system, at another existing folder.
inline void bindMount(const std::filesystem::path& folder, const std::filesystem::path& where) {
  expectDone(::mount(folder.c_str(), where.c_str(), nullptr, MS_BIND, nullptr), "bind", where);
}

inline void unplug(const std::filesystem::path& where) {
  expectDone(::umount2(where.c_str(), MNT_DETACH), "umount", where);
}

/// Runs a test's body in a child process of its own mount table; what fails
/// there fails the test. The test is skipped where mounting isn't allowed.
inline void withPrivateMounts(const std::function<void()>& body) {
  constexpr int notAllowed = 77;
  std::fflush(nullptr);
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    if (::unshare(CLONE_NEWNS) == -1 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == -1) {
      std::_Exit(notAllowed);
    }
    try {
      body();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    std::fflush(nullptr);
    std::_Exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  if (WIFEXITED(status) && WEXITSTATUS(status) == notAllowed) {
    GTEST_SKIP() << "mounting isn't allowed here";
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "see the failures above";
}

}  // namespace vaultmere
