// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace vaultmere {

/// An incremental SHA-256 (FIPS 180-4). One thread at a time.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(Sha256&&) noexcept;
  Sha256& operator=(Sha256&&) noexcept;

  void update(std::span<const std::byte> bytes);

  /// 64 lower-case hexadecimal digits. The hash is used up after this.
  [[nodiscard]] std::string hexDigest();

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

}  // namespace vaultmere
