// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "tests/support/Metadata.h"
#include "tests/support/Painter.h"

namespace vaultmere {

/// A JPEG for quick showing, beside the sensor's data.
struct RawPreview {
  int width = 160;
  int height = 120;
  /// Empty for the RAW's own painter; another one tells which of the two
  /// pictures a reader has shown.
  Painter painter{};
};

struct DngOptions {
  int width = 128;  ///< of the sensor; even, at least 32
  int height = 96;
  std::string make = "Halden";
  std::string model = "Halden H1";
  Painter painter = gradient({20, 60, 200}, {240, 200, 40});
  std::optional<RawPreview> preview{};
  /// False for a file of an unknown camera: no DNG, its sensor's data in a form
  /// that no library reads, a black picture of 32 × 24 pixels first and the
  /// preview in a sub-directory. Its name must have the extension of a RAW kind.
  bool isKnown = true;
  /// Dates, exposure, lens, position, orientation. An embedded thumbnail isn't
  /// for RAW files: `preview` is.
  Metadata metadata{};
};

/// Makes or replaces an uncompressed 16-bit Bayer (RGGB) DNG, which LibRaw opens
/// and develops. Colours come out near the painter's, not equal to them. The
/// same options give the same bytes. Throws std::runtime_error.
void makeDng(const std::filesystem::path& path, const DngOptions& options = {});

/// A RAW file in Sigma's own structure (X3F).
struct X3fOptions {
  int width = 0;
  int height = 0;
  int rotation = 0;                                 ///< degrees clockwise
  std::map<std::string, std::string> properties{};  ///< {"CAMMODEL", "SD9"}
  std::string preview{};                            ///< a JPEG
};

/// Such a file without the sensor's data.
[[nodiscard]] std::string x3fBytes(const X3fOptions& options);

}  // namespace vaultmere
