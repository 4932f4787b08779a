// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/AsioMainThread.h"
#include "platform/MainThreadCallback.h"

namespace vaultmere {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(AsioMainThread, RunsPostsTimersAndSignals) {
  AsioMainThread main;
  std::string order;
  main.onSignals({SIGUSR1}, [&] {
    order += "s";
    main.stop();
  });
  Timer stopped = main.after(milliseconds(1), [&] { order += "never"; });
  stopped.stop();
  Timer repeating;
  repeating = main.every(milliseconds(1), [&] {
    order += "t";
    if (order.size() == 3) {
      repeating.stop();
      std::raise(SIGUSR1);
    }
  });
  std::jthread other([&] { main.post([&] { order.insert(0, "p"); }); });
  other.join();
  main.run();
  EXPECT_EQ(order, "ptts");
}

TEST(AsioMainThread, TimersAndCallersMayOutliveIt) {
  std::optional<AsioMainThread> main(std::in_place);
  auto owner = std::make_unique<MainThreadCallback>(*main);
  const Timer timer = main->after(seconds(100), [] {});
  bool wasCalled = false;
  const auto call = (*owner)([&] { wasCalled = true; });
  call();
  owner.reset();
  main->post([&] { main->stop(); });
  main->run();
  main.reset();
  call();
  EXPECT_FALSE(wasCalled) << "its owner had gone";
}

}  // namespace
}  // namespace vaultmere
