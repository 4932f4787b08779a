// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/ImageFormat.h"

#include <algorithm>
#include <array>
#include <string>

#include "media/worker/ByteView.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

using namespace std::string_view_literals;

constexpr std::size_t kHeadBytes = 512;
constexpr std::uint64_t kDngVersionTag = 0xC612;

struct Signature {
  std::string_view magic;
  ImageContainer container;
  std::string_view mimeType;
};

/// The stills that their first bytes tell without another look.
constexpr std::array kSignatures{
    Signature{"\xFF\xD8\xFF", ImageContainer::jpeg, "image/jpeg"},
    Signature{"\x89PNG\r\n\x1A\n", ImageContainer::png, "image/png"},
    Signature{"GIF87a", ImageContainer::gif, "image/gif"},
    Signature{"GIF89a", ImageContainer::gif, "image/gif"},
    Signature{"8BPS\0\1"sv, ImageContainer::psd, "image/vnd.adobe.photoshop"},
    Signature{"8BPS\0\2"sv, ImageContainer::psd, "image/vnd.adobe.photoshop"},
    Signature{"\0\0\0\x0CjP  \r\n\x87\n"sv, ImageContainer::jpeg2000, "image/jp2"},
    Signature{"FUJIFILMCCD-RAW", ImageContainer::raw, "image/x-fuji-raf"},
    Signature{"FOVb", ImageContainer::raw, "image/x-sigma-x3f"},
    Signature{"IIRO", ImageContainer::raw, "image/x-olympus-orf"},
    Signature{"IIRS", ImageContainer::raw, "image/x-olympus-orf"},
    Signature{"MMOR", ImageContainer::raw, "image/x-olympus-orf"},
};

struct RawKind {
  std::string_view extension;
  std::string_view mimeType;
};

/// The RAW kinds that are TIFF from their first byte on.
constexpr std::array kTiffRawKinds{
    RawKind{"dng", "image/x-adobe-dng"},      RawKind{"cr2", "image/x-canon-cr2"},
    RawKind{"nef", "image/x-nikon-nef"},      RawKind{"nrw", "image/x-nikon-nrw"},
    RawKind{"arw", "image/x-sony-arw"},       RawKind{"srf", "image/x-sony-srf"},
    RawKind{"sr2", "image/x-sony-sr2"},       RawKind{"orf", "image/x-olympus-orf"},
    RawKind{"rw2", "image/x-panasonic-rw2"},  RawKind{"pef", "image/x-pentax-pef"},
    RawKind{"raw", "image/x-panasonic-raw"},  RawKind{"3fr", "image/x-hasselblad-3fr"},
    RawKind{"fff", "image/x-hasselblad-fff"}, RawKind{"iiq", "image/x-phaseone-iiq"},
    RawKind{"rwl", "image/x-leica-rwl"},      RawKind{"mos", "image/x-leaf-mos"},
    RawKind{"mef", "image/x-mamiya-mef"},     RawKind{"erf", "image/x-epson-erf"},
    RawKind{"kdc", "image/x-kodak-kdc"},      RawKind{"dcr", "image/x-kodak-dcr"},
};

std::optional<ImageFormat> still(ImageContainer container, std::string_view mimeType) {
  return ImageFormat{container, mimeType, false};
}

/// True when the first directory of a TIFF carries the tag that makes it a DNG.
bool hasDngVersion(const File& file, std::string_view head, std::endian order) {
  const auto directory = ByteView(head, order).number(4, 4);
  if (!directory) {
    return false;
  }
  const auto count = ByteView(readAt(file, *directory, 2), order).number(0, 2);
  if (!count) {
    return false;
  }
  constexpr std::size_t kEntryBytes = 12;
  const std::string entries = readAt(file, *directory + 2, *count * kEntryBytes);
  for (std::size_t at = 0; at + kEntryBytes <= entries.size(); at += kEntryBytes) {
    if (ByteView(entries, order).number(at, 2) == kDngVersionTag) {
      return true;
    }
  }
  return false;
}

std::optional<ImageFormat> recogniseTiff(const File& file, std::string_view head) {
  const std::endian order = head.front() == 'I' ? std::endian::little : std::endian::big;
  const auto raw = [](std::string_view mimeType) {
    return ImageFormat{ImageContainer::raw, mimeType, true};
  };
  if (head.substr(8, 2) == "CR") {
    return raw("image/x-canon-cr2");
  }
  if (head.substr(8, 4) == "IIII" || head.substr(8, 4) == "MMMM") {
    return raw("image/x-phaseone-iiq");
  }
  if (hasDngVersion(file, head, order)) {
    return raw("image/x-adobe-dng");
  }
  const std::string extension = lowerExtension(file.path());
  const auto kind = std::find_if(kTiffRawKinds.begin(), kTiffRawKinds.end(),
                                 [&](const RawKind& k) { return k.extension == extension; });
  return kind == kTiffRawKinds.end() ? still(ImageContainer::tiff, "image/tiff")
                                     : raw(kind->mimeType);
}

