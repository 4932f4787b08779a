// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/EmbeddedMetadata.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <exiv2/bmffimage.hpp>
#include <exiv2/exiv2.hpp>
#include <exiv2/preview.hpp>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/worker/ByteView.h"
#include "media/worker/FileMapping.h"
#include "media/worker/XmpMapping.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

using Groups = std::initializer_list<const char*>;

/// Exiv2 loads each box or chunk whole, pictures included, and is spared those
/// of files that are larger than this.
constexpr std::uint64_t kMaxChunkedFile = std::uint64_t{1} << 30;

/// No camera writes a larger preview.
constexpr std::size_t kMaxPreviewBytes = std::size_t{64} << 20;

/// Enough for all that stands before the pictures in a file made of boxes.
constexpr std::size_t kBoxedHeadBytes = std::size_t{16} << 20;

void prepareExiv2() {
  static std::once_flag once;
  std::call_once(once, [] {
    static std::recursive_mutex namespaces;
    Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
    Exiv2::enableBMFF();
    Exiv2::XmpParser::initialize(
        [](void* mutex, bool lock) {
          auto* const held = static_cast<std::recursive_mutex*>(mutex);
          if (lock) {
            held->lock();
          } else {
            held->unlock();
          }
        },
        &namespaces);
  });
}

/// One entry as it stands, not a number for 0/0; absent for texts.
std::optional<double> entryAt(const Exiv2::Value& value, long index) {
  if (index >= value.count()) {
    return std::nullopt;
  }
  const auto ratio = [](double numerator, double denominator) { return numerator / denominator; };
  const auto at = static_cast<std::size_t>(index);
  if (const auto* rationals = dynamic_cast<const Exiv2::URationalValue*>(&value)) {
    return ratio(rationals->value_[at].first, rationals->value_[at].second);
  }
  if (const auto* signedRationals = dynamic_cast<const Exiv2::RationalValue*>(&value)) {
    return ratio(signedRationals->value_[at].first, signedRationals->value_[at].second);
  }
  switch (value.typeId()) {
    case Exiv2::unsignedByte:
    case Exiv2::unsignedShort:
    case Exiv2::unsignedLong:
    case Exiv2::signedByte:
    case Exiv2::signedShort:
    case Exiv2::signedLong:
      return static_cast<double>(value.toLong(index));
    case Exiv2::tiffFloat:
    case Exiv2::tiffDouble:
      return static_cast<double>(value.toFloat(index));
    default:
      return std::nullopt;
  }
}

/// The same where only a finite number will do.
std::optional<double> numberAt(const Exiv2::Value& value, long index) {
  const auto entry = entryAt(value, index);
  return entry && std::isfinite(*entry) ? entry : std::nullopt;
}

/// Reads tags by name from the first of several groups that has them readable.
class ExifReader {
 public:
  explicit ExifReader(const Exiv2::ExifData& data) : data_(data) {}

  [[nodiscard]] std::optional<std::string> text(const char* tag, Groups groups) const {
    return first<std::string>(tag, groups, [](const Exiv2::Value& value) {
      return value.typeId() == Exiv2::asciiString ? std::optional(validUtf8(value.toString()))
                                                  : std::nullopt;
    });
  }
  [[nodiscard]] std::optional<double> number(const char* tag, Groups groups) const {
    return first<double>(tag, groups, [](const Exiv2::Value& value) { return numberAt(value, 0); });
  }
  [[nodiscard]] std::optional<std::vector<double>> numbers(const char* tag, Groups groups) const {
    return list(tag, groups, numberAt);
  }
  /// With what isn't finite.
  [[nodiscard]] std::optional<std::vector<double>> entries(const char* tag, Groups groups) const {
    return list(tag, groups, entryAt);
  }

 private:
  template <typename Read>
  std::optional<std::vector<double>> list(const char* tag, Groups groups, Read read) const {
    return first<std::vector<double>>(tag, groups, [&](const Exiv2::Value& value) {
      std::vector<double> list;
      for (long i = 0; i < value.count(); ++i) {
        const auto number = read(value, i);
        if (!number) {
          return std::optional<std::vector<double>>{};
        }
        list.push_back(*number);
      }
      return std::optional(list);
    });
  }

