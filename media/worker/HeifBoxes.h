// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Files.h"

// The structure of HEIC, HEIF and AVIF files. Boxes are those of ISO/IEC
// 14496-12, items and their properties those of 23008-12. Any thread.
namespace vaultmere {

struct HeifBox {
  std::string_view type;     ///< four bytes
  std::string_view content;  ///< behind the head
};

/// The boxes that lie side by side in `bytes`, up to the first broken one.
[[nodiscard]] std::vector<HeifBox> heifBoxesIn(std::string_view bytes);

/// The content of the first box of a type; empty when there is none.
[[nodiscard]] std::string_view contentOf(const std::vector<HeifBox>& boxes, std::string_view type);

/// Bytes of a file, and where they stand in it.
struct FilePart {
  std::uint64_t offset = 0;
  std::string bytes;

  /// Where `part`, a view of these bytes, stands in the file.
  [[nodiscard]] std::uint64_t offsetOf(std::string_view part) const {
    return offset + static_cast<std::uint64_t>(part.data() - bytes.data());
  }
};

/// The boxes of a file that lie in no other.
struct HeifTop {
  /// The content of the first `meta` box, which describes the items, behind
  /// version and flags. Absent without one, and for one that is larger than any
  /// real one.
  std::optional<FilePart> meta;
  /// Where the boxes start that aren't looked at: those from a second or too
  /// large `meta` box on, and more of them than any real file has.
  std::optional<std::uint64_t> unread;
};

[[nodiscard]] HeifTop readHeifTop(const File& file);

/// The item that `pitm` names; absent when that can't be read.
[[nodiscard]] std::optional<std::uint64_t> primaryItem(const std::vector<HeifBox>& meta);

/// The indices, from 1, of an item's properties in the order of their use.
/// `properties` are the boxes in `iprp`. Absent for an item without any.
[[nodiscard]] std::optional<std::vector<std::size_t>> propertiesOfItem(
    std::uint64_t item, const std::vector<HeifBox>& properties);

}  // namespace vaultmere
