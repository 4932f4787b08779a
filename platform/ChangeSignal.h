// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/signal.h>

#include <utility>

#include "platform/MainThreadCallback.h"

namespace vaultmere {

/// Says that something has changed, at most once a turn of the main thread's
/// event loop: however often `notify` is called meanwhile, each connected function
/// is called once, posted. Main thread only.
class ChangeSignal {
 public:
  explicit ChangeSignal(MainThread& main) : toMain_(main) {}

  void notify() {
    if (!std::exchange(isPending_, true)) {
      toMain_([this] {
        isPending_ = false;
        signal_();
      })();
    }
  }

  template <typename Function>
  sigc::connection connect(Function&& function) {
    return signal_.connect(std::forward<Function>(function));
  }

 private:
  const MainThreadCallback toMain_;
  sigc::signal<void()> signal_;
  bool isPending_ = false;
};

}  // namespace vaultmere
