// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/HeadlessRun.h"

#include <fmt/format.h>

#include <csignal>
#include <optional>
#include <thread>

#include "app/AppModel.h"
#include "app/ShutdownDeadline.h"
#include "platform/AsioMainThread.h"
#include "platform/Files.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

/// Beyond the batch's own: for scans, the settings and the hooks.
constexpr unsigned kFurtherThreads = 2;

/// A list, its facets and the totals at once, each with a cached file between.
constexpr unsigned kCatalogThreads = 4;

/// Two besides those that make thumbnails, for images on a screen.
constexpr unsigned kOriginalsThreads = kThumbnailSlots + 2;

}  // namespace

int runHeadless(const DiagnosticEnvironment& environment, const AppDirectories& directories,
                std::chrono::milliseconds quitTimeout) {
  std::optional<ShutdownDeadline> deadline;  // first: it covers the end of all below
  AsioMainThread main;
  main.onSignals({SIGTERM, SIGINT}, [&main] {
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    main.stop();
  });
  try {
    const auto lock = InstanceLock::acquire(directories.data);
    if (!lock) {
      logLine("Vaultmere is already running.");
      return 1;
    }
    MediaService media({.process = {.program = directories.helpers / kMediaProgram},
                        .foreground = batchWidth(activeProcessors()),
                        .background = kThumbnailSlots - kForegroundSlots});
    ThreadPool pool(batchWidth(activeProcessors()) + kFurtherThreads);
    ThreadPool catalogPool(kCatalogThreads);
    ThreadPool originalsPool(kOriginalsThreads);
    AppModel model({main,
                    pool,
                    catalogPool,
                    originalsPool,
                    media,
                    directories,
                    environment,
                    postDesktopNotification,
                    nullptr,
                    [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); },
                    {}});
    main.run();
    deadline.emplace(quitTimeout);
    model.shutDown();
    // All before any goes: tasks of one post to another.
    for (ThreadPool* const each : {&pool, &catalogPool, &originalsPool}) {
      each->join();
    }
  } catch (const FileError& error) {
    logLine(fmt::format("Vaultmere: can't start — {}", error.what()));
    return 1;
  }
  return 0;
}

}  // namespace vaultmere
