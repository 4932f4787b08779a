// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/MainThread.h"

namespace vaultmere {

/// The way back to the main thread for an object that lives there. Wraps
/// operations of the object for workers; whoever calls what was wrapped, on any
/// thread, has it posted with copies of the values. It does nothing when the
/// object, and this member of it, is gone by its turn; a caller may outlive
/// both, and the main thread too.
class MainThreadCallback {
 public:
  explicit MainThreadCallback(MainThread& main)
      : main_(main), link_(std::make_shared<Link>(main)) {}
  ~MainThreadCallback() { link_->cut(); }
  MainThreadCallback(const MainThreadCallback&) = delete;
  MainThreadCallback& operator=(const MainThreadCallback&) = delete;

  template <typename Operation>
  [[nodiscard]] auto operator()(Operation operation) const {
    return [link = link_, operation = std::move(operation)](auto&&... values) {
      const std::lock_guard lock(link->mutex);
      if (link->main == nullptr) {
        return;
      }
      link->main->post(
          [link, operation,
           ... values = std::decay_t<decltype(values)>(std::forward<decltype(values)>(values))] {
            if (link->main != nullptr) {
              operation(values...);
            }
          });
    };
  }

  /// What was wrapped before does nothing from now on.
  void forget() {
    link_->cut();
    link_ = std::make_shared<Link>(main_);
  }

 private:
  struct Link {
    explicit Link(MainThread& theMain) : main(&theMain) {}
    void cut() {
      const std::lock_guard lock(mutex);
      main = nullptr;
    }

    std::mutex mutex;
    /// Null once what was wrapped does nothing. Written on the main thread alone,
    /// under the mutex, which the others read it under.
    MainThread* main;
  };

  MainThread& main_;
  std::shared_ptr<Link> link_;
};

}  // namespace vaultmere
