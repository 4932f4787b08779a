// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Base64.h"

#include <cstddef>
#include <cstdint>

namespace vaultmere {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// How many "=" end the text: 0 to 2.
std::size_t paddingOf(std::string_view text) {
  return text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
}

}  // namespace

std::optional<std::string> decodeBase64(std::string_view text) {
  if (text.size() % 4 != 0) {
    return std::nullopt;
  }
  text.remove_suffix(paddingOf(text));
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;  // of which the last `count` haven't become a byte yet
  unsigned count = 0;
  for (const char c : text) {
    const auto value = kAlphabet.find(c);
    if (value == std::string_view::npos) {
      return std::nullopt;
    }
    bits = (bits << 6U) | static_cast<std::uint32_t>(value);
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes.push_back(static_cast<char>((bits >> count) & 0xFFU));
    }
  }
  return bytes;
}

}  // namespace vaultmere