  template <typename T, typename Read>
  std::optional<T> first(const char* tag, Groups groups, Read read) const {
    for (const char* group : groups) {
      try {
        const auto at = data_.findKey(Exiv2::ExifKey(std::string(group) + "." + tag));
        if (at != data_.end()) {
          if (auto value = read(at->value())) {
            return value;
          }
        }
      } catch (const std::exception&) {
        continue;  // a tag that this version of the library has no name for
      }
    }
    return std::nullopt;
  }

  const Exiv2::ExifData& data_;
};

template <typename T>
void put(PropertyDictionary& dictionary, const char* key, const std::optional<T>& value) {
  if (value) {
    dictionary.insert_or_assign(key, *value);
  }
}

bool isGiven(const std::vector<double>& parts, std::size_t index) {
  return index < parts.size() && !std::isnan(parts[index]);
}

/// Writers leave out what they haven't measured, or write 0/0 for it.
double partOrZero(const std::vector<double>& parts, std::size_t index) {
  return isGiven(parts, index) ? parts[index] : 0;
}

/// Degrees, and minutes and seconds where given, as unsigned decimal degrees.
std::optional<double> degrees(const std::optional<std::vector<double>>& parts) {
  if (!parts || !isGiven(*parts, 0)) {
    return std::nullopt;
  }
  const double sum = (*parts)[0] + partOrZero(*parts, 1) / 60.0 + partOrZero(*parts, 2) / 3600.0;
  return std::isfinite(sum) ? std::optional(sum) : std::nullopt;
}

/// "10:11:12", or "10:11:12.50" when the seconds have a fraction; hundredths are
/// cut off, since rounding could show a sixtieth second.
std::optional<std::string> timeStamp(const std::optional<std::vector<double>>& parts) {
  if (!parts || !isGiven(*parts, 0) || !isGiven(*parts, 1)) {
    return std::nullopt;
  }
  for (const double part : *parts) {
    if (part < 0 || part >= 100) {
      return std::nullopt;
    }
  }
  const double seconds = partOrZero(*parts, 2);
  const auto hundredths = static_cast<int>(seconds * 100 + 1e-6);
  std::string stamp = fmt::format("{:02}:{:02}:{:02}", static_cast<int>((*parts)[0]),
                                  static_cast<int>((*parts)[1]), hundredths / 100);
  if (hundredths % 100 != 0) {
    stamp += fmt::format(".{:02}", hundredths % 100);
  }
  return stamp;
}

void mapExif(const Exiv2::ExifData& data, ImageProperties& properties) {
  const ExifReader reader(data);
  // TIFF/EP cameras keep the exposure in the first directory, Panasonic's RAW
  // has a first directory of its own.
  const Groups photo{"Exif.Photo", "Exif.Image"};
  const Groups image{"Exif.Image", "Exif.PanasonicRaw"};
  const Groups gps{"Exif.GPSInfo"};

  for (const char* tag : {"DateTimeOriginal", "DateTimeDigitized", "LensModel"}) {
    put(properties.exif, tag, reader.text(tag, photo));
  }
  for (const char* tag : {"FNumber", "ApertureValue", "ExposureTime", "FocalLength"}) {
    put(properties.exif, tag, reader.number(tag, photo));
  }
  put(properties.exif, "ISOSpeedRatings", reader.numbers("ISOSpeedRatings", photo));
  for (const char* tag : {"Make", "Model", "Software"}) {
    put(properties.tiff, tag, reader.text(tag, image));
  }
  const auto orientation = reader.number("Orientation", image);
  if (orientation && *orientation >= 1 && *orientation <= 8) {
    properties.orientation = orientation;
  }

  put(properties.gps, "DateStamp", reader.text("GPSDateStamp", gps));
  put(properties.gps, "TimeStamp", timeStamp(reader.entries("GPSTimeStamp", gps)));
  put(properties.gps, "Latitude", degrees(reader.entries("GPSLatitude", gps)));
  put(properties.gps, "LatitudeRef", reader.text("GPSLatitudeRef", gps));
  put(properties.gps, "Longitude", degrees(reader.entries("GPSLongitude", gps)));
  put(properties.gps, "LongitudeRef", reader.text("GPSLongitudeRef", gps));

  put(properties.exifAux, "LensModel",
      reader.text("LensModel", {"Exif.Canon", "Exif.OlympusEq", "Exif.Panasonic"}));
}

