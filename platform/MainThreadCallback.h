// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include "platform/MainThread.h"

namespace vaultmere {

/// The way back to the main thread for an object that lives there. Wraps
/// operations of the object for workers; whoever calls what was wrapped, on any
/// thread, has it posted with copies of the values. It does nothing when the
/// object, and this member of it, is gone by its turn. The main thread itself
/// must live as long as those who call.
class MainThreadCallback {
 public:
  explicit MainThreadCallback(MainThread& main) : main_(main) {}

  template <typename Operation>
  [[nodiscard]] auto operator()(Operation operation) const {
    return [&main = main_, weak = std::weak_ptr<char>(alive_),
            operation = std::move(operation)](auto&&... values) {
      main.post(
          [weak, operation,
           ... values = std::decay_t<decltype(values)>(std::forward<decltype(values)>(values))] {
            if (weak.lock()) {
              operation(values...);
            }
          });
    };
  }

  /// What was wrapped before does nothing from now on.
  void forget() { alive_ = std::make_shared<char>(); }

 private:
  MainThread& main_;
  std::shared_ptr<char> alive_ = std::make_shared<char>();
};

}  // namespace vaultmere
