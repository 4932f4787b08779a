// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/Metadata.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <exiv2/exiv2.hpp>
#include <mutex>
#include <stdexcept>

#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {

namespace {

void lockXmp(void* mutex, bool lock) {
  auto& held = *static_cast<std::mutex*>(mutex);
  if (lock) {
    held.lock();
  } else {
    held.unlock();
  }
}

void startXmp() {
  static std::once_flag once;
  static std::mutex mutex;
  std::call_once(once, [] { Exiv2::XmpParser::initialize(&lockXmp, &mutex); });
}

// Exiv2's errors become the one type that the makers throw.
template <typename Work>
auto translated(std::string_view what, Work work) {
  try {
    return work();
  } catch (const Exiv2::AnyError& error) {
    throw std::runtime_error(fmt::format("{}: {}", what, error.what()));
  }
}

void put(Exiv2::ExifData& exif, const std::string& key, const std::string& text) {
  translated(key, [&] {
    if (exif[key].setValue(text) != 0) throw std::runtime_error(key + " can't be “" + text + "”");
  });
}

// Degrees, minutes and ten-thousandths of a second: 3 mm.
std::string rationals(double degrees) {
  const long long whole = std::llround(std::abs(degrees) * 3600 * 10'000);
  return fmt::format("{}/1 {}/1 {}/10000", whole / 36'000'000, whole / 600'000 % 60,
                     whole % 600'000);
}

// "10:11:12.50" as three rationals that keep the digits of the fraction.
std::string timeRationals(const std::string& text) {
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  int read = 0;
  // NOLINTNEXTLINE(cert-err34-c): the count of fields is checked
  if (std::sscanf(text.c_str(), "%2u:%2u:%2u%n", &hour, &minute, &second, &read) != 3) {
    throw std::runtime_error("“" + text + "” isn't a time stamp");
  }
  const std::string fraction = text.substr(static_cast<std::size_t>(read));
  if (fraction.empty()) return fmt::format("{}/1 {}/1 {}/1", hour, minute, second);
  const std::string digits = fraction.substr(1);
  return fmt::format("{}/1 {}/1 {}{}/1{}", hour, minute, second, digits,
                     std::string(digits.size(), '0'));
}

void putGps(Exiv2::ExifData& exif, const Metadata& metadata) {
  const std::string group = "Exif.GPSInfo.GPS";
  if (metadata.gps || !metadata.gpsDateStamp.empty() || !metadata.gpsTimeStamp.empty()) {
    put(exif, group + "VersionID", "2 2 0 0");
  }
  if (metadata.gps) {
    put(exif, group + "LatitudeRef", metadata.gps->latitude < 0 ? "S" : "N");
    put(exif, group + "Latitude", rationals(metadata.gps->latitude));
    put(exif, group + "LongitudeRef", metadata.gps->longitude < 0 ? "W" : "E");
    put(exif, group + "Longitude", rationals(metadata.gps->longitude));
  }
  if (!metadata.gpsDateStamp.empty()) put(exif, group + "DateStamp", metadata.gpsDateStamp);
  if (!metadata.gpsTimeStamp.empty()) {
    put(exif, group + "TimeStamp", timeRationals(metadata.gpsTimeStamp));
  }
}

Exiv2::ExifData exifData(const Metadata& metadata) {
  Exiv2::ExifData exif;
  putGps(exif, metadata);
  if (metadata.orientation) {
    put(exif, "Exif.Image.Orientation", std::to_string(*metadata.orientation));
  }
  for (const auto& [key, text] : metadata.exif) put(exif, key, text);
  if (metadata.thumbnail) {
    const std::string jpeg = stillBytes({.width = metadata.thumbnail->width,
                                         .height = metadata.thumbnail->height,
                                         .painter = metadata.thumbnail->painter});
    const std::vector<Exiv2::byte> bytes(jpeg.begin(), jpeg.end());
    Exiv2::ExifThumb(exif).setJpegThumbnail(bytes.data(), static_cast<long>(bytes.size()));
  }
  return exif;
}

Exiv2::XmpData xmpData(const Metadata& metadata) {
  startXmp();
  Exiv2::XmpData xmp;
  for (const auto& entry : metadata.xmp) {
    translated(entry.first, [&] { xmp[entry.first] = entry.second; });
  }
  return xmp;
}

template <typename Change>
std::string rewritten(std::string_view picture, Change change) {
  return translated("embedding metadata", [&] {
    startXmp();
    const std::vector<Exiv2::byte> bytes(picture.begin(), picture.end());
    const auto image = Exiv2::ImageFactory::open(bytes.data(), static_cast<long>(bytes.size()));
    image->readMetadata();
    change(*image);
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    if (io.open() != 0) throw std::runtime_error("the written picture can't be read back");
    const Exiv2::DataBuf written = io.read(static_cast<long>(io.size()));
    return std::string(written.pData_, written.pData_ + written.size_);
  });
}

}  // namespace

bool Metadata::empty() const {
  return exif.empty() && xmp.empty() && !gps && gpsDateStamp.empty() && gpsTimeStamp.empty() &&
         !orientation && !thumbnail;
}

std::string exifBlock(const Metadata& metadata) {
  Exiv2::ExifData exif = exifData(metadata);
  if (exif.empty()) return {};
  return translated("EXIF", [&exif] {
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, exif);
    return std::string(blob.begin(), blob.end());
  });
}

std::string xmpPacket(const Metadata& metadata) {
  const Exiv2::XmpData xmp = xmpData(metadata);
  std::string packet;
  if (!xmp.empty() && Exiv2::XmpParser::encode(packet, xmp) != 0) {
    throw std::runtime_error("the XMP packet can't be encoded");
  }
  return packet;
}

std::string withMetadata(std::string_view picture, const Metadata& metadata) {
  return rewritten(picture, [&metadata](Exiv2::Image& image) {
    // What the file says about its own structure stays.
    for (const Exiv2::Exifdatum& datum : exifData(metadata)) {
      image.exifData()[datum.key()] = datum.value();
    }
    for (const Exiv2::Xmpdatum& datum : xmpData(metadata)) image.xmpData().add(datum);
  });
}

std::string withoutExif(std::string_view picture) {
  return rewritten(picture, [](Exiv2::Image& image) { image.clearExifData(); });
}

void embedMetadata(const std::filesystem::path& path, const Metadata& metadata) {
  writeText(path, withMetadata(slurp(path), metadata));
}

}  // namespace vaultmere
