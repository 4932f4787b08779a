// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstddef>
#include <cstdint>

#include "fuzz/MemoryFile.h"
#include "media/worker/ImageFormat.h"
#include "media/worker/X3fFile.h"

// What is told of a still by its first bytes, and the RAW files that no library
// reads.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vaultmere;
  const MemoryFile memory({reinterpret_cast<const char*>(data), size});
  if (const auto format = recogniseImage(memory.file())) {
    require(format->mimeType.starts_with("image/"));
    (void)declaredPixels(memory.file(), *format);
  }
  if (const auto x3f = readX3f(memory.file())) {
    require(x3f->header.width >= 0 && x3f->header.height >= 0 && x3f->preview.size() <= size);
    require(x3f->header.dateTime.empty() || x3f->header.dateTime.size() == 19);
  }
  return 0;
}
