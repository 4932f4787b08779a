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

#include "gallery/http/HttpRequest.h"
#include "platform/Base64.h"
#include "platform/Sha256.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::string_view kScheme = "basic ";

/// Bringing marks into their order takes time by the square of their number,
/// and anybody may send a million of them. Longer texts stay as they are.
constexpr std::size_t kLongestComposed = 4096;

/// The text, which is UTF-8, in its composed form.
std::string composed(std::string text) {
  if (text.size() > kLongestComposed) {
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

/// The password that the head offers.
std::optional<std::string> candidateIn(std::string_view head) {
  const auto value = headerValue(head, "authorization");
  if (!value ||
      !asciiLower(std::string_view(*value).substr(0, kScheme.size())).starts_with(kScheme)) {
    return std::nullopt;
  }
  const auto text =
      decodeBase64(trimmed(std::string_view(*value).substr(kScheme.size()), kWhiteSpace));
  if (!text || validUtf8(*text) != *text) {
    return std::nullopt;
  }
  const auto colon = text->find(':');
  return colon == std::string::npos ? *text : text->substr(colon + 1);
}

/// Of equal length for all texts, so that comparing takes the same time.
std::string digest(std::string_view text) {
  Sha256 hash;
  hash.update(std::as_bytes(std::span(text)));
  return hash.hexDigest();
}

}  // namespace

bool isAuthorised(std::string_view head, std::string_view password) {
  if (password.empty()) {
    return true;
  }
  auto candidate = candidateIn(head);
  if (!candidate) {
    return false;
  }
  const std::string wanted = digest(composed(std::string(password)));
  const std::string offered = digest(composed(std::move(*candidate)));
  return CRYPTO_memcmp(wanted.data(), offered.data(), wanted.size()) == 0;
}

}  // namespace vaultmere