using ImageHandle = std::unique_ptr<Exiv2::Image>;

/// What Exiv2 reads of a file; must outlive the image.
struct ImageBytes {
  std::string copy;
  std::optional<FileMapping> mapping;
};

/// Bytes that can be sought behind their end, as a file can: a box or chunk that is
/// cut off isn't a reason to lose what precedes it.
class SeekableBytes final : public Exiv2::MemIo {
 public:
  explicit SeekableBytes(std::span<const std::uint8_t> bytes)
      : MemIo(bytes.data(), static_cast<long>(bytes.size())) {}

  int seek(long offset, Position from) override {
    const long start = from == beg ? 0 : from == cur ? tell() : static_cast<long>(size());
    return offset > static_cast<long>(size()) - start ? MemIo::seek(0, end)
                                                      : MemIo::seek(offset, from);
  }
};

/// The file as Exiv2 should see it. Null when it is too large.
ImageHandle openImage(const File& file, const ImageFormat& format, ImageBytes& bytes) {
  const auto size = static_cast<std::uint64_t>(file.status().stamp.size);
  const bool tiffLike =
      format.container == ImageContainer::tiff || format.container == ImageContainer::raw;
  if (format.container == ImageContainer::heif || format.mimeType == "image/x-canon-cr3") {
    bytes.copy = readAt(file, 0, kBoxedHeadBytes);
  } else if (!tiffLike && format.container != ImageContainer::jpeg && size > kMaxChunkedFile) {
    return nullptr;
  }
  std::span<const std::uint8_t> data{reinterpret_cast<const std::uint8_t*>(bytes.copy.data()),
                                     bytes.copy.size()};
  if (data.empty()) {
    data = bytes.mapping.emplace(file).bytes();
  }
  return ImageHandle(
      Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(new SeekableBytes(data))).release());
}

/// The containers in which Exiv2's size is the first image's, not that of a
/// preview or another item beside it.
bool tellsSize(ImageContainer container) {
  return container == ImageContainer::jpeg || container == ImageContainer::png ||
         container == ImageContainer::webp || container == ImageContainer::gif;
}

void mapSize(const Exiv2::Image& image, ImageProperties& properties) {
  if (image.pixelWidth() > 0 && image.pixelHeight() > 0) {
    properties.pixelWidth = image.pixelWidth();
    properties.pixelHeight = image.pixelHeight();
  }
}

