// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/ByteView.h"

#include <unistd.h>

#include <cerrno>

namespace vaultmere {

std::string readAt(const File& file, std::uint64_t offset, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t have = 0;
  while (have < count) {
    const ssize_t got = ::pread(file.descriptor(), bytes.data() + have, count - have,
                                static_cast<off_t>(offset + have));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      break;
    }
    have += static_cast<std::size_t>(got);
  }
  bytes.resize(have);
  return bytes;
}

std::optional<std::uint64_t> ByteView::number(std::size_t offset, std::size_t width) const {
  const std::string_view digits = slice(offset, width);
  if (digits.empty() || width > sizeof(std::uint64_t)) {
    return std::nullopt;
  }
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const char digit = digits[order_ == std::endian::big ? i : width - 1 - i];
    value = value << 8U | static_cast<std::uint8_t>(digit);
  }
  return value;
}

std::string_view ByteView::slice(std::size_t offset, std::size_t count) const {
  if (offset > bytes_.size() || count > bytes_.size() - offset) {
    return {};
  }
  return bytes_.substr(offset, count);
}

std::optional<BoxHead> boxHead(std::string_view bytes, std::uint64_t rest) {
  const ByteView view(bytes);
  auto size = view.number(0, 4);
  BoxHead head{view.slice(4, 4), 8, 0};
  if (size == 1) {
    size = view.number(8, 8);
    head.header = 16;
  } else if (size == 0) {
    size = rest;
  }
  head.size = size.value_or(0);
  return head.size < head.header ? std::nullopt : std::optional(head);
}

}  // namespace vaultmere
