// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/FileHash.h"

#include <algorithm>
#include <cerrno>
#include <vector>

#include "platform/Sha256.h"

namespace vaultmere {

HashedFile hashFile(const fs::path& path, PageCache from, const std::stop_token& stop) {
  File file = File::openForReading(path);
  return hashFile(file, from, stop);
}

HashedFile hashFile(File& file, PageCache from, const std::stop_token& stop) {
  if (from == PageCache::bypass) {
    file.dropCache();
  }
  HashedFile result{"", file.status().stamp, 0};
  Sha256 hash;
  readInChunks(file, stop, [&](std::span<const std::byte> chunk) {
    hash.update(chunk);
    result.size += static_cast<std::int64_t>(chunk.size());
  });
  result.hash = hash.hexDigest();
  return result;
}

void readInChunks(File& file, const std::stop_token& stop,
                  const std::function<void(std::span<const std::byte>)>& use) {
  std::vector<std::byte> buffer(kFileChunk);
  for (;;) {
    if (stop.stop_requested()) {
      throw FileError("read", file.path(), ECANCELED);
    }
    const std::size_t count = file.read(buffer);
    if (count == 0) {
      return;
    }
    use(std::span<const std::byte>(buffer).first(count));
  }
}

bool isHash(std::string_view text) {
  constexpr std::size_t digits = 64;
  return text.size() == digits && std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
         });
}

}  // namespace vaultmere
