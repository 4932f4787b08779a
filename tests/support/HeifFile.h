// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

/// A HEIC or AVIF file as its items (ISO/IEC 14496-12 and 23008-12), to be
/// changed into the forms that phones write and libheif's writer doesn't.
struct HeifFile {
  struct Item {
    std::uint16_t id = 0;
    std::string type;                          ///< "hvc1", "Exif", "tmap", …
    std::string names = std::string(1, '\0');  ///< what follows the type in `infe`
    std::string data{};
    std::vector<std::string> properties{};  ///< whole boxes, in the order of their use
    unsigned method = 0;                    ///< how the data are found; only 0 is really written
    bool located = true;                    ///< false: it stands in `iinf` only
  };
  struct Reference {
    std::string type;
    std::uint16_t from = 0;
    std::vector<std::uint16_t> to;
  };

  std::vector<std::string> brands;  ///< the major one, then the compatible ones
  std::uint16_t primary = 1;
  std::vector<Item> items;
  std::vector<Reference> references;

  /// Reads what libheif writes. Throws an exception of the standard library for
  /// another layout.
  [[nodiscard]] static HeifFile parse(std::string_view bytes);
  [[nodiscard]] std::string bytes() const;

  [[nodiscard]] Item& item(std::uint16_t id);
};

/// A number as files of this kind have it; any count of bytes.
[[nodiscard]] std::string bigEndian(std::uint64_t value, int bytes);

/// A box with this content.
[[nodiscard]] std::string heifBox(std::string_view type, std::string_view content);

/// Gives the primary picture an `irot` property, so that readers rotate it
/// by `degrees` anticlockwise: 90, 180 or 270. Phones write their portrait
/// pictures so. Throws std::runtime_error.
[[nodiscard]] std::string withHeifRotation(std::string_view file, int degrees);

}  // namespace vaultmere
