// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/HeifFile.h"

#include <algorithm>
#include <stdexcept>

namespace vaultmere {

namespace {

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int byte = bytes - 1; byte >= 0; --byte) text += static_cast<char>(value >> (8 * byte));
  return text;
}

std::uint64_t number(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value = value << 8 | static_cast<std::uint8_t>(std::string(bytes).at(at + i));
  }
  return value;
}

std::string fullBox(std::string_view type, unsigned version, std::string_view content) {
  return heifBox(type, bigEndian(version, 1) + bigEndian(0, 3) + std::string(content));
}

// Whole boxes, one after the other.
std::vector<std::string_view> boxes(std::string_view bytes) {
  std::vector<std::string_view> found;
  while (!bytes.empty()) {
    const auto size = static_cast<std::size_t>(number(bytes, 0, 4));
    if (size < 8 || size > bytes.size()) throw std::runtime_error("HEIF: an odd box size");
    found.push_back(bytes.substr(0, size));
    bytes.remove_prefix(size);
  }
  return found;
}

std::string_view content(std::string_view bytes, std::string_view type, bool optional = false) {
  for (const std::string_view box : boxes(bytes)) {
    if (box.substr(4, 4) == type) return box.substr(8);
  }
  if (!optional) throw std::runtime_error("HEIF: no box " + std::string(type));
  return {};
}

void parseData(HeifFile& file, std::string_view bytes, std::string_view meta) {
  const std::string_view iloc = content(meta, "iloc");
  const std::uint64_t version = number(iloc, 0, 1);
  if (version > 1) throw std::runtime_error("HEIF: an unknown form of item locations");
  const auto width = [&](unsigned shift) { return number(iloc, 4, 2) >> shift & 15; };
  const std::size_t indexWidth = version == 1 ? width(0) : 0;
  std::size_t at = 8;
  const auto next = [&](std::size_t size) {
    at += size;
    return number(iloc, at - size, size);
  };
  for (std::uint64_t left = number(iloc, 6, 2); left > 0; --left) {
    HeifFile::Item& item = file.item(static_cast<std::uint16_t>(next(2)));
    const std::string_view source = version == 1 && next(2) == 1 ? content(meta, "idat") : bytes;
    next(2);  // data reference
    const std::uint64_t base = next(width(4));
    for (std::uint64_t extents = next(2); extents > 0; --extents) {
      next(indexWidth);
      const std::uint64_t offset = base + next(width(12));
      item.data += source.substr(offset, next(width(8)));
    }
  }
}

void parseProperties(HeifFile& file, std::string_view meta) {
  const std::string_view iprp = content(meta, "iprp");
  const auto properties = boxes(content(iprp, "ipco"));
  const std::string_view ipma = content(iprp, "ipma");
  if (number(ipma, 0, 4) != 0) throw std::runtime_error("HEIF: odd associations");
  std::size_t at = 8;
  for (std::uint64_t left = number(ipma, 4, 4); left > 0; --left) {
    HeifFile::Item& item = file.item(static_cast<std::uint16_t>(number(ipma, at, 2)));
    const auto count = static_cast<std::size_t>(number(ipma, at + 2, 1));
    for (std::size_t i = 0; i < count; ++i) {
      item.properties.emplace_back(properties.at((number(ipma, at + 3 + i, 1) & 0x7F) - 1));
    }
    at += 3 + count;
  }
}

}  // namespace

std::string heifBox(std::string_view type, std::string_view content) {
  return bigEndian(content.size() + 8, 4) + std::string(type) + std::string(content);
}

HeifFile::Item& HeifFile::item(std::uint16_t id) {
  const auto at =
      std::find_if(items.begin(), items.end(), [&](const Item& item) { return item.id == id; });
  if (at == items.end()) throw std::runtime_error("HEIF: an unknown item");
  return *at;
}

