// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/catalog/LibraryGenerator.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

constexpr double kDay = 86'400;
constexpr double kYear = 365.25 * kDay;
constexpr int kFirstYear = 1998;
constexpr int kYears = 27;
constexpr int kCameras = 60;
constexpr int kBigAlbums = 6;
constexpr double kFirstImport = 24 * kYear;

constexpr std::array<std::string_view, 11> kColours{
    "Gray", "Blue", "Black", "Green", "Orange", "Red", "Yellow", "White", "Cyan", "Pink", "Purple"};

constexpr std::array<std::int64_t, 6> kOddSizes{0,         511'999,    512'000,
                                                1'048'575, 60'000'000, 1LL << 60};
constexpr std::array<std::string_view, 4> kOddFiles{"ecole.png", "x%y_z'.gif", "", "ÉCOLE.JPG"};
constexpr std::array<std::string_view, 3> kOddPlaces{"L’École", "Αθήνα", ""};

void link(Connection& connection, const char* sql, std::int64_t photo, int target) {
  connection.prepare(sql).bind(1, photo).bind(2, target).step();
}

}  // namespace

LibraryGenerator::LibraryGenerator(const LibrarySize& size, std::uint64_t seed)
    : size_(size), random_(seed), import_(kFirstImport) {}

std::string LibraryGenerator::tagName(int number) const {
  const bool isOdd = size_.oddities > 0 && number % 3 == 0;
  return fmt::format("{} {}", isOdd ? "École d'été" : "Album", number);
}

std::string LibraryGenerator::labelName(int number) const {
  return fmt::format("label {}", number);
}

LibraryRow LibraryGenerator::next() {
  if (folder_.left == 0) {
    folder_ = nextFolder();
    import_ += kDay / 4;
  }
  LibraryRow row;
  row.photo = nextPhoto();
  if (random_.chance(size_.oddities)) {
    addOddities(row.photo);
  }
  addLinks(row);
  --folder_.left;
  ++folder_.made;
  ++made_;
  return row;
}

