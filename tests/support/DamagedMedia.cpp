// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/DamagedMedia.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>

#include "tests/support/ClipMaker.h"
#include "tests/support/DeterministicRandom.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

const std::map<std::string, StillFormat> kStills{
    {"jpg", StillFormat::jpeg}, {"heic", StillFormat::heic}, {"avif", StillFormat::avif},
    {"png", StillFormat::png},  {"webp", StillFormat::webp}, {"tif", StillFormat::tiff},
    {"gif", StillFormat::gif},  {"bmp", StillFormat::bmp},   {"psd", StillFormat::psd},
    {"jp2", StillFormat::jp2}};

const std::map<std::string, ClipContainer> kClips{
    {"mp4", ClipContainer::mp4},    {"mov", ClipContainer::mov}, {"mkv", ClipContainer::mkv},
    {"webm", ClipContainer::webm},  {"avi", ClipContainer::avi}, {"mpg", ClipContainer::mpeg},
    {"3gp", ClipContainer::threeGp}};

/// Where files have most of their structure: within so many bytes of either end.
constexpr std::size_t kStructure = 2000;

Metadata metadataOf(bool isSecond) {
  Metadata metadata;
  metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                   {"Exif.Photo.FNumber", "28/10"}};
  metadata.gps = GpsPosition{48.1, 11.5};
  metadata.orientation = isSecond ? 3 : 6;
  metadata.xmp = {{"Xmp.aux.Lens", "50mm"}};
  return metadata;
}

/// A whole file; the second one differs in size, contents and structure.
std::string wholeFile(const std::string& format, bool isSecond) {
  const TemporaryFolder folder;
  const auto file = folder / "media";
  const StillOptions still{.width = isSecond ? 160 : 96,
                           .height = isSecond ? 128 : 64,
                           .painter = spots(isSecond ? 9 : 5),
                           .progressive = isSecond,
                           .metadata = metadataOf(isSecond)};
  if (const auto clip = kClips.find(format); clip != kClips.end()) {
    makeClip(file, {.container = clip->second,
                    .width = isSecond ? 96 : 64,
                    .seconds = isSecond ? 0.8 : 1.2,
                    .rotation = isSecond && (format == "mp4" || format == "mov") ? 90 : 0,
                    .sound = isSecond && format != "webm",
                    .metadata = {{"creation_time", "2021-06-01T10:11:12Z"},
                                 {"location", "+37.3317-122.0307/"}}});
  } else if (format == "dng" || format == "nef") {
    makeDng(file, {.width = isSecond ? 160 : 128,
                   .painter = still.painter,
                   .preview = RawPreview{64, 48, {}},
                   .isKnown = format == "dng",
                   .metadata = still.metadata});
  } else if (format == "x3f") {
    return x3fBytes({.width = 2640,
                     .height = 1760,
                     .rotation = isSecond ? 90 : 0,
                     .properties = {{"CAMMODEL", "SD9"}, {"TIME", "1053686437"}},
                     .preview = stillBytes(still)});
  } else {
    StillOptions options = still;
    options.format = kStills.at(format);
    if (format == "gif" || format == "bmp") {
      options.metadata = {};
    }
    makeStill(file, options);
  }
  return slurp(file);
}

std::size_t below(DeterministicRandom& random, std::size_t bound) {
  return static_cast<std::size_t>(random.below(static_cast<int>(bound)));
}

/// An offset of a file: anywhere, near its start, or near its end.
std::size_t offsetIn(const std::string& bytes, DeterministicRandom& random) {
  const std::size_t reach = std::min(bytes.size(), kStructure);
  switch (random.below(3)) {
    case 0:
      return below(random, reach);
    case 1:
      return bytes.size() - 1 - below(random, reach);
    default:
      return below(random, bytes.size());
  }
}

std::string damaged(std::string bytes, const std::string& other, DeterministicRandom& random) {
  switch (random.below(4)) {
    case 0:
      return bytes.substr(0, offsetIn(bytes, random));
    case 1:
      return bytes.substr(0, offsetIn(bytes, random)) + other.substr(offsetIn(other, random));
    case 2: {  // a piece over another one
      const std::size_t from = offsetIn(bytes, random);
      const std::size_t to = offsetIn(bytes, random);
      const std::size_t length = std::min(1 + below(random, 64), bytes.size() - std::max(from, to));
      return bytes.replace(to, length, std::string(bytes, from, length));
    }
    default:
      for (int count = 1 + random.below(16); count > 0; --count) {
        const std::size_t offset = offsetIn(bytes, random);
        bytes[offset] = random.chance(0.5)
                            ? static_cast<char>(random.below(256))
                            : static_cast<char>(bytes[offset] ^ 1 << random.below(8));
      }
      return bytes;
  }
}

}  // namespace

std::vector<std::string> damagedFormats() {
  std::vector<std::string> formats{"dng", "nef", "x3f"};
  for (const auto& [format, kind] : kStills) {
    formats.push_back(format);
  }
  for (const auto& [format, kind] : kClips) {
    formats.push_back(format);
  }
  return formats;
}

std::set<std::string> damagedFiles(const std::string& format, std::size_t count) {
  const std::string first = wholeFile(format, false);
  const std::string second = wholeFile(format, true);
  DeterministicRandom random(7);
  std::set<std::string> files;
  while (files.size() < count) {
    const bool isSecond = random.chance(0.5);
    files.insert(damaged(isSecond ? second : first, isSecond ? first : second, random));
  }
  return files;
}

}  // namespace vaultmere
