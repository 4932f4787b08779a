// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/Authentication.h"

#include <openssl/crypto.h>
#include <utf8proc.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "platform/Base64.h"
#include "platform/Sha256.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::string_view kScheme = "basic ";

/// Headers above this are refused.
constexpr std::size_t kMaxHeader = 16384;

/// Putting marks into their order takes time by the square of their number.
/// Texts with more marks in a row aren't in any writing system; they are compared
/// as they are. (UAX #15, Stream-Safe Text Format)
constexpr int kMaxMarks = 30;

/// True when no run of combining marks is longer than `kMaxMarks`.
bool isStreamSafe(std::string_view text) {
  int marks = 0;
  const auto* next = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  auto left = static_cast<utf8proc_ssize_t>(text.size());
  while (left > 0) {
    utf8proc_int32_t character = 0;
    const utf8proc_ssize_t length = utf8proc_iterate(next, left, &character);
    if (length <= 0) {
      return false;
    }
    marks = utf8proc_get_property(character)->combining_class == 0 ? 0 : marks + 1;
    if (marks > kMaxMarks) {
      return false;
    }
    next += length;
    left -= length;
  }
  return true;
}

/// The text, which is UTF-8, in its composed form.
std::string composed(std::string text) {
  if (!isStreamSafe(text)) {
    return text;
  }
  utf8proc_uint8_t* mapped = nullptr;
  const auto length =
      utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                   static_cast<utf8proc_ssize_t>(text.size()), &mapped,
                   static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
  return length < 0
             ? std::move(text)
             : std::string(reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length));
}

/// The password that the header's value offers.
std::optional<std::string> candidateIn(std::string_view value) {
  if (value.size() > kMaxHeader ||
      !asciiLower(value.substr(0, kScheme.size())).starts_with(kScheme)) {
    return std::nullopt;
  }
  const auto text = decodeBase64(trimmed(value.substr(kScheme.size()), kWhiteSpace));
  if (!text || validUtf8(*text) != *text) {
    return std::nullopt;
  }
  const auto colon = text->find(':');
  return colon == std::string::npos ? *text : text->substr(colon + 1);
}

/// Of equal length for all texts, so that comparing takes the same time.
std::string digestOf(std::string text) {
  Sha256 hash;
  const std::string form = composed(std::move(text));
  hash.update(std::as_bytes(std::span(form)));
  return hash.hexDigest();
}

}  // namespace

Password::Password(std::string_view text)
    : digest_(text.empty() ? std::string() : digestOf(std::string(text))) {}

bool Password::accepts(std::string_view authorization) const {
  if (!isRequired()) {
    return true;
  }
  auto candidate = candidateIn(authorization);
  if (!candidate) {
    return false;
  }
  const std::string offered = digestOf(std::move(*candidate));
  return CRYPTO_memcmp(digest_.data(), offered.data(), digest_.size()) == 0;
}

}  // namespace vaultmere
