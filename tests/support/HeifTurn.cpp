// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/HeifTurn.h"

#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vaultmere {

namespace {

struct Box {
  std::size_t start = 0;
  std::size_t size = 0;
  std::string type;
  [[nodiscard]] std::size_t end() const { return start + size; }
};

constexpr std::size_t kBoxHeader = 8;       // size and type
constexpr std::size_t kFullBoxHeader = 12;  // and version and flags

/// A file's bytes with big-endian numbers in them; all accesses are checked.
class Bytes {
 public:
  explicit Bytes(std::string_view bytes) : bytes_(bytes) {}

  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
      value = value << 8 | static_cast<std::uint8_t>(bytes_.at(at + i));
    }
    return value;
  }
  void add(std::size_t at, std::size_t size, std::uint64_t amount) {
    std::uint64_t value = number(at, size) + amount;
    for (std::size_t i = size; i-- > 0; value >>= 8) {
      bytes_.at(at + i) = static_cast<char>(value & 0xff);
    }
  }
  void insert(std::size_t at, std::string_view more) { bytes_.insert(at, more); }

  [[nodiscard]] std::vector<Box> boxes(std::size_t from, std::size_t to) const {
    std::vector<Box> found;
    for (std::size_t at = from; at < to; at = found.back().end()) {
      found.push_back({at, number(at, 4), bytes_.substr(at + 4, 4)});
      if (found.back().size < kBoxHeader) throw std::runtime_error("HEIF: an odd box size");
    }
    return found;
  }
  [[nodiscard]] Box box(std::size_t from, std::size_t to, std::string_view type) const {
    for (const Box& found : boxes(from, to)) {
      if (found.type == type) return found;
    }
    throw std::runtime_error("HEIF: no box " + std::string(type));
  }
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] std::string take() { return std::move(bytes_); }

 private:
  std::string bytes_;
};

// The item data lie behind the boxes that grow, so all offsets move.
void moveItems(Bytes& file, const Box& iloc, std::uint64_t growth) {
  const std::uint64_t version = file.number(iloc.start + kBoxHeader, 1);
  if (version > 1) throw std::runtime_error("HEIF: an unknown form of item locations");
  std::size_t at = iloc.start + kFullBoxHeader;
  const std::size_t offsetSize = file.number(at, 1) >> 4;
  const std::size_t lengthSize = file.number(at, 1) & 15;
  const std::size_t baseSize = file.number(at + 1, 1) >> 4;
  const std::size_t indexSize = version == 1 ? file.number(at + 1, 1) & 15 : 0;
  const std::uint64_t items = file.number(at + 2, 2);
  at += 4;
  for (std::uint64_t item = 0; item < items; ++item) {
    const bool inFile = version == 0 || (file.number(at + 2, 2) & 15) == 0;
    at += version == 0 ? 4 : 6;  // identifier, construction method, data reference
    if (inFile && baseSize > 0) file.add(at, baseSize, growth);
    at += baseSize;
    const std::uint64_t extents = file.number(at, 2);
    at += 2;
    for (std::uint64_t extent = 0; extent < extents; ++extent) {
      if (inFile && baseSize == 0) file.add(at + indexSize, offsetSize, growth);
      at += indexSize + offsetSize + lengthSize;
    }
  }
}

// Where the number of an item's properties stands; one byte.
std::size_t associationCount(const Bytes& file, const Box& ipma, std::uint64_t item) {
  const std::size_t idSize = file.number(ipma.start + kBoxHeader, 1) == 0 ? 2 : 4;
  const std::size_t indexSize = 1 + (file.number(ipma.start + kBoxHeader + 3, 1) & 1);
  std::size_t at = ipma.start + kFullBoxHeader + 4;
  for (std::uint64_t left = file.number(ipma.start + kFullBoxHeader, 4); left > 0; --left) {
    if (file.number(at, idSize) == item) return at + idSize;
    at += idSize + 1 + file.number(at + idSize, 1) * indexSize;
  }
  throw std::runtime_error("HEIF: the primary picture has no properties");
}

}  // namespace

std::string withHeifTurn(std::string_view bytes, int degrees) {
  if (degrees != 90 && degrees != 180 && degrees != 270) {
    throw std::runtime_error("HEIF: a turn is 90, 180 or 270 degrees");
  }
  Bytes file(bytes);
  const Box meta = file.box(0, file.size(), "meta");
  const auto inMeta = [&](std::string_view type) {
    return file.box(meta.start + kFullBoxHeader, meta.end(), type);
  };
  const Box pitm = inMeta("pitm");
  const bool shortId = file.number(pitm.start + kBoxHeader, 1) == 0;
  const std::uint64_t primary = file.number(pitm.start + kFullBoxHeader, shortId ? 2 : 4);
  const Box iprp = inMeta("iprp");
  const Box ipco = file.box(iprp.start + kBoxHeader, iprp.end(), "ipco");
  const Box ipma = file.box(iprp.start + kBoxHeader, iprp.end(), "ipma");
  if (ipma.start < ipco.start) {
    throw std::runtime_error("HEIF: an unknown order of boxes");
  }

  const std::size_t property = file.boxes(ipco.start + kBoxHeader, ipco.end()).size() + 1;
  const bool wideIndex = (file.number(ipma.start + kBoxHeader + 3, 1) & 1) != 0;
  const std::size_t count = associationCount(file, ipma, primary);
  const std::size_t indexSize = wideIndex ? 2 : 1;
  const std::string turn = std::string("\0\0\0\x09irot", 8) + static_cast<char>(degrees / 90);
  // The top bit says that a reader must know this property.
  const std::string association = wideIndex ? std::string{'\x80', static_cast<char>(property)}
                                            : std::string{static_cast<char>(0x80 | property)};

  moveItems(file, inMeta("iloc"), turn.size() + association.size());
  file.add(meta.start, 4, turn.size() + association.size());
  file.add(iprp.start, 4, turn.size() + association.size());
  file.add(ipco.start, 4, turn.size());
  file.add(ipma.start, 4, association.size());
  const std::size_t behind = count + 1 + file.number(count, 1) * indexSize;
  file.add(count, 1, 1);
  file.insert(behind, association);
  file.insert(ipco.end(), turn);
  return file.take();
}

}  // namespace vaultmere
