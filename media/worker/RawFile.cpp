// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/RawFile.h"

#include <fmt/format.h>
#include <libraw/libraw.h>

#include <array>
#include <chrono>
#include <ctime>

#include "media/worker/FileMapping.h"

namespace vaultmere {
namespace {

constexpr unsigned kMaxRawMegabytes = 1024;

/// No real file takes this long to read or develop.
constexpr std::chrono::minutes kMaxRawTime{5};

/// The EXIF code for LibRaw's flip: bits for mirrored, upside down, transposed.
int orientationOfFlip(int flip) {
  constexpr std::array kCodes{1, 2, 4, 3, 5, 8, 6, 7};
  return kCodes.at(static_cast<std::size_t>(flip & 7));
}

/// LibRaw has turned the EXIF text into a moment by the process's zone; the
/// same zone gives the text back.
std::string exifText(std::time_t moment) {
  std::tm local{};
  if (moment <= 0 || ::localtime_r(&moment, &local) == nullptr) {
    return {};
  }
  return fmt::format("{:04}:{:02}:{:02} {:02}:{:02}:{:02}", local.tm_year + 1900, local.tm_mon + 1,
                     local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

template <std::size_t N>
std::string textOf(const char (&field)[N]) {
  return {field, ::strnlen(field, N)};
}

RawHeader headerOf(const libraw_data_t& data) {
  RawHeader header;
  header.width = data.sizes.width;
  header.height = data.sizes.height;
  header.orientation = orientationOfFlip(data.sizes.flip);
  header.make = textOf(data.idata.make);
  header.model = textOf(data.idata.model);
  header.lens = textOf(data.lens.Lens);
  header.dateTime = exifText(data.other.timestamp);
  header.iso = data.other.iso_speed;
  header.fNumber = data.other.aperture;
  header.exposureTime = data.other.shutter;
  header.focalLength = data.other.focal_len;
  return header;
}

}  // namespace

struct RawFile::Reader {
  FileMapping bytes;  // outlives the library
  // Its own handlers would print to standard error.
  LibRaw raw{LIBRAW_OPIONS_NO_MEMERR_CALLBACK | LIBRAW_OPIONS_NO_DATAERR_CALLBACK};
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::now() + kMaxRawTime;

  explicit Reader(const File& file) : bytes(file) {
    libraw_output_params_t& params = raw.imgdata.params;
    params.max_raw_memory_mb = kMaxRawMegabytes;
    params.use_camera_wb = 1;
    params.output_bps = 8;
    params.user_flip = 0;  // the renderer rotates the few pixels that are left
    params.user_qual = 0;  // the picture is scaled down in any case
    raw.set_progress_handler(
        [](void* self, LibRaw_progress, int, int) {
          return std::chrono::steady_clock::now() > static_cast<Reader*>(self)->deadline ? 1 : 0;
        },
        this);
  }
};

RawFile::RawFile(const File& file, std::unique_ptr<Reader> reader)
    : file_(file), reader_(std::move(reader)), header_(headerOf(reader_->raw.imgdata)) {
  const libraw_image_sizes_t& sizes = reader_->raw.imgdata.sizes;
  sensorPixels_ = std::uint64_t{sizes.raw_width} * sizes.raw_height;
  picturePixels_ = std::uint64_t{sizes.width} * sizes.height;
}

RawFile::~RawFile() = default;

std::unique_ptr<RawFile::Reader> RawFile::openReader(const File& file) {
  try {
    auto reader = std::make_unique<Reader>(file);
    const std::span<const std::uint8_t> bytes = reader->bytes.bytes();
    // It takes memory that it could write to, and only reads.
    auto* const start = const_cast<std::uint8_t*>(bytes.data());
    return reader->raw.open_buffer(start, bytes.size()) == LIBRAW_SUCCESS ? std::move(reader)
                                                                          : nullptr;
  } catch (...) {
    return nullptr;
  }
}

std::unique_ptr<RawFile> RawFile::open(const File& file) {
  auto reader = openReader(file);
  return reader ? std::unique_ptr<RawFile>(new RawFile(file, std::move(reader))) : nullptr;
}

std::span<const std::uint8_t> RawFile::preview() {
  if (!reader_) {
    return {};
  }
  LibRaw& raw = reader_->raw;
  const libraw_thumbnail_t& thumbnail = raw.imgdata.thumbnail;
  try {
    if (thumbnail.thumb == nullptr && raw.unpack_thumb() != LIBRAW_SUCCESS) {
      return {};
    }
  } catch (...) {
    return {};
  }
  if (thumbnail.tformat != LIBRAW_THUMBNAIL_JPEG || thumbnail.thumb == nullptr) {
    return {};
  }
  return {reinterpret_cast<const std::uint8_t*>(thumbnail.thumb), thumbnail.tlength};
}

std::uint64_t RawFile::developBytes(bool half) const {
  constexpr std::uint64_t kSensorBytes = 2;
  constexpr std::uint64_t kPixelBytes = 4 * 2 + 3;  // four channels of 16 bits, then RGB
  return sensorPixels_ * kSensorBytes + picturePixels_ * kPixelBytes / (half ? 4 : 1);
}

const DevelopedRaw* RawFile::develop(bool half) {
  if (developedHalf_ != half) {
    if (developedHalf_) {  // the library develops a file once
      developed_.reset();
      reader_ = nullptr;
      reader_ = openReader(file_);
    }
    developedHalf_ = half;
    developed_ = reader_ ? developAnew(half) : std::nullopt;
  }
  return developed_ ? &*developed_ : nullptr;
}

std::optional<DevelopedRaw> RawFile::developAnew(bool half) {
  LibRaw& raw = reader_->raw;
  raw.imgdata.params.half_size = half ? 1 : 0;
  try {
    if (raw.unpack() != LIBRAW_SUCCESS || raw.dcraw_process() != LIBRAW_SUCCESS) {
      return std::nullopt;
    }
    const std::unique_ptr<libraw_processed_image_t, void (*)(libraw_processed_image_t*)> image(
        raw.dcraw_make_mem_image(), &LibRaw::dcraw_clear_mem);
    if (!image || image->type != LIBRAW_IMAGE_BITMAP || image->bits != 8 ||
        (image->colors != 1 && image->colors != 3)) {
      return std::nullopt;
    }
    DevelopedRaw result{image->width, image->height, image->colors, {}};
    result.pixels.assign(image->data, image->data + image->data_size);
    return result;
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
