// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/MemoryFile.h"
#include "media/worker/HeifCompatibility.h"
#include "media/worker/HeifOrientation.h"

// The structure of HEIC, HEIF and AVIF files: what is read of it, and what is
// shown to the library in its place.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vaultmere;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  const MemoryFile original(bytes);
  const auto orientation = heifOrientation(original.file());
  require(!orientation || (*orientation >= 1 && *orientation <= 8));
  const auto dimensions = heifSize(original.file());
  require(!dimensions || (dimensions->width > 0 && dimensions->height > 0));
  for (const FilePart& part : heifReplacements(original.file())) {
    require(part.offset <= bytes.size() && part.bytes.size() <= bytes.size() - part.offset);
    bytes.replace(static_cast<std::size_t>(part.offset), part.bytes.size(), part.bytes);
  }
  const MemoryFile shown(bytes);
  require(heifOrientation(shown.file()) == orientation);
  require(heifReplacements(shown.file()).empty());
  return 0;
}
