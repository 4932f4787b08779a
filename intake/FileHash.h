// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/Files.h"

namespace vaultmere {

/// A file's hash, and the file that it was read from.
struct HashedFile {
  std::string hash;       ///< 64 lower-case hexadecimal digits
  FileStamp stamp;        ///< as it was before the first byte was read
  std::int64_t size = 0;  ///< the bytes that were hashed
};

enum class PageCache {
  use,    ///< cached pages will do
  bypass  ///< cached pages are dropped first, as far as the system allows
};

/// The SHA-256 of a file's bytes, read in pieces of kFileChunk. Throws
/// FileError; ECANCELED after a stop.
[[nodiscard]] HashedFile hashFile(const fs::path& file, PageCache from,
                                  const std::stop_token& stop);
/// The same of an open file, from its current position.
[[nodiscard]] HashedFile hashFile(File& file, PageCache from, const std::stop_token& stop);

/// Hands the rest of a file to `use`, in pieces of kFileChunk. Throws FileError;
/// ECANCELED after a stop.
void readInChunks(File& file, const std::stop_token& stop,
                  const std::function<void(std::span<const std::byte>)>& use);

/// True for 64 hexadecimal digits in lower case.
[[nodiscard]] bool isHash(std::string_view text);

}  // namespace vaultmere
