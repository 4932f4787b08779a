// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Files.h"

// Bytes of untrusted files: what lies outside of them reads as absent.
namespace vaultmere {

/// Up to `count` bytes from `offset` on; fewer at the end of the file, none when
/// they can't be read. The file's own position stays where it is.
[[nodiscard]] std::string readAt(const File& file, std::uint64_t offset, std::size_t count);

/// Unsigned numbers of 1 to 8 bytes at offsets in a run of bytes.
class ByteView {
 public:
  explicit ByteView(std::string_view bytes, std::endian order = std::endian::big)
      : bytes_(bytes), order_(order) {}

  [[nodiscard]] std::optional<std::uint64_t> number(std::size_t offset, std::size_t width) const;
  /// `count` bytes from `offset` on; empty unless all of them are there.
  [[nodiscard]] std::string_view slice(std::size_t offset, std::size_t count) const;
  [[nodiscard]] std::string_view bytes() const { return bytes_; }

 private:
  std::string_view bytes_;
  std::endian order_;
};

/// The head of a box of MP4, QuickTime and HEIF (ISO/IEC 14496-12, 4.2).
struct BoxHead {
  std::string_view type;     ///< four bytes, of those that were given
  std::uint64_t header = 0;  ///< the bytes of the head itself: 8 or 16
  std::uint64_t size = 0;    ///< of the whole box, never less than `header`
};

/// Reads the head that `bytes` begin with. `rest` is what a size of 0 stands for:
/// up to the end of what the box lies in. Absent when it is cut or its size is below that of the
/// head.
[[nodiscard]] std::optional<BoxHead> boxHead(std::string_view bytes, std::uint64_t rest);

}  // namespace vaultmere
