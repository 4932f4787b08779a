// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

/// A number of this many bytes.
[[nodiscard]] std::string littleEndian(std::uint64_t value, int bytes = 4);

/// One directory of a TIFF file: values by tag.
class TiffDirectory {
 public:
  void bytes(std::uint16_t tag, std::string_view values);  ///< type BYTE
  void text(std::uint16_t tag, const std::string& value);  ///< type ASCII
  void shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values);
  void longs(std::uint16_t tag, const std::vector<std::uint32_t>& values);
  /// Type SRATIONAL, in ten-thousandths.
  void rationals(std::uint16_t tag, const std::vector<double>& values);

 private:
  friend class TiffFile;
  struct Value {
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::string bytes;
  };
  std::map<std::uint16_t, Value> values_;  // a directory is sorted by tag
};

/// A little-endian TIFF file that grows from the front: first what directories
/// point at, then the directories, the first one of the file last.
class TiffFile {
 public:
  TiffFile();
  /// Adds data and gives its offset.
  [[nodiscard]] std::uint32_t add(std::string_view data);
  /// Adds a directory with its values and gives its offset.
  [[nodiscard]] std::uint32_t add(const TiffDirectory& directory);
  /// Ends the file with its first directory.
  [[nodiscard]] std::string finish(const TiffDirectory& first);

 private:
  std::string bytes_;
};

}  // namespace vaultmere
