// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/TextFolding.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <new>

#include "platform/Text.h"

namespace vaultmere {
namespace {

// Composed again after the marks are gone, so that a Hangul syllable doesn't
// contain another one.
constexpr auto kFolding = static_cast<utf8proc_option_t>(
    UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_COMPAT | UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK);

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string foldedText(std::string_view text) {
  if (isAscii(text)) {
    return asciiLower(text);
  }
  const std::string valid = validUtf8(text);
  utf8proc_uint8_t* folded = nullptr;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(valid.data()),
                                   static_cast<utf8proc_ssize_t>(valid.size()), &folded, kFolding);
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(folded, &std::free);
  if (length < 0) {  // no memory: nothing else can fail with valid text
    throw std::bad_alloc();
  }
  return {reinterpret_cast<const char*>(folded), static_cast<std::size_t>(length)};
}

bool foldedContains(std::string_view text, std::string_view foldedTerm) {
  // Most texts of a library are short and ASCII: no memory is taken for them.
  std::array<char, 256> lower;  // NOLINT: filled as far as it is read
  if (text.size() > lower.size() || !isAscii(text)) {
    return foldedText(text).find(foldedTerm) != std::string::npos;
  }
  std::transform(text.begin(), text.end(), lower.begin(), lowered);
  return std::string_view(lower.data(), text.size()).find(foldedTerm) != std::string_view::npos;
}

}  // namespace vaultmere
