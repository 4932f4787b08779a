// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/HeifFile.h"

#include <algorithm>
#include <stdexcept>

#include "media/worker/ByteView.h"
#include "media/worker/HeifBoxes.h"

namespace vaultmere {

namespace {

std::string fullBox(std::string_view type, unsigned version, std::string_view content) {
  return heifBox(type, bigEndian(version, 1) + bigEndian(0, 3) + std::string(content));
}

void parseData(HeifFile& file, std::string_view bytes, const std::vector<HeifBox>& meta) {
  const ByteView iloc(contentOf(meta, "iloc"));
  const std::uint64_t version = iloc.number(0, 1).value();
  if (version > 1) throw std::runtime_error("HEIF: an unknown form of item locations");
  const auto width = [&](unsigned shift) { return iloc.number(4, 2).value() >> shift & 15; };
  const std::size_t indexWidth = version == 1 ? width(0) : 0;
  std::size_t at = 8;
  const auto next = [&](std::size_t size) {
    at += size;
    return size == 0 ? 0 : iloc.number(at - size, size).value();
  };
  for (std::uint64_t left = iloc.number(6, 2).value(); left > 0; --left) {
    HeifFile::Item& item = file.item(static_cast<std::uint16_t>(next(2)));
    const std::string_view source = version == 1 && next(2) == 1 ? contentOf(meta, "idat") : bytes;
    next(2);  // data reference
    const std::uint64_t base = next(width(4));
    for (std::uint64_t extents = next(2); extents > 0; --extents) {
      next(indexWidth);
      const std::uint64_t offset = base + next(width(12));
      item.data += source.substr(offset, next(width(8)));
    }
  }
}

}  // namespace

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int byte = bytes - 1; byte >= 0; --byte) {
    text += byte < 8 ? static_cast<char>(value >> (8 * byte)) : '\0';
  }
  return text;
}

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
  const auto number = [](std::string_view content, std::size_t at) {
    return static_cast<std::uint16_t>(ByteView(content).number(at, 2).value());
  };
  HeifFile file;
  const auto top = heifBoxesIn(bytes);
  const std::string_view ftyp = contentOf(top, "ftyp");
  for (std::size_t at = 0; at < ftyp.size(); at += at == 0 ? 8 : 4) {
    file.brands.emplace_back(ftyp.substr(at, 4));
  }
  const auto meta = heifBoxesIn(contentOf(top, "meta").substr(4));
  file.primary = static_cast<std::uint16_t>(primaryItem(meta).value());
  const auto itemProperties = heifBoxesIn(contentOf(meta, "iprp"));
  const auto properties = heifBoxesIn(contentOf(itemProperties, "ipco"));
  for (const HeifBox& infe : heifBoxesIn(contentOf(meta, "iinf").substr(6))) {
    Item item{.id = number(infe.content, 4),
              .type = std::string(infe.content.substr(8, 4)),
              .names = std::string(infe.content.substr(12))};
    for (const std::size_t index :
         propertiesOfItem(item.id, itemProperties).value_or(std::vector<std::size_t>{})) {
      item.properties.push_back(
          heifBox(properties.at(index - 1).type, properties.at(index - 1).content));
    }
    file.items.push_back(std::move(item));
  }
  parseData(file, bytes, meta);
  const std::string_view iref = contentOf(meta, "iref");
  for (const HeifBox& box : heifBoxesIn(iref.substr(std::min<std::size_t>(4, iref.size())))) {
    Reference reference{std::string(box.type), number(box.content, 0), {}};
    for (std::size_t at = 4; at < box.content.size(); at += 2) {
      reference.to.push_back(number(box.content, at));
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
