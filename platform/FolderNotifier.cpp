// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/FolderNotifier.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

/// How long a missing folder may be back before it is noticed.
constexpr int kRetryMilliseconds = 1000;

constexpr std::uint32_t kChanges =
    IN_CREATE | IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
constexpr std::uint32_t kEnds = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;

}  // namespace

struct FolderNotifier::State {
  State(std::filesystem::path theFolder, std::function<void()> callback)
      : folder(std::move(theFolder)),
        inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
        wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
        onEvent(std::move(callback)) {}
  ~State() {
    ::close(inotify);
    ::close(wake);
  }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void tell() {
    const std::lock_guard lock(mutex);
    if (onEvent) {
      onEvent();
    }
  }

  bool isStopped() {
    const std::lock_guard lock(mutex);
    return !onEvent;
  }

  bool tryToWatch() {
    watch = ::inotify_add_watch(inotify, folder.c_str(), kChanges | kEnds | IN_ONLYDIR);
    return watch >= 0;
  }

  /// Takes what the kernel has; true when there was anything. An end of the
  /// watch, by removal or a move, makes the folder count as missing.
  bool takeEvents() {
    alignas(inotify_event) std::array<char, std::size_t{64} << 10> buffer{};
    bool any = false;
    for (;;) {
      const ssize_t count = ::read(inotify, buffer.data(), buffer.size());
      if (count <= 0) {
        return any;
      }
      any = true;
      for (ssize_t at = 0; at < count;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        if (event.wd == watch && (event.mask & kEnds) != 0) {
          ::inotify_rm_watch(inotify, watch);
          watch = -1;
        }
        at += static_cast<ssize_t>(sizeof event) + event.len;
      }
    }
  }

  void run() {
    for (bool changed = false; !isStopped(); changed = takeEvents()) {
      // What came before the watch had begun is told of by its beginning.
      const bool began = watch < 0 && tryToWatch();
      if (changed || began) {
        tell();
      }
      std::array<pollfd, 2> waits{{{inotify, POLLIN, 0}, {wake, POLLIN, 0}}};
      ::poll(waits.data(), waits.size(), watch < 0 ? kRetryMilliseconds : -1);
    }
  }

  const std::filesystem::path folder;
  const int inotify;
  const int wake;
  int watch = -1;  // the thread's own
  std::mutex mutex;
  std::function<void()> onEvent;  // guarded by mutex; null means stop
};

FolderNotifier::FolderNotifier(const std::filesystem::path& folder, std::function<void()> onEvent)
    : state_(std::make_shared<State>(folder, std::move(onEvent))) {
  if (state_->inotify < 0 || state_->wake < 0) {
    logLine("Vaultmere: no notice of changes in " + displayPath(folder) + " — " +
            std::generic_category().message(errno));
    return;
  }
  // Nobody joins it: adding a watch may hang on a dead network mount.
  std::thread([state = state_] { state->run(); }).detach();
}

FolderNotifier::~FolderNotifier() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->onEvent = nullptr;
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(state_->wake, &one, sizeof one);
}

}  // namespace vaultmere
