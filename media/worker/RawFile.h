// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Files.h"

namespace vaultmere {

/// The header of a RAW file. Numbers are 0 and texts empty when unknown.
struct RawHeader {
  int width = 0;  ///< of the picture, before rotation
  int height = 0;
  int orientation = 1;  ///< EXIF code
  std::string make;
  std::string model;
  std::string lens;
  std::string dateTime;  ///< EXIF's form, "2021:06:01 10:11:12"
  double iso = 0;
  double fNumber = 0;
  double exposureTime = 0;  ///< seconds
  double focalLength = 0;   ///< millimetres
};

/// Developed pixels, 8-bit sRGB or grey, not rotated.
struct DevelopedRaw {
  int width = 0;
  int height = 0;
  int bands = 3;
  std::vector<std::uint8_t> pixels;
};

/// A camera's RAW file. One thread at a time; what fails gives nothing.
class RawFile {
 public:
  /// Null when the camera is unknown or the file no RAW. `file` must stay open.
  [[nodiscard]] static std::unique_ptr<RawFile> open(const File& file);
  ~RawFile();

  [[nodiscard]] const RawHeader& header() const { return header_; }

  /// The largest embedded JPEG; empty when there is none. Valid as long as this.
  [[nodiscard]] std::span<const std::uint8_t> preview();

  /// How many bytes developing takes, at half the size or the full one.
  [[nodiscard]] std::uint64_t developBytes(bool half) const;
  /// The developed sensor's data, at half the size or the full one; null when that
  /// fails. It is kept for the next call, until one asks for the other size.
  [[nodiscard]] const DevelopedRaw* develop(bool half);

 private:
  struct Reader;
  RawFile(const File& file, std::unique_ptr<Reader> reader);
  [[nodiscard]] static std::unique_ptr<Reader> openReader(const File& file);
  [[nodiscard]] std::optional<DevelopedRaw> developAnew(bool half);

  const File& file_;
  std::unique_ptr<Reader> reader_;
  RawHeader header_;
  std::uint64_t sensorPixels_;
  std::uint64_t picturePixels_;
  std::optional<bool> developedHalf_;  ///< how it has been developed last
  std::optional<DevelopedRaw> developed_;
};

}  // namespace vaultmere
