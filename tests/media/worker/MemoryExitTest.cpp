// SPDX-License-Identifier: GPL-3.0-or-later
#include <glib.h>
#include <gtest/gtest.h>

#include <csignal>
#include <new>
#include <stdexcept>
#include <thread>

#include "media/MediaExit.h"
#include "media/worker/MemoryExit.h"
#include "platform/Sanitizer.h"

namespace vaultmere {
namespace {

template <typename Exception>
void throwUncaught(const Exception& exception) {
  std::thread([&] { throw exception; }).join();
}

TEST(MemoryExit, TellsRefusedMemoryFromOtherEnds) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  const ::testing::ExitedWithCode forMemory(kMediaExitMemory);
  if (!kHasSanitizer) {  // it would end the process first
    EXPECT_EXIT((exitWhenOutOfMemory(), g_malloc(G_MAXSSIZE)), forMemory, "");
  }
  volatile const gsize many = G_MAXSIZE;
  EXPECT_EXIT((exitWhenOutOfMemory(), g_malloc_n(many, 2)), forMemory, "");
  EXPECT_EXIT((exitWhenOutOfMemory(), throwUncaught(std::bad_alloc())), forMemory, "");
  EXPECT_EXIT((exitWhenOutOfMemory(), throwUncaught(std::runtime_error("other"))),
              ::testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT((exitWhenOutOfMemory(), g_log("x", G_LOG_LEVEL_ERROR, "other")),
              ::testing::KilledBySignal(SIGTRAP), "other");
}

}  // namespace
}  // namespace vaultmere
