// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/HeifOrientation.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "media/ByteView.h"

// Boxes are those of ISO/IEC 14496-12, item properties those of 23008-12.
namespace vaultmere {
namespace {

/// A `meta` box describes items; the largest real ones take some 100 KB.
constexpr std::uint64_t kMaxMetaBytes = std::uint64_t{16} << 20;
constexpr int kMaxTopBoxes = 1000;

struct Box {
  std::string_view type;
  std::string_view content;
};

/// The boxes that lie side by side in `bytes`, up to the first broken one.
std::vector<Box> boxesIn(std::string_view bytes) {
  std::vector<Box> boxes;
  while (true) {
    const auto head = boxHead(bytes, bytes.size());
    if (!head || head->size > bytes.size()) {
      return boxes;
    }
    const auto length = static_cast<std::size_t>(head->size);
    boxes.push_back({head->type, bytes.substr(0, length).substr(head->header)});
    bytes.remove_prefix(length);
  }
}

std::optional<std::string_view> find(const std::vector<Box>& boxes, std::string_view type) {
  for (const Box& box : boxes) {
    if (box.type == type) {
      return box.content;
    }
  }
  return std::nullopt;
}

/// The content of the file's `meta` box behind its version and flags.
std::optional<std::string> readMeta(const File& file) {
  constexpr std::size_t kVersionAndFlags = 4;
  std::uint64_t offset = 0;
  for (int i = 0; i < kMaxTopBoxes; ++i) {
    const std::string bytes = readAt(file, offset, 16);
    const auto head = boxHead(bytes, 0);
    if (!head || head->size > UINT64_MAX - offset) {
      return std::nullopt;
    }
    if (head->type == "meta") {
      const std::uint64_t begin = head->header + kVersionAndFlags;
      if (head->size > kMaxMetaBytes || head->size < begin) {
        return std::nullopt;
      }
      return readAt(file, offset + begin, static_cast<std::size_t>(head->size - begin));
    }
    offset += head->size;
  }
  return std::nullopt;
}

/// The indices, from 1, of an item's properties in the order of their use.
std::vector<std::size_t> propertiesOf(std::uint64_t item, std::string_view associations) {
  const ByteView view(associations);
  const std::size_t idWidth = view.number(0, 1).value_or(0) < 1 ? 2 : 4;
  const bool wide = (view.number(3, 1).value_or(0) & 1U) != 0;
  const std::size_t indexWidth = wide ? 2 : 1;
  const std::uint64_t mask = wide ? 0x7FFF : 0x7F;
  const std::uint64_t entries = view.number(4, 4).value_or(0);
  std::size_t at = 8;
  for (std::uint64_t entry = 0; entry < entries; ++entry) {
    const auto id = view.number(at, idWidth);
    const auto count = view.number(at + idWidth, 1);
    if (!id || !count) {
      break;
    }
    at += idWidth + 1;
    std::vector<std::size_t> indices;
    for (std::uint64_t i = 0; i < *count; ++i, at += indexWidth) {
      indices.push_back(static_cast<std::size_t>(view.number(at, indexWidth).value_or(0) & mask));
    }
    if (*id == item) {
      return indices;
    }
  }
  return {};
}

/// A turn of the plane: mirrored left to right first, then turned clockwise.
struct Turn {
  unsigned quarters = 0;
  bool mirrored = false;

  void rotateAnticlockwise(unsigned count) { quarters = (quarters + 4 - count) % 4; }
  /// Mirroring after a turn is turning the other way after mirroring.
  void mirrorLeftRight() {
    quarters = (4 - quarters) % 4;
    mirrored = !mirrored;
  }
  [[nodiscard]] int orientation() const {
    constexpr std::array kTurned{1, 6, 3, 8};
    constexpr std::array kMirrored{2, 7, 4, 5};
    return mirrored ? kMirrored.at(quarters) : kTurned.at(quarters);
  }
};

/// The primary item's properties in the order of their use, out of a `meta` box.
std::optional<std::vector<Box>> primaryProperties(std::string_view meta) {
  const std::vector<Box> boxes = boxesIn(meta);
  const auto primary = find(boxes, "pitm");
  const std::vector<Box> itemProperties = boxesIn(find(boxes, "iprp").value_or(""));
  const std::vector<Box> properties = boxesIn(find(itemProperties, "ipco").value_or(""));
  if (!primary) {
    return std::nullopt;
  }
  const ByteView pitm(*primary);
  const auto item = pitm.number(4, pitm.number(0, 1).value_or(0) == 0 ? 2 : 4);
  std::vector<Box> used;
  for (const std::size_t index :
       propertiesOf(item.value_or(0), find(itemProperties, "ipma").value_or(""))) {
    if (index >= 1 && index <= properties.size()) {
      used.push_back(properties[index - 1]);
    }
  }
  return used;
}

}  // namespace

std::optional<int> heifOrientation(const File& file) {
  const auto meta = readMeta(file);
  const auto properties = meta ? primaryProperties(*meta) : std::nullopt;
  if (!properties) {
    return std::nullopt;
  }
  Turn turn;
  for (const Box& property : *properties) {
    const auto value = static_cast<unsigned>(ByteView(property.content).number(0, 1).value_or(0));
    if (property.type == "irot") {
      turn.rotateAnticlockwise(value & 3U);
    } else if (property.type == "imir") {
      turn.mirrorLeftRight();
      if ((value & 1U) == 0) {  // top to bottom: the same, and half a turn
        turn.rotateAnticlockwise(2);
      }
    }
  }
  return turn.orientation();
}

std::optional<HeifSize> heifSize(const File& file) {
  const auto meta = readMeta(file);
  const auto properties = meta ? primaryProperties(*meta) : std::nullopt;
  const ByteView extents(properties ? find(*properties, "ispe").value_or("") : "");
  const auto width = extents.number(4, 4);  // behind version and flags
  const auto height = extents.number(8, 4);
  return width && height && *width > 0 && *height > 0 ? std::optional(HeifSize{*width, *height})
                                                      : std::nullopt;
}

}  // namespace vaultmere
