// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <string>
#include <thread>

#include "platform/AsioMainThread.h"
#include "tests/support/ManualMainThread.h"

namespace vaultmere {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ManualMainThread, TimersFireInOrderAtTheirOwnMoment) {
  ManualMainThread main(TimePoint{});
  std::string story;
  const Timer late = main.after(seconds(3), [&] { story += "c"; });
  const Timer early = main.after(seconds(1), [&] {
    story += "a";
    EXPECT_EQ(main.now(), TimePoint{} + seconds(1));
  });
  Timer repeating = main.every(seconds(2), [&] { story += "r"; });
  Timer stopped = main.after(seconds(2), [&] { story += "never"; });
  stopped.stop();
  main.advance(seconds(4));
  EXPECT_EQ(story, "arcr");
  repeating = Timer();
  main.advance(seconds(10));
  EXPECT_EQ(story, "arcr");
}

TEST(AsioMainThread, RunsPostsTimersAndSignals) {
  AsioMainThread main;
  std::string story;
  main.onSignals({SIGUSR1}, [&] {
    story += "s";
    main.stop();
  });
  Timer stopped = main.after(milliseconds(1), [&] { story += "never"; });
  stopped.stop();
  Timer repeating;
  repeating = main.every(milliseconds(1), [&] {
    story += "t";
    if (story.size() == 3) {
      repeating.stop();
      std::raise(SIGUSR1);
    }
  });
  std::jthread other([&] { main.post([&] { story.insert(0, "p"); }); });
  other.join();
  main.run();
  EXPECT_EQ(story, "ptts");
}

TEST(AsioMainThread, ATimerMayOutliveIt) {
  std::optional<AsioMainThread> main(std::in_place);
  const Timer timer = main->after(seconds(100), [] {});
  main.reset();
}

}  // namespace
}  // namespace vaultmere
