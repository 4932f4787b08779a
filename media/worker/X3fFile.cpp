// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/X3fFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <map>
#include <vector>

#include "media/worker/ByteView.h"
#include "platform/Calendar.h"

namespace vaultmere {
namespace {

constexpr std::uint64_t kMaxSections = 100;  // real files have about ten
constexpr std::uint64_t kMaxProperties = 1000;
constexpr std::uint64_t kMaxPropertyBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kMaxPreviewBytes = std::uint64_t{64} << 20;
constexpr std::uint64_t kMaxSide = 1U << 16U;

/// A section as the directory names it.
struct Section {
  std::uint64_t offset = 0;
  std::uint64_t length = 0;
  std::string type;  ///< "PROP", "IMAG", "IMA2", …
};

ByteView littleEndian(std::string_view bytes) { return ByteView(bytes, std::endian::little); }

/// The directory stands where the last four bytes of the file point.
std::vector<Section> sectionsOf(const File& file) {
  const auto size = static_cast<std::uint64_t>(file.status().stamp.size);
  const std::string last = size < 4 ? "" : readAt(file, size - 4, 4);
  const auto directory = littleEndian(last).number(0, 4);
  const std::string head = directory ? readAt(file, *directory, 12) : "";
  if (!head.starts_with("SECd")) {
    return {};
  }
  constexpr std::size_t kEntryBytes = 12;
  const auto count = std::min(littleEndian(head).number(8, 4).value_or(0), kMaxSections);
  const std::string entries =
      readAt(file, *directory + head.size(), static_cast<std::size_t>(count) * kEntryBytes);
  const ByteView view = littleEndian(entries);
  std::vector<Section> sections;
  for (std::size_t at = 0; at + kEntryBytes <= entries.size(); at += kEntryBytes) {
    sections.push_back(
        {*view.number(at, 4), *view.number(at + 4, 4), std::string(view.slice(at + 8, 4))});
  }
  return sections;
}

/// A text of UTF-16 that ends with a zero. The names and values that are read
/// here are plain ASCII; other characters become question marks.
std::string textAt(const ByteView& characters, std::uint64_t index) {
  std::string text;
  for (std::uint64_t at = index; at < kMaxPropertyBytes; ++at) {
    const auto unit = characters.number(static_cast<std::size_t>(at) * 2, 2);
    if (!unit || *unit == 0) {
      break;
    }
    text += *unit < 0x80 ? static_cast<char>(*unit) : '?';
  }
  return text;
}

std::map<std::string, std::string> propertiesOf(const File& file, const Section& section) {
  constexpr std::size_t kHeadBytes = 24;
  constexpr std::size_t kPairBytes = 8;
  const std::string bytes = readAt(
      file, section.offset, static_cast<std::size_t>(std::min(section.length, kMaxPropertyBytes)));
  const ByteView view = littleEndian(bytes);
  const auto count = std::min(view.number(8, 4).value_or(0), kMaxProperties);
  const std::size_t begin = kHeadBytes + static_cast<std::size_t>(count) * kPairBytes;
  std::map<std::string, std::string> properties;
  if (!bytes.starts_with("SECp") || begin > bytes.size()) {
    return properties;
  }
  const ByteView characters = littleEndian(std::string_view(bytes).substr(begin));
  for (std::size_t at = kHeadBytes; at < begin; at += kPairBytes) {
    properties.emplace(textAt(characters, *view.number(at, 4)),
                       textAt(characters, *view.number(at + 4, 4)));
  }
  return properties;
}

double numberOf(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && std::isfinite(value) ? value : 0;
}

/// TIME is in seconds since 1970 by the camera's own clock, SHUTTER in seconds.
void mapProperties(const std::map<std::string, std::string>& properties, RawHeader& header) {
  const auto text = [&](const char* name) {
    const auto at = properties.find(name);
    return at == properties.end() ? std::string() : at->second;
  };
  header.make = text("CAMMANUF");
  header.model = text("CAMMODEL");
  header.iso = numberOf(text("ISO"));
  header.fNumber = numberOf(text("APERTURE"));
  header.exposureTime = numberOf(text("SHUTTER"));
  header.focalLength = numberOf(text("FLENGTH"));
  const double seconds = numberOf(text("TIME"));
  if (seconds >= 1 && seconds < 1e11) {
    const CivilTime wall = utcTime(sys_seconds(std::chrono::seconds(std::llround(seconds))));
    header.dateTime = fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", wall.year, wall.month,
                                  wall.day, wall.hour, wall.minute, wall.second);
  }
}

/// The section's picture when it is a JPEG that is larger than `least` bytes.
std::string jpegOf(const File& file, const Section& section, std::size_t least) {
  constexpr std::size_t kHeadBytes = 28;
  constexpr std::uint64_t kJpegFormat = 18;
  const std::string head = readAt(file, section.offset, kHeadBytes);
  if (!head.starts_with("SECi") || littleEndian(head).number(12, 4) != kJpegFormat ||
      section.length < kHeadBytes + least || section.length > kMaxPreviewBytes) {
    return {};
  }
  return readAt(file, section.offset + kHeadBytes,
                static_cast<std::size_t>(section.length) - kHeadBytes);
}

int orientationOf(std::uint64_t degreesClockwise) {
  switch (degreesClockwise) {
    case 90:
      return 6;
    case 180:
      return 3;
    case 270:
      return 8;
    default:
      return 1;
  }
}

}  // namespace

std::optional<X3fFile> readX3f(const File& file) {
  const std::string head = readAt(file, 0, 52);
  if (!head.starts_with("FOVb")) {
    return std::nullopt;
  }
  const ByteView view = littleEndian(head);
  X3fFile result;
  RawHeader& header = result.header;
  const std::size_t at = view.number(6, 2).value_or(0) < 4 ? 28 : 40;  // by the major version
  const auto columns = view.number(at, 4);
  const auto rows = view.number(at + 4, 4);
  if (columns && rows && *columns <= kMaxSide && *rows <= kMaxSide) {
    header.width = static_cast<int>(*columns);
    header.height = static_cast<int>(*rows);
    header.orientation = orientationOf(view.number(at + 8, 4).value_or(0));
  }
  for (const Section& section : sectionsOf(file)) {
    if (section.type == "PROP") {
      mapProperties(propertiesOf(file, section), header);
    } else if (section.type == "IMA2" || section.type == "IMAG") {
      std::string jpeg = jpegOf(file, section, result.preview.size());
      if (jpeg.size() > result.preview.size()) {
        result.preview = std::move(jpeg);
      }
    }
  }
  return result;
}

}  // namespace vaultmere
