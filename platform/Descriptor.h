// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <unistd.h>

#include <utility>

namespace vaultmere {

/// Owns an open file descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int value) noexcept : value_(value) {}
  ~Descriptor() {
    if (value_ >= 0) {
      ::close(value_);
    }
  }
  Descriptor(Descriptor&& other) noexcept : value_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  [[nodiscard]] int get() const noexcept { return value_; }
  [[nodiscard]] int release() noexcept { return std::exchange(value_, -1); }

 private:
  int value_;
};

}  // namespace vaultmere
