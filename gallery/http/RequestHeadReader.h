// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vaultmere {

/// Gathers a request's head from the pieces in which it arrives. It knows
/// nothing of sockets, never looks at a byte twice, and gives the same result
/// however the bytes are cut.
class RequestHeadReader {
 public:
  /// The blank line must end within so many bytes.
  static constexpr std::size_t kHeadLimit = 1'048'576;

  enum class Result {
    needMore,
    complete,  ///< `head` is there; what came behind the blank line is forgotten
    drop,      ///< too long: the connection is closed without a response
  };

  /// Takes the next bytes. Not to be called again after another result than
  /// `needMore`.
  [[nodiscard]] Result feed(std::string_view bytes);

  /// All before the blank line, as it was received. Once, when `complete`.
  [[nodiscard]] std::string takeHead();

  /// The bytes of memory that an unfinished head takes.
  [[nodiscard]] std::size_t held() const { return buffer_.empty() ? 0 : buffer_.capacity(); }

 private:
  std::string buffer_;
};

}  // namespace vaultmere
