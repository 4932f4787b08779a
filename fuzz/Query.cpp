// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "gallery/GalleryFilter.h"
#include "gallery/http/HttpRequest.h"
#include "platform/Text.h"

// The query text of a request: its keys and values, and the condition on the
// catalog that they stand for.

namespace {

using namespace vaultmere;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// Each byte as "%XX".
std::string percentEncoded(std::string_view text) {
  constexpr const char* kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    encoded.append(1, '%').append(1, kDigits[byte / 16]).append(1, kDigits[byte % 16]);
  }
  return encoded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = validUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  const HttpQuery query = parseQuery(text);
  std::string again;
  for (const auto& [key, value] : query) {
    require(!key.empty() && key.find_first_of("=&") == std::string::npos);
    require(validUtf8(key) == key && validUtf8(value) == value);
    again += "&" + key + "=" + percentEncoded(value);
  }
  require(parseQuery(again) == query);
  require(percentDecoded(percentEncoded(text)) == text);
  const Predicate predicate = GalleryFilter::of(query).predicate();
  require(!predicate.gathering.empty());
  (void)integerOf(text);
  return 0;
}
