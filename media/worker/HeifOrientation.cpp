// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/HeifOrientation.h"

#include <array>
#include <string_view>
#include <vector>

#include "media/worker/ByteView.h"
#include "media/worker/HeifBoxes.h"

namespace vaultmere {
namespace {

/// A symmetry of the rectangle: mirrored left to right first, then rotated clockwise.
struct Rotation {
  unsigned quarters = 0;
  bool mirrored = false;

  void rotateAnticlockwise(unsigned count) { quarters = (quarters + 4 - count) % 4; }
  /// Mirroring after a rotation is the opposite rotation after mirroring.
  void mirrorLeftRight() {
    quarters = (4 - quarters) % 4;
    mirrored = !mirrored;
  }
  [[nodiscard]] int orientation() const {
    constexpr std::array kRotated{1, 6, 3, 8};
    constexpr std::array kMirrored{2, 7, 4, 5};
    return mirrored ? kMirrored.at(quarters) : kRotated.at(quarters);
  }
};

/// The primary item's properties in the order of their use.
std::optional<std::vector<HeifBox>> primaryProperties(std::string_view meta) {
  const std::vector<HeifBox> boxes = heifBoxesIn(meta);
  const auto primary = primaryItem(boxes);
  if (!primary) {
    return std::nullopt;
  }
  const std::vector<HeifBox> itemProperties = heifBoxesIn(contentOf(boxes, "iprp"));
  const std::vector<HeifBox> properties = heifBoxesIn(contentOf(itemProperties, "ipco"));
  std::vector<HeifBox> used;
  for (const std::size_t index :
       propertiesOfItem(*primary, itemProperties).value_or(std::vector<std::size_t>{})) {
    if (index >= 1 && index <= properties.size()) {
      used.push_back(properties[index - 1]);
    }
  }
  return used;
}

}  // namespace

std::optional<int> heifOrientation(const File& file) {
  const auto meta = readHeifTop(file).meta;
  const auto properties = meta ? primaryProperties(meta->bytes) : std::nullopt;
  if (!properties) {
    return std::nullopt;
  }
  Rotation rotation;
  for (const HeifBox& property : *properties) {
    const auto value = static_cast<unsigned>(ByteView(property.content).number(0, 1).value_or(0));
    if (property.type == "irot") {
      rotation.rotateAnticlockwise(value & 3U);
    } else if (property.type == "imir") {
      rotation.mirrorLeftRight();
      if ((value & 1U) == 0) {  // top to bottom: the same, and 180 degrees
        rotation.rotateAnticlockwise(2);
      }
    }
  }
  return rotation.orientation();
}

std::optional<HeifSize> heifSize(const File& file) {
  const auto meta = readHeifTop(file).meta;
  const auto properties = meta ? primaryProperties(meta->bytes) : std::nullopt;
  const ByteView extents(properties ? contentOf(*properties, "ispe") : "");
  const auto width = extents.number(4, 4);  // behind version and flags
  const auto height = extents.number(8, 4);
  return width && height && *width > 0 && *height > 0 ? std::optional(HeifSize{*width, *height})
                                                      : std::nullopt;
}

}  // namespace vaultmere
