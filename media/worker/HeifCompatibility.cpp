// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/HeifCompatibility.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <set>

#include "media/worker/ByteView.h"

namespace vaultmere {
namespace {

constexpr std::size_t kVersionAndFlags = 4;
constexpr std::size_t kBoxHeadBytes = 8;

constexpr std::size_t kMaxTargets = 0xFFFF;  // the width of their count

/// The type that is passed over in place of a box or a reference.
constexpr std::string_view kHidden = "free";

template <std::size_t N>
bool isOneOf(std::string_view type, const std::array<std::string_view, N>& types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

std::uint64_t versionOf(std::string_view content) {
  return ByteView(content).number(0, 1).value_or(0);
}

void append(std::string& bytes, std::uint64_t number, std::size_t width) {
  for (std::size_t i = width; i-- > 0;) {
    bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
  }
}

/// An entry of `iinf`.
struct Item {
  std::uint64_t id = 0;
  std::string_view boxType;  ///< where the `infe` box has its type
  std::string_view kind;     ///< "hvc1", "grid", "Exif", …
  std::string_view names;    ///< what follows: texts that end with a zero
};

/// The items that name their kind; older forms don't describe images.
std::vector<Item> itemsOf(std::string_view iinf) {
  const std::size_t countWidth = versionOf(iinf) == 0 ? 2 : 4;
  std::vector<Item> items;
  for (const HeifBox& box :
       heifBoxesIn(iinf.substr(std::min(iinf.size(), kVersionAndFlags + countWidth)))) {
    const std::uint64_t version = versionOf(box.content);
    const ByteView view(box.content);
    const std::size_t idWidth = version == 2 ? 2 : 4;
    const auto id = view.number(kVersionAndFlags, idWidth);
    const std::size_t kindAt = kVersionAndFlags + idWidth + 2;
    if (box.type == "infe" && version >= 2 && id && !view.slice(kindAt, 4).empty()) {
      items.push_back({*id, box.type, view.slice(kindAt, 4), box.content.substr(kindAt + 4)});
    }
  }
  return items;
}

/// The items whose data stand in the file or in the `idat` box.
std::set<std::uint64_t> locatedItems(std::string_view iloc) {
  const ByteView view(iloc);
  const std::uint64_t version = versionOf(iloc);
  const std::uint64_t widths = view.number(4, 2).value_or(0);
  const auto width = [&](unsigned shift) {
    return static_cast<std::size_t>(widths >> shift & 0xFU);
  };
  const std::size_t indexWidth = version == 0 ? 0 : width(0);
  const std::size_t idWidth = version < 2 ? 2 : 4;
  std::size_t at = 6 + idWidth;
  std::set<std::uint64_t> items;
  for (std::uint64_t left = view.number(6, idWidth).value_or(0); left > 0; --left) {
    const auto id = view.number(at, idWidth);
    at += idWidth;
    const std::uint64_t method = version == 0 ? 0 : view.number(at, 2).value_or(0) & 0xFU;
    at += (version == 0 ? 0 : 2) + 2 + width(4);  // method, data reference, base offset
    const auto extents = view.number(at, 2);
    if (!id || !extents) {
      break;
    }
    at += 2 + static_cast<std::size_t>(*extents) * (indexWidth + width(12) + width(8));
    if (method <= 1) {
      items.insert(*id);
    }
  }
  return items;
}

/// One reference of `iref`, from one item to others.
struct Reference {
  std::string_view type;
  std::uint64_t from = 0;
  std::vector<std::uint64_t> targets;
};

/// Absent when one of them is broken, or has a form that can't be written again.
std::optional<std::vector<Reference>> referencesOf(std::string_view boxes, std::size_t idWidth) {
  std::vector<Reference> references;
  std::size_t length = 0;
  for (const HeifBox& box : heifBoxesIn(boxes)) {
    const ByteView view(box.content);
    const auto from = view.number(0, idWidth);
    const auto count = view.number(idWidth, 2);
    if (!from || !count || box.content.size() != idWidth * (1 + *count) + 2 ||
        box.content.data() != box.type.data() + box.type.size()) {
      return std::nullopt;
    }
    Reference reference{box.type, *from, {}};
    for (std::size_t i = 0; i < *count; ++i) {
      reference.targets.push_back(*view.number(idWidth * (1 + i) + 2, idWidth));
    }
    references.push_back(std::move(reference));
    length += kBoxHeadBytes + box.content.size();
  }
  return length == boxes.size() ? std::optional(std::move(references)) : std::nullopt;
}

std::string bytesOf(const std::vector<Reference>& references, std::size_t idWidth) {
  std::string bytes;
  for (const Reference& reference : references) {
    append(bytes, kBoxHeadBytes + idWidth * (1 + reference.targets.size()) + 2, 4);
    bytes += reference.type;
    append(bytes, reference.from, idWidth);
    append(bytes, reference.targets.size(), 2);
    for (const std::uint64_t target : reference.targets) {
      append(bytes, target, idWidth);
    }
  }
  return bytes;
}

class MetaReader {
 public:
  explicit MetaReader(const FilePart& meta)
      : meta_(meta),
        boxes_(heifBoxesIn(meta.bytes)),
        itemProperties_(heifBoxesIn(contentOf(boxes_, "iprp"))),
        primary_(primaryItem(boxes_)) {}

  std::vector<FilePart> replacements() {
    hideItems();
    hideColours();
    rewriteReferences();
    return std::move(replacements_);
  }

 private:
  void replace(std::string_view part, std::string bytes) {
    replacements_.push_back({meta_.offsetOf(part), std::move(bytes)});
  }

  void hideItems() {
    const auto located = locatedItems(contentOf(boxes_, "iloc"));
    for (const Item& item : itemsOf(contentOf(boxes_, "iinf"))) {
      const bool isImage = isOneOf(
          item.kind, std::to_array<std::string_view>({"hvc1", "av01", "grid", "iden", "iovl"}));
      // The library never returns from one whose data end too early.
      const bool isCompressed = item.kind == "mime" && item.names.find(std::string_view(
                                                           "\0deflate", 8)) != item.names.npos;
      const bool isReadable = located.contains(item.id) && !isCompressed &&
                              (!isImage || propertiesOfItem(item.id, itemProperties_));
      if (!isReadable && !(isImage && item.id == primary_)) {
        replace(item.boxType, std::string(kHidden));
      } else if (isImage) {
        images_.insert(item.id);
      }
    }
  }

  void hideColours() {
    for (const HeifBox& property : heifBoxesIn(contentOf(itemProperties_, "ipco"))) {
      if (property.type == "colr" &&
          !isOneOf(property.content.substr(0, 4),
                   std::to_array<std::string_view>({"nclx", "prof", "rICC"}))) {
        replace(property.type, std::string(kHidden));
      }
    }
  }

  /// What is no image's is hidden, of several images one is kept.
  void rewriteReferences() {
    const std::string_view iref = contentOf(boxes_, "iref");
    const std::string_view old = iref.substr(std::min(iref.size(), kVersionAndFlags));
    const std::size_t idWidth = versionOf(iref) == 0 ? 2 : 4;
    auto references = referencesOf(old, idWidth);
    if (!references) {
      return;
    }
    std::vector<std::size_t> removed(references->size());
    for (std::size_t i = 0; i < references->size(); ++i) {
      Reference& reference = (*references)[i];
      if (!isOneOf(reference.type, kOfOneImage)) {
        continue;
      }
      const auto one = imageAmong(reference.targets);
      if (!one) {
        reference.type = kHidden;
      } else if (reference.targets.size() > 1) {
        removed[i] = reference.targets.size() - 1;
        reference.targets = {*one};
      }
    }
    fillUp(*references, removed);
    std::string bytes = bytesOf(*references, idWidth);
    const bool fits = std::all_of(references->begin(), references->end(), [](const Reference& r) {
      return r.targets.size() <= kMaxTargets;
    });
    if (fits && bytes != old) {
      replace(old, std::move(bytes));
    }
  }

  [[nodiscard]] std::optional<std::uint64_t> imageAmong(
      const std::vector<std::uint64_t>& targets) const {
    if (primary_ && std::find(targets.begin(), targets.end(), *primary_) != targets.end()) {
      return primary_;
    }
    const auto first = std::find_if(targets.begin(), targets.end(),
                                    [this](std::uint64_t id) { return images_.contains(id); });
    return first == targets.end() ? std::nullopt : std::optional(*first);
  }

  /// Puts as many targets as were removed into a reference that the library
  /// passes over: one of a kind it doesn't know, or that of a `tmap` item; else
  /// one of those that were shortened is hidden, of which an auxiliary image is
  /// missed least.
  void fillUp(std::vector<Reference>& references, std::vector<std::size_t>& removed) const {
    if (std::all_of(removed.begin(), removed.end(), [](std::size_t n) { return n == 0; })) {
      return;
    }
    const auto rank = [&](const Reference& reference) {
      const bool isDerivation = reference.type == "dimg" && images_.contains(reference.from);
      const auto kind = std::find(kOfOneImage.begin(), kOfOneImage.end(), reference.type);
      const std::size_t index = static_cast<std::size_t>(&reference - references.data());
      if (isDerivation || (kind != kOfOneImage.end() && removed[index] == 0)) {
        return std::size_t{100};
      }
      return kind == kOfOneImage.end() ? 0
                                       : 1 + static_cast<std::size_t>(kind - kOfOneImage.begin());
    };
    const auto filler =
        std::min_element(references.begin(), references.end(),
                         [&](const Reference& a, const Reference& b) { return rank(a) < rank(b); });
    filler->type = kHidden;
    filler->targets.resize(filler->targets.size() +
                           std::accumulate(removed.begin(), removed.end(), std::size_t{0}));
  }

  /// The references that the library takes from an item to one image, those
  /// first that can be done without.
  static constexpr std::array<std::string_view, 3> kOfOneImage{"auxl", "thmb", "cdsc"};

  const FilePart& meta_;
  const std::vector<HeifBox> boxes_;
  const std::vector<HeifBox> itemProperties_;
  const std::optional<std::uint64_t> primary_;
  std::set<std::uint64_t> images_;
  std::vector<FilePart> replacements_;
};

/// Shows one brand that the library knows where there is none.
std::optional<FilePart> brandReplacement(const File& file) {
  constexpr std::size_t kMaxBytes = 2048;
  constexpr std::size_t kCompatibleBrands = 8;  // behind the major one and its version
  const FilePart head{0, readAt(file, 0, kMaxBytes)};
  const auto box = boxHead(head.bytes, head.bytes.size());
  if (!box || box->type != "ftyp" || box->size > head.bytes.size()) {
    return std::nullopt;
  }
  const std::string_view brands =
      std::string_view(head.bytes).substr(0, static_cast<std::size_t>(box->size));
  const std::size_t begin = static_cast<std::size_t>(box->header) + kCompatibleBrands;
  for (std::size_t at = begin; at + 4 <= brands.size(); at += 4) {
    if (isOneOf(brands.substr(at, 4),
                std::to_array<std::string_view>({"heic", "heix", "mif1", "avif"}))) {
      return std::nullopt;
    }
  }
  return begin + 4 <= brands.size() ? std::optional(FilePart{begin, "mif1"}) : std::nullopt;
}

}  // namespace

std::vector<FilePart> heifReplacements(const File& file) {
  std::vector<FilePart> replacements;
  const HeifTop top = readHeifTop(file);
  if (top.meta) {
    replacements = MetaReader(*top.meta).replacements();
  }
  if (top.unread) {
    constexpr std::size_t kUpToTheEnd = 0;
    std::string box;
    append(box, kUpToTheEnd, 4);
    replacements.push_back({*top.unread, box + std::string(kHidden)});
  }
  if (auto brand = brandReplacement(file)) {
    replacements.push_back(std::move(*brand));
  }
  return replacements;
}

}  // namespace vaultmere