HeifFile HeifFile::parse(std::string_view bytes) {
  HeifFile file;
  const std::string_view ftyp = content(bytes, "ftyp");
  for (std::size_t at = 0; at < ftyp.size(); at += at == 0 ? 8 : 4) {
    file.brands.emplace_back(ftyp.substr(at, 4));
  }
  const std::string_view meta = content(bytes, "meta").substr(4);
  file.primary = static_cast<std::uint16_t>(number(content(meta, "pitm"), 4, 2));
  for (const std::string_view infe : boxes(content(meta, "iinf").substr(6))) {
    file.items.push_back({.id = static_cast<std::uint16_t>(number(infe, 12, 2)),
                          .type = std::string(infe.substr(16, 4)),
                          .names = std::string(infe.substr(20)),
                          .data = {},
                          .properties = {}});
  }
  parseData(file, bytes, meta);
  parseProperties(file, meta);
  const std::string_view iref = content(meta, "iref", true);
  for (const std::string_view box : boxes(iref.substr(std::min<std::size_t>(4, iref.size())))) {
    Reference reference{
        std::string(box.substr(4, 4)), static_cast<std::uint16_t>(number(box, 8, 2)), {}};
    for (std::size_t at = 12; at < box.size(); at += 2) {
      reference.to.push_back(static_cast<std::uint16_t>(number(box, at, 2)));
    }
    file.references.push_back(std::move(reference));
  }
  return file;
}

std::string HeifFile::bytes() const {
  std::string infes;
  std::string properties;
  std::string associations;
  std::string refs;
  std::uint64_t associated = 0;
  std::uint64_t located = 0;
  int property = 0;
  for (const Item& item : items) {
    infes += fullBox("infe", 2, bigEndian(item.id, 2) + bigEndian(0, 2) + item.type + item.names);
    located += item.located ? 1 : 0;
    if (item.properties.empty()) continue;
    ++associated;
    associations += bigEndian(item.id, 2) + bigEndian(item.properties.size(), 1);
    for (const std::string& box : item.properties) {
      properties += box;
      associations += static_cast<char>(++property);
    }
  }
  for (const Reference& reference : references) {
    std::string targets = bigEndian(reference.from, 2) + bigEndian(reference.to.size(), 2);
    for (const std::uint16_t id : reference.to) targets += bigEndian(id, 2);
    refs += heifBox(reference.type, targets);
  }
  const std::string hdlr =
      fullBox("hdlr", 0, std::string(4, '\0') + "pict" + std::string(13, '\0'));
  const auto metaWith = [&](std::uint64_t dataStart) {
    std::string locations = bigEndian(0x4400, 2) + bigEndian(located, 2);
    std::uint64_t offset = dataStart;
    for (const Item& item : items) {
      if (!item.located) continue;
      locations += bigEndian(item.id, 2) + bigEndian(item.method, 2) + bigEndian(0, 2) +
                   bigEndian(1, 2) + bigEndian(offset, 4) + bigEndian(item.data.size(), 4);
      offset += item.data.size();
    }
    return fullBox(
        "meta", 0,
        hdlr + fullBox("pitm", 0, bigEndian(primary, 2)) + fullBox("iloc", 1, locations) +
            fullBox("iinf", 0, bigEndian(items.size(), 2) + infes) +
            heifBox("iprp", heifBox("ipco", properties) +
                                fullBox("ipma", 0, bigEndian(associated, 4) + associations)) +
            (refs.empty() ? "" : fullBox("iref", 0, refs)));
  };
  std::string ftyp = brands.at(0) + bigEndian(0, 4);
  for (std::size_t i = 1; i < brands.size(); ++i) ftyp += brands[i];
  ftyp = heifBox("ftyp", ftyp);
  std::string data;
  for (const Item& item : items) data += item.located ? item.data : "";
  return ftyp + metaWith(ftyp.size() + metaWith(0).size() + 8) + heifBox("mdat", data);
}

std::string withHeifRotation(std::string_view bytes, int degrees) {
  if (degrees != 90 && degrees != 180 && degrees != 270) {
    throw std::runtime_error("HEIF: a rotation is by 90, 180 or 270 degrees");
  }
  HeifFile file = HeifFile::parse(bytes);
  file.item(file.primary)
      .properties.push_back(heifBox("irot", std::string(1, static_cast<char>(degrees / 90))));
  return file.bytes();
}

}  // namespace vaultmere