LibraryGenerator::Folder LibraryGenerator::nextFolder() {
  static constexpr std::array kPlaces{
      Place{"Switzerland", "Zürich"}, Place{"Switzerland", "Genève"}, Place{"France", "Paris"},
      Place{"France", "Évian"},       Place{"Italy", "Firenze"},      Place{"Italy", "Roma"},
      Place{"Spain", "Málaga"},       Place{"Germany", "Köln"},       Place{"Portugal", "Évora"},
      Place{"Austria", "Wien"},       Place{"Japan", "京都"},         Place{"Greece", "Αθήνα"},
      Place{"Norway", "Tromsø"},      Place{"Iceland", "Reykjavík"},  Place{"Scotland", "Oban"},
      Place{"Denmark", "Aarhus"},     Place{"Morocco", "Fès"},        Place{"Chile", "Valparaíso"},
      Place{"Canada", "Québec"},      Place{"Peru", "Cusco"},
  };

  Folder folder;
  const double age = 1 - std::sqrt(1 - random_.fraction() * 0.999);
  const double years = kYears * (1 - age);
  folder.year = kFirstYear + std::min(kYears - 1, static_cast<int>(years));
  folder.start = (kFirstYear - 2001 + years) * kYear;
  // A camera is in use for some three years.
  folder.camera = std::clamp(static_cast<int>(years / kYears * (kCameras - 8)) + random_.below(8),
                             0, kCameras - 1);
  folder.hasCamera = !random_.chance(0.12);
  folder.hasPlace = random_.chance(0.6);
  folder.place =
      kPlaces.at(static_cast<std::size_t>(random_.uneven(static_cast<int>(kPlaces.size()))));
  const int bigAlbums = std::min(kBigAlbums, size_.tags / 2);
  folder.album = random_.chance(0.5) ? bigAlbums + random_.below(size_.tags - bigAlbums) + 1 : 0;
  folder.left = 20 + random_.uneven(std::clamp(size_.photos / 10, 1, 2'000));
  return folder;
}

Photo LibraryGenerator::nextPhoto() {
  const double import = std::floor(import_ + folder_.made / 3.0);
  Photo photo;
  photo.id = random_.hexDigits(4);
  const bool isVideo = random_.chance(0.07);
  const bool isPhone = folder_.year >= 2017 && folder_.camera % 2 == 0;
  photo.mediaType = isVideo ? "video" : isPhone && random_.chance(0.6) ? "live_photo" : "image";
  photo.ext = isVideo                  ? (isPhone ? ".mov" : ".mp4")
              : isPhone                ? ".heic"
              : random_.chance(0.03)   ? ".png"
              : random_.chance(0.0005) ? ".gif"
                                       : ".jpg";
  photo.mimeType = isVideo ? "video/quicktime" : "image/jpeg";
  photo.originalFilename = fmt::format("{}{:04}{}", folder_.camera % 3 == 0 ? "DSC_" : "IMG_",
                                       made_ % 10'000, photo.ext == ".jpg" ? ".JPG" : photo.ext);
  photo.sizeBytes =
      static_cast<std::int64_t>(200'000.0 * std::exp(random_.fraction() * 4) * (isVideo ? 12 : 1));
  photo.storage = "archive";
  photo.processedAt = CatalogDate{import};
  photo.captureDateSource = "exif";
  photo.captureDateConfidence = "high";
  if (!random_.chance(0.01)) {
    photo.captureDate = CatalogDate{std::floor(folder_.start + folder_.made * 90.0)};
    photo.year = folder_.year;
  }
  photo.targetPath = fmt::format("{0}/{0}-06/{1}{2}", folder_.year, photo.id, photo.ext);
  photo.archivePath = "/media/photographs/archive/" + photo.targetPath;
  if (random_.chance(0.01)) {
    photo.trashedAt = CatalogDate{import + kDay};
  } else if (random_.chance(0.04)) {
    photo.stackedUnder = photo.id;
  }
  photo.phash = made_;
  addPicture(photo, isVideo);
  addTaking(photo);
  return photo;
}

void LibraryGenerator::addPicture(Photo& photo, bool isVideo) {
  photo.width = 4000;
  photo.height = 3000;
  photo.megapixels = 12.0;
  photo.orientation = 1;
  photo.favorite = random_.chance(0.03);
  photo.aestheticScore = random_.fraction();
  if (isVideo) {
    photo.duration = random_.fraction() * 60;
    return;
  }
  photo.avgR = random_.below(256);
  photo.avgG = random_.below(256);
  photo.avgB = random_.below(256);
  photo.avgHex = fmt::format("#{:02x}{:02x}{:02x}", *photo.avgR, *photo.avgG, *photo.avgB);
  photo.colorFamily =
      kColours.at(static_cast<std::size_t>(random_.uneven(static_cast<int>(kColours.size()))));
  photo.isBW = random_.chance(0.03);
}

void LibraryGenerator::addTaking(Photo& photo) {
  if (random_.chance(0.02)) {
    photo.caption = fmt::format("Sunday at {} with the children", folder_.place.city);
  }
  if (folder_.hasPlace) {
    photo.placeName = fmt::format("{}, {}", folder_.place.city, folder_.place.country);
    photo.placeCity = folder_.place.city;
    photo.placeCountry = folder_.place.country;
    photo.gpsLat = 30 + 30 * random_.fraction();
    photo.gpsLon = 10 * random_.fraction();
  }
  if (folder_.hasCamera) {
    photo.cameraMake = "Halden";
    photo.cameraModel = fmt::format("Halden H{}", folder_.camera);
    photo.cameraLens = "Halden 35mm F2.8";
    photo.iso = 200;
    photo.aperture = 2.8;
    photo.shutter = 0.004;
    photo.focalLength = 35.0;
  }
}

void LibraryGenerator::addOddities(Photo& photo) {
  const auto maybe = [&](auto& field, const auto& values) {
    if (random_.chance(0.3)) {
      field = random_.pick(values);
    }
  };
  maybe(photo.sizeBytes, kOddSizes);
  maybe(photo.originalFilename, kOddFiles);
  maybe(photo.placeName, kOddPlaces);
  maybe(photo.caption, std::array<std::string_view, 2>{"", "a day"});
  maybe(photo.ext, std::array<std::string_view, 1>{""});
  maybe(photo.aliasUUIDs, std::array<std::vector<std::string>, 1>{{{"a", "b\"c"}}});
  maybe(photo.stackExempt, std::array{true});
  maybe(photo.phash, std::array{-5});
  maybe(photo.colorFamily, std::array<std::string_view, 1>{"Plum"});
  maybe(photo.placeCountry, std::array<std::string_view, 2>{"", "Ελλάδα"});
  maybe(photo.processedAt, std::array<std::optional<CatalogDate>, 2>{CatalogDate{1}, std::nullopt});
  maybe(photo.captureDate,
        std::array<std::optional<CatalogDate>, 3>{CatalogDate{-1}, CatalogDate{0.5}, std::nullopt});
}

void LibraryGenerator::addLinks(LibraryRow& row) {
  const auto add = [](std::vector<int>& list, int number) {
    if (std::find(list.begin(), list.end(), number) == list.end()) {
      list.push_back(number);
    }
  };
  if (folder_.album > 0) {
    add(row.tags, folder_.album);
  }
  if (random_.chance(0.15)) {
    add(row.tags, random_.uneven(std::min(kBigAlbums, size_.tags)) + 1);
  }
  if (random_.chance(0.7)) {
    for (int i = 0; i < 4; ++i) {
      add(row.labels, random_.uneven(size_.labels) + 1);
    }
  }
}

void LibraryGenerator::insertNames(Connection& connection) const {
  const auto insert = [&](const char* sql, int number, const std::string& name) {
    connection.prepare(sql).bind(1, number).bind(2, std::string_view(name)).step();
  };
  for (int number = 1; number <= size_.tags; ++number) {
    insert("INSERT INTO Tag (pk, name) VALUES (?, ?)", number, tagName(number));
  }
  for (int number = 1; number <= size_.labels; ++number) {
    insert("INSERT INTO Label (pk, name) VALUES (?, ?)", number, labelName(number));
  }
}

void LibraryGenerator::insert(Connection& connection, const LibraryRow& row) {
  const std::int64_t photo = insertPhoto(connection, row.photo);
  for (const int tag : row.tags) {
    link(connection, "INSERT INTO Photo_tags (photo, tag) VALUES (?, ?)", photo, tag);
  }
  for (const int label : row.labels) {
    link(connection, "INSERT INTO Photo_labels (photo, label) VALUES (?, ?)", photo, label);
  }
}

}  // namespace vaultmere
