// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/HeifBoxes.h"

#include "media/worker/ByteView.h"

namespace vaultmere {
namespace {

/// The largest real ones take some 100 KB.
constexpr std::uint64_t kMaxMetaBytes = std::uint64_t{16} << 20;
constexpr int kMaxTopBoxes = 1000;

/// The same in one `ipma` box.
std::optional<std::vector<std::size_t>> associationsOf(std::uint64_t item,
                                                       std::string_view associations) {
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
  return std::nullopt;
}

}  // namespace

std::vector<HeifBox> heifBoxesIn(std::string_view bytes) {
  std::vector<HeifBox> boxes;
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

std::string_view contentOf(const std::vector<HeifBox>& boxes, std::string_view type) {
  for (const HeifBox& box : boxes) {
    if (box.type == type) {
      return box.content;
    }
  }
  return {};
}

HeifTop readHeifTop(const File& file) {
  constexpr std::size_t kVersionAndFlags = 4;
  const auto fileSize = static_cast<std::uint64_t>(file.status().stamp.size);
  HeifTop top;
  int count = 0;
  for (std::uint64_t offset = 0; offset < fileSize;) {
    const std::string bytes = readAt(file, offset, 16);
    const auto head = boxHead(bytes, fileSize - offset);
    if (!head) {
      return top;
    }
    const bool isLast = head->size >= fileSize - offset;
    const bool isMeta = head->type == "meta";
    if ((++count > kMaxTopBoxes && !isLast) ||
        (isMeta && (top.meta || count > kMaxTopBoxes || head->size > kMaxMetaBytes))) {
      top.unread = offset;
      return top;
    }
    const std::uint64_t begin = head->header + kVersionAndFlags;
    if (isMeta && head->size >= begin) {
      top.meta = {offset + begin,
                  readAt(file, offset + begin, static_cast<std::size_t>(head->size - begin))};
    }
    offset = isLast ? fileSize : offset + head->size;
  }
  return top;
}

std::optional<std::uint64_t> primaryItem(const std::vector<HeifBox>& meta) {
  const ByteView pitm(contentOf(meta, "pitm"));
  return pitm.number(4, pitm.number(0, 1).value_or(0) == 0 ? 2 : 4);
}

std::optional<std::vector<std::size_t>> propertiesOfItem(std::uint64_t item,
                                                         const std::vector<HeifBox>& properties) {
  for (const HeifBox& box : properties) {
    if (box.type == "ipma") {
      if (auto indices = associationsOf(item, box.content)) {
        return indices;
      }
    }
  }
  return std::nullopt;
}

}  // namespace vaultmere
