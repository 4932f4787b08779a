// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/MainThread.h"

namespace vaultmere {

/// The way back to the main thread for an object that lives there. Wraps
/// operations of the object for workers; a call of what was wrapped, on any
/// thread, has it posted with copies of the values. It does nothing when the
/// object, and this member of it, is gone by its turn. Callers may
/// outlive the main thread; this may not.
class MainThreadCallback {
 public:
  explicit MainThreadCallback(MainThread& main) : main_(main) {}
  ~MainThreadCallback() { target_->clear(); }
  MainThreadCallback(const MainThreadCallback&) = delete;
  MainThreadCallback& operator=(const MainThreadCallback&) = delete;

  template <typename Operation>
  [[nodiscard]] auto operator()(Operation operation) const {
    return [target = target_, operation = std::move(operation)](auto&&... values) {
      target->post(
          [target, operation,
           ... values = std::decay_t<decltype(values)>(std::forward<decltype(values)>(values))] {
            if (target->isThere()) {
              operation(values...);
            }
          });
    };
  }

  /// What was wrapped before does nothing from now on.
  void forget() { std::exchange(target_, std::make_shared<Target>(main_))->clear(); }

 private:
  class Target {
   public:
    explicit Target(MainThread& main) : main_(&main) {}

    void post(MainThread::Task task) {
      const std::lock_guard lock(mutex_);
      if (main_ != nullptr) {
        main_->post(std::move(task));
      }
    }
    [[nodiscard]] bool isThere() {
      const std::lock_guard lock(mutex_);
      return main_ != nullptr;
    }
    void clear() {
      const std::lock_guard lock(mutex_);
      main_ = nullptr;
    }

   private:
    std::mutex mutex_;
    MainThread* main_;  // guarded by mutex_
  };

  MainThread& main_;
  std::shared_ptr<Target> target_ = std::make_shared<Target>(main_);
};

}  // namespace vaultmere