/// The kinds that a still's own container family (ISO/IEC 14496-12) can hold,
/// by the brands of its first box.
std::optional<ImageFormat> recogniseBranded(std::string_view head) {
  const auto size = ByteView(head).number(0, 4).value_or(0);
  const std::string_view box = head.substr(0, static_cast<std::size_t>(size));
  const std::string_view major = box.size() < 12 ? "" : box.substr(8, 4);
  const auto isOneOf = [](std::string_view brand, std::initializer_list<std::string_view> brands) {
    return std::find(brands.begin(), brands.end(), brand) != brands.end();
  };
  const auto compatible = [&](std::initializer_list<std::string_view> brands) {
    for (std::size_t at = 16; at + 4 <= box.size(); at += 4) {
      if (isOneOf(box.substr(at, 4), brands)) {
        return true;
      }
    }
    return false;
  };
  if (major == "crx ") {
    return still(ImageContainer::raw, "image/x-canon-cr3");
  }
  if (isOneOf(major, {"avif", "avis"})) {
    return still(ImageContainer::heif, "image/avif");
  }
  if (isOneOf(major, {"heic", "heix", "heim", "heis"})) {
    return still(ImageContainer::heif, "image/heic");
  }
  if (isOneOf(major, {"hevc", "hevx", "hevm", "hevs"})) {
    return still(ImageContainer::heif, "image/heic-sequence");
  }
  if (!isOneOf(major, {"mif1", "mif2", "msf1", "miaf"})) {
    return std::nullopt;
  }
  if (compatible({"avif", "avis"})) {
    return still(ImageContainer::heif, "image/avif");
  }
  return still(ImageContainer::heif,
               compatible({"heic", "heix", "heim", "heis"}) ? "image/heic" : "image/heif");
}

/// "BM" alone begins many a text; a BMP also has a header of a known size and
/// one plane.
bool looksLikeBmp(std::string_view head) {
  const ByteView view(head, std::endian::little);
  constexpr std::array<std::uint64_t, 8> kHeaderSizes{12, 16, 40, 52, 56, 64, 108, 124};
  const auto size = view.number(14, 4);
  return size && std::find(kHeaderSizes.begin(), kHeaderSizes.end(), *size) != kHeaderSizes.end() &&
         view.number(*size == 12 ? 22 : 26, 2) == 1;
}

std::uint64_t magnitude(std::uint64_t number) {
  const auto value = static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
  return static_cast<std::uint64_t>(value < 0 ? -static_cast<std::int64_t>(value) : value);
}

}  // namespace

std::optional<ImageFormat> recogniseImage(const File& file) {
  const std::string bytes = readAt(file, 0, kHeadBytes);
  const std::string_view head = bytes;
  for (const Signature& signature : kSignatures) {
    if (head.starts_with(signature.magic)) {
      return still(signature.container, signature.mimeType);
    }
  }
  for (const std::string_view magic : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
    if (head.size() >= 12 && head.starts_with(magic)) {
      return recogniseTiff(file, head);
    }
  }
  if (head.starts_with("RIFF") && head.size() >= 12 && head.substr(8, 4) == "WEBP") {
    return still(ImageContainer::webp, "image/webp");
  }
  if (head.size() >= 12 && head.substr(4, 4) == "ftyp") {
    return recogniseBranded(head);
  }
  if (head.starts_with("IIU\0"sv)) {
    const bool leica = lowerExtension(file.path()) == "rwl";
    return still(ImageContainer::raw, leica ? "image/x-leica-rwl" : "image/x-panasonic-rw2");
  }
  if (head.starts_with("BM") && looksLikeBmp(head)) {
    return still(ImageContainer::bmp, "image/bmp");
  }
  return std::nullopt;
}

std::optional<DeclaredPixels> declaredPixels(const File& file, const ImageFormat& format) {
  const std::string head = readAt(file, 0, kHeadBytes);
  if (format.container == ImageContainer::psd) {
    const ByteView view(head);
    const auto channels = view.number(12, 2);
    const auto height = view.number(14, 4);
    const auto width = view.number(18, 4);
    const auto depth = view.number(22, 2);
    if (!channels || !height || !width || !depth) {
      return std::nullopt;
    }
    return DeclaredPixels{*width, *height, *channels * ((*depth + 7) / 8)};
  }
  if (format.container != ImageContainer::bmp) {
    return std::nullopt;
  }
  const ByteView view(head, std::endian::little);
  const bool shortHeader = view.number(14, 4) == 12;
  const auto width = view.number(18, shortHeader ? 2 : 4);
  const auto height = view.number(shortHeader ? 20 : 22, shortHeader ? 2 : 4);
  if (!width || !height) {
    return std::nullopt;
  }
  return DeclaredPixels{magnitude(*width), magnitude(*height), 4};
}

}  // namespace vaultmere