std::optional<double> numberOf(const Exiv2::ExifData& data, const std::string& key) {
  try {
    const auto at = data.findKey(Exiv2::ExifKey(key));
    return at == data.end() ? std::nullopt : numberAt(at->value(), 0);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

/// The size of the largest picture that a RAW file's directories describe: of
/// those that are marked as the full picture, else of all. Where there is no such
/// directory, EXIF tells the size that the camera gave its own JPEG.
void mapRawSize(const Exiv2::ExifData& data, ImageProperties& properties) {
  struct Candidate {
    bool isFull = false;
    double width = 0;
    double height = 0;
    bool operator<(const Candidate& other) const {
      return std::pair(isFull, width * height) <
             std::pair(other.isFull, other.width * other.height);
    }
  };
  Candidate best;
  for (const char* directory :
       {"Image", "SubImage1", "SubImage2", "SubImage3", "SubImage4", "SubImage5", "SubImage6",
        "SubImage7", "SubImage8", "SubImage9", "Image2", "Image3"}) {
    const std::string group = std::string("Exif.") + directory;
    best = std::max(best, Candidate{numberOf(data, group + ".NewSubfileType") == 0.0,
                                    numberOf(data, group + ".ImageWidth").value_or(0),
                                    numberOf(data, group + ".ImageLength").value_or(0)});
  }
  const double width = numberOf(data, "Exif.Photo.PixelXDimension").value_or(0);
  const double height = numberOf(data, "Exif.Photo.PixelYDimension").value_or(0);
  if (!best.isFull && width * height > best.width * best.height) {
    best = {false, width, height};
  }
  if (best.width > 0 && best.height > 0) {
    properties.pixelWidth = best.width;
    properties.pixelHeight = best.height;
  }
}

}  // namespace

struct EmbeddedMetadata::Opened {
  ImageBytes bytes;
  ImageHandle image;
  bool isDamaged = false;
};

EmbeddedMetadata::EmbeddedMetadata(const File& file, const ImageFormat& format)
    : container_(format.container) {
  prepareExiv2();
  try {
    auto opened = std::make_unique<Opened>();
    opened->image = openImage(file, format, opened->bytes);
    if (!opened->image) {
      return;
    }
    try {
      opened->image->readMetadata();
    } catch (const std::exception&) {
      opened->isDamaged = true;  // what came before the damage has been kept
    }
    opened_ = std::move(opened);
  } catch (const std::exception&) {
    // Not for this library, or gone while it was read.
  }
}

EmbeddedMetadata::~EmbeddedMetadata() = default;

void EmbeddedMetadata::addTo(ImageProperties& properties) const {
  if (!opened_) {
    return;
  }
  const Exiv2::Image& image = *opened_->image;
  try {
    if (tellsSize(container_)) {
      mapSize(image, properties);
    } else if (container_ == ImageContainer::raw) {
      mapRawSize(image.exifData(), properties);
    }
    mapExif(image.exifData(), properties);
    mapXmp(image.xmpData(), properties);
  } catch (const std::exception&) {
    // What has been mapped stays.
  }
}

std::string EmbeddedMetadata::largestPreview() const {
  if (!opened_ || opened_->isDamaged) {
    return {};
  }
  try {
    const Exiv2::PreviewManager previews(*opened_->image);
    const Exiv2::PreviewPropertiesList list = previews.getPreviewProperties();  // smallest first
    for (auto at = list.rbegin(); at != list.rend(); ++at) {
      if (at->mimeType_ == "image/jpeg" && at->size_ <= kMaxPreviewBytes) {
        const Exiv2::PreviewImage preview = previews.getPreviewImage(*at);
        return {reinterpret_cast<const char*>(preview.pData()), preview.size()};
      }
    }
  } catch (const std::exception&) {
    // Damaged.
  }
  return {};
}

void readMetadataOfJpeg(std::string_view jpeg, ImageProperties& properties) {
  prepareExiv2();
  try {
    const auto image = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(jpeg.data()),
                                                 static_cast<long>(jpeg.size()));
    image->readMetadata();
    mapExif(image->exifData(), properties);
    mapXmp(image->xmpData(), properties);
  } catch (const std::exception&) {
    // What has been mapped stays.
  }
}

void readMetadataBlocks(std::string_view exif, std::string_view xmp, ImageProperties& properties) {
  prepareExiv2();
  constexpr std::string_view kPrefix{"Exif\0\0", 6};
  if (exif.starts_with(kPrefix)) {
    exif.remove_prefix(kPrefix.size());
  }
  try {
    if (!exif.empty()) {
      Exiv2::ExifData data;
      Exiv2::ExifParser::decode(data, reinterpret_cast<const Exiv2::byte*>(exif.data()),
                                static_cast<std::uint32_t>(exif.size()));
      mapExif(data, properties);
    }
    if (!xmp.empty()) {
      Exiv2::XmpData data;
      Exiv2::XmpParser::decode(data, std::string(xmp));
      mapXmp(data, properties);
    }
  } catch (const std::exception&) {
    // Damaged blocks: what has been mapped stays.
  }
}

}  // namespace vaultmere
