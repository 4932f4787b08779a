// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/MemoryFile.h"
#include "media/worker/IsoBmffReader.h"

// The boxes of MP4, MOV and 3GP files.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vaultmere;
  const MemoryFile memory({reinterpret_cast<const char*>(data), size});
  const IsoBmffItems items = readIsoBmffItems(memory.file());
  for (const auto& display : items.displaySizes) {
    require(display.width >= 1 && display.height >= 1);
  }
  for (const VideoText& location : items.locations) {
    require(!location.key.empty() && location.text.size() <= size + 64);
  }
  return 0;
}
