// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/Metadata.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <exiv2/exiv2.hpp>
#include <mutex>
#include <stdexcept>

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

void putGps(Exiv2::ExifData& exif, const GpsPosition& position) {
  const std::string group = "Exif.GPSInfo.GPS";
  put(exif, group + "VersionID", "2 2 0 0");
  put(exif, group + "LatitudeRef", position.latitude < 0 ? "S" : "N");
  put(exif, group + "Latitude", rationals(position.latitude));
  put(exif, group + "LongitudeRef", position.longitude < 0 ? "W" : "E");
  put(exif, group + "Longitude", rationals(position.longitude));
}

Exiv2::ExifData exifData(const Metadata& metadata) {
  Exiv2::ExifData exif;
  if (metadata.gps) putGps(exif, *metadata.gps);
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
  return exif.empty() && xmp.empty() && !gps && !orientation && !thumbnail;
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

}  // namespace vaultmere
