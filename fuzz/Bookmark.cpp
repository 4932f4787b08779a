// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Bookmark.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

// Bookmarks as they stand in the settings file: what is read is written and read
// again the same.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (json.is_discarded()) {
    return 0;
  }
  if (const auto bookmark = vaultmere::Bookmark::fromJson(json)) {
    const std::string written = bookmark->toJson().dump();
    const auto again = vaultmere::Bookmark::fromJson(nlohmann::json::parse(written));
    if (again != bookmark) {
      std::abort();
    }
  }
  return 0;
}
