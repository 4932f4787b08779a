// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace vaultmere {

/// The gallery's password, kept as a hash. A value.
class Password {
 public:
  /// An empty one admits everyone.
  explicit Password(std::string_view text);

  [[nodiscard]] bool isRequired() const noexcept { return !digest_.empty(); }

  /// Whether the value of an `Authorization` header has the password, by HTTP's
  /// Basic scheme (RFC 7617, in UTF-8). The user name doesn't matter and may be
  /// missing, with its colon too. Composed and decomposed letters are the same.
  /// The time depends on the header's length alone, which counts up to 16 KiB:
  /// longer ones are refused unread.
  [[nodiscard]] bool accepts(std::string_view authorization) const;

 private:
  std::string digest_;
};

}  // namespace vaultmere
