// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto padding = static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));
  if (const auto bytes = vaultmere::decodeBase64(text)) {
    if (size % 4 != 0 || padding > 2 || bytes->size() != size / 4 * 3 - padding) {
      std::abort();
    }
  }
  return 0;
}
