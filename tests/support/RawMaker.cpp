// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/RawMaker.h"

#include <array>
#include <cmath>
#include <stdexcept>

#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TiffFile.h"

namespace vaultmere {

namespace {

// Tags of TIFF 6.0, TIFF/EP and DNG 1.4.
constexpr std::uint16_t kNewSubfileType = 254;
constexpr std::uint16_t kImageWidth = 256;
constexpr std::uint16_t kImageLength = 257;
constexpr std::uint16_t kBitsPerSample = 258;
constexpr std::uint16_t kCompression = 259;
constexpr std::uint16_t kPhotometric = 262;
constexpr std::uint16_t kMake = 271;
constexpr std::uint16_t kModel = 272;
constexpr std::uint16_t kStripOffsets = 273;
constexpr std::uint16_t kOrientation = 274;
constexpr std::uint16_t kSamplesPerPixel = 277;
constexpr std::uint16_t kRowsPerStrip = 278;
constexpr std::uint16_t kStripByteCounts = 279;
constexpr std::uint16_t kSubIfds = 330;
constexpr std::uint16_t kJpegOffset = 513;
constexpr std::uint16_t kJpegByteCount = 514;
constexpr std::uint16_t kCfaRepeatPatternDim = 33421;
constexpr std::uint16_t kCfaPattern = 33422;
constexpr std::uint16_t kDngVersion = 50706;
constexpr std::uint16_t kDngBackwardVersion = 50707;
constexpr std::uint16_t kUniqueCameraModel = 50708;
constexpr std::uint16_t kBlackLevel = 50714;
constexpr std::uint16_t kWhiteLevel = 50717;
constexpr std::uint16_t kColorMatrix1 = 50721;
constexpr std::uint16_t kAsShotNeutral = 50728;
constexpr std::uint16_t kCalibrationIlluminant1 = 50778;

constexpr std::uint16_t kUncompressed = 1;
constexpr std::uint16_t kJpeg = 7;
constexpr std::uint16_t kUnknownCompression = 60'000;
constexpr std::uint16_t kRgb = 2;
constexpr std::uint16_t kYCbCr = 6;
constexpr std::uint16_t kColorFilterArray = 32803;
constexpr std::uint16_t kD65 = 21;
constexpr std::uint16_t kWhite = 60'000;

// From XYZ to linear sRGB: this camera sees the colours of a screen.
const std::vector<double> kMatrix = {3.2406, -1.5372, -0.4986, -0.9689, 1.8758,
                                     0.0415, 0.0557,  -0.2040, 1.0570};

double linear(std::uint8_t value) {
  const double share = value / 255.0;
  return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

std::string sensorData(const DngOptions& options) {
  std::string data;
  for (int row = 0; row < options.height; ++row) {
    for (int column = 0; column < options.width; ++column) {
      const Colour colour =
          options.painter((column + 0.5) / options.width, (row + 0.5) / options.height);
      // RGGB: red and green in the even rows, green and blue in the odd ones.
      const std::array<std::uint8_t, 3> channels{colour.red, colour.green, colour.blue};
      const auto filter = static_cast<std::size_t>(row % 2 + column % 2);
      const auto value = static_cast<unsigned>(std::lround(linear(channels.at(filter)) * kWhite));
      data += static_cast<char>(value & 0xff);
      data += static_cast<char>(value >> 8);
    }
  }
  return data;
}

void describeStrip(TiffDirectory& directory, int width, int height, std::uint32_t offset,
                   std::size_t size) {
  directory.longs(kImageWidth, {static_cast<std::uint32_t>(width)});
  directory.longs(kImageLength, {static_cast<std::uint32_t>(height)});
  directory.longs(kStripOffsets, {offset});
  directory.longs(kRowsPerStrip, {static_cast<std::uint32_t>(height)});
  directory.longs(kStripByteCounts, {static_cast<std::uint32_t>(size)});
}

void describeSensor(TiffDirectory& directory, const DngOptions& options, TiffFile& file) {
  const std::string data = sensorData(options);
  describeStrip(directory, options.width, options.height, file.add(data), data.size());
  directory.longs(kNewSubfileType, {0});
  directory.shorts(kBitsPerSample, {16});
  directory.shorts(kCompression, {options.isKnown ? kUncompressed : kUnknownCompression});
  directory.shorts(kPhotometric, {kColorFilterArray});
  directory.shorts(kSamplesPerPixel, {1});
  directory.shorts(kCfaRepeatPatternDim, {2, 2});
  directory.bytes(kCfaPattern, std::string_view("\0\1\1\2", 4));
  directory.shorts(kBlackLevel, {0});
  directory.shorts(kWhiteLevel, {kWhite});
}

std::string previewJpeg(const DngOptions& options) {
  const RawPreview& preview = *options.preview;
  return stillBytes({.width = preview.width,
                     .height = preview.height,
                     .painter = preview.painter ? preview.painter : options.painter});
}

void describePreview(TiffDirectory& directory, const DngOptions& options, TiffFile& file) {
  const RawPreview& preview = *options.preview;
  const std::string jpeg = previewJpeg(options);
  describeStrip(directory, preview.width, preview.height, file.add(jpeg), jpeg.size());
  directory.longs(kNewSubfileType, {1});
  directory.shorts(kBitsPerSample, {8, 8, 8});
  directory.shorts(kCompression, {kJpeg});
  directory.shorts(kPhotometric, {kYCbCr});
  directory.shorts(kSamplesPerPixel, {3});
}

void describeCamera(TiffDirectory& directory, const DngOptions& options) {
  directory.text(kMake, options.make);
  directory.text(kModel, options.model);
  directory.text(kUniqueCameraModel, options.model);
  directory.shorts(kOrientation,
                   {static_cast<std::uint16_t>(options.metadata.orientation.value_or(1))});
  if (!options.isKnown) return;
  directory.bytes(kDngVersion, std::string_view("\1\4\0\0", 4));
  directory.bytes(kDngBackwardVersion, std::string_view("\1\1\0\0", 4));
  directory.rationals(kColorMatrix1, kMatrix);
  directory.shorts(kAsShotNeutral, {1, 1, 1});
  directory.shorts(kCalibrationIlluminant1, {kD65});
}

// The directories of a camera that no library knows.
void describeUnknown(TiffDirectory& first, const DngOptions& options, TiffFile& file) {
  constexpr int kWidth = 32;
  constexpr int kHeight = 24;
  const std::string black(std::size_t{3} * kWidth * kHeight, '\0');
  describeStrip(first, kWidth, kHeight, file.add(black), black.size());
  first.longs(kNewSubfileType, {1});
  first.shorts(kBitsPerSample, {8, 8, 8});
  first.shorts(kCompression, {kUncompressed});
  first.shorts(kPhotometric, {kRgb});
  first.shorts(kSamplesPerPixel, {3});
  TiffDirectory sensor;
  describeSensor(sensor, options, file);
  std::vector<std::uint32_t> directories{file.add(sensor)};
  if (options.preview) {
    const std::string jpeg = previewJpeg(options);
    TiffDirectory preview;
    preview.longs(kNewSubfileType, {1});
    preview.longs(kJpegOffset, {file.add(jpeg)});
    preview.longs(kJpegByteCount, {static_cast<std::uint32_t>(jpeg.size())});
    directories.push_back(file.add(preview));
  }
  first.longs(kSubIfds, directories);
}

// Pairs of offsets, in characters, into texts of UTF-16.
std::string x3fProperties(const std::map<std::string, std::string>& properties) {
  std::string pairs;
  std::string texts;
  const auto add = [&](const std::string& text) {
    pairs += littleEndian(texts.size() / 2);
    for (const char c : text + '\0') texts += littleEndian(static_cast<std::uint8_t>(c), 2);
  };
  for (const auto& [name, value] : properties) {
    add(name);
    add(value);
  }
  return "SECp" + littleEndian(0x20000) + littleEndian(properties.size()) + littleEndian(0, 8) +
         littleEndian(texts.size() / 2) + pairs + texts;
}

}  // namespace

std::string x3fBytes(const X3fOptions& options) {
  const auto side = [](int value) { return littleEndian(static_cast<std::uint64_t>(value)); };
  std::string file = "FOVb" + littleEndian(0x20000) + std::string(20, '\0') + side(options.width) +
                     side(options.height) + side(options.rotation);
  std::string entries;
  std::uint64_t sections = 0;
  const auto add = [&](const std::string& type, const std::string& section) {
    entries += littleEndian(file.size()) + littleEndian(section.size()) + type;
    file += section;
    ++sections;
  };
  if (!options.properties.empty()) add("PROP", x3fProperties(options.properties));
  if (!options.preview.empty()) {
    constexpr int kJpegForShowing = 2;
    constexpr int kJpegFormat = 18;
    add("IMA2", "SECi" + littleEndian(0x20000) + side(kJpegForShowing) + side(kJpegFormat) +
                    std::string(12, '\0') + options.preview);
  }
  const std::string directory = littleEndian(file.size());
  return file + "SECd" + littleEndian(0x20000) + littleEndian(sections) + entries + directory;
}

void makeDng(const std::filesystem::path& path, const DngOptions& options) {
  if (options.width < 32 || options.height < 32 || options.width % 2 + options.height % 2 != 0) {
    throw std::runtime_error("a sensor's sizes are even and at least 32");
  }
  if (options.metadata.thumbnail) throw std::runtime_error("a DNG has a preview, no thumbnail");
  TiffFile file;
  TiffDirectory first;
  describeCamera(first, options);
  if (!options.isKnown) {
    describeUnknown(first, options, file);
  } else if (options.preview) {
    TiffDirectory sensor;
    describeSensor(sensor, options, file);
    first.longs(kSubIfds, {file.add(sensor)});
    describePreview(first, options, file);
  } else {
    describeSensor(first, options, file);
  }
  const std::string bytes = file.finish(first);
  writeText(path, options.metadata.empty() ? bytes : withMetadata(bytes, options.metadata));
}

}  // namespace vaultmere
