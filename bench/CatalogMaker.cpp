// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/CatalogMaker.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "bench/Benchmark.h"
#include "catalog/PhotoSchema.h"
#include "tests/support/DeterministicRandom.h"

namespace vaultmere::bench {
namespace {

constexpr double kDay = 86'400;
constexpr double kYear = 365.25 * kDay;
constexpr int kFirstYear = 1998;
constexpr int kYears = 27;
constexpr int kCameras = 60;
constexpr int kBigAlbums = 6;
constexpr double kFirstImport = 24 * kYear;

struct Place {
  std::string_view country;
  std::string_view city;
};
constexpr std::array kPlaces{
    Place{"Switzerland", "Zürich"}, Place{"Switzerland", "Genève"}, Place{"France", "Paris"},
    Place{"France", "Évian"},       Place{"Italy", "Firenze"},      Place{"Italy", "Roma"},
    Place{"Spain", "Málaga"},       Place{"Germany", "Köln"},       Place{"Portugal", "Évora"},
    Place{"Austria", "Wien"},       Place{"Japan", "京都"},         Place{"Greece", "Αθήνα"},
    Place{"Norway", "Tromsø"},      Place{"Iceland", "Reykjavík"},  Place{"Scotland", "Oban"},
    Place{"Denmark", "Aarhus"},     Place{"Morocco", "Fès"},        Place{"Chile", "Valparaíso"},
    Place{"Canada", "Québec"},      Place{"Peru", "Cusco"},
};
constexpr std::array<std::string_view, 11> kColours{
    "Gray", "Blue", "Black", "Green", "Orange", "Red", "Yellow", "White", "Cyan", "Pink", "Purple"};

/// What the pictures of one folder have in common.
struct Folder {
  double start = 0;  ///< seconds since 2001
  int year = 0;
  int camera = 0;
  bool hasCamera = true;
  Place place;
  bool hasPlace = false;
  int album = -1;
  int count = 0;
};

class LibraryMaker {
 public:
  LibraryMaker(Connection& connection, const LibrarySize& size)
      : connection_(connection), size_(size) {}

  void run() {
    Transaction transaction(connection_);
    addNames("INSERT INTO Tag (pk, name) VALUES (?, ?)", "Album", size_.tags);
    addNames("INSERT INTO Label (pk, name) VALUES (?, ?)", "label", size_.labels);
    double import = kFirstImport;
    for (int made = 0; made < size_.photos;) {
      const Folder folder = nextFolder();
      import += kDay / 4;
      for (int i = 0; i < folder.count && made < size_.photos; ++i, ++made) {
        add(folder, made, i, std::floor(import + i / 3.0));
      }
    }
    transaction.commit();
  }

 private:
  void addNames(const char* sql, std::string_view stem, int count) {
    for (int number = 1; number <= count; ++number) {
      connection_.prepare(sql)
          .bind(1, number)
          .bind(2, std::string_view(fmt::format("{} {}", stem, number)))
          .step();
    }
  }

  Folder nextFolder() {
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
    folder.album = random_.chance(0.5) ? kBigAlbums + random_.below(size_.tags - kBigAlbums) : -1;
    folder.count = 20 + random_.uneven(2'000);
    return folder;
  }

  Photo photoOf(const Folder& folder, int number, int inFolder, double import) {
    Photo photo;
    photo.id = random_.hexDigits(4);
    const bool isVideo = random_.chance(0.07);
    const bool isApple = folder.year >= 2017 && folder.camera % 2 == 0;
    photo.mediaType = isVideo ? "video" : isApple && random_.chance(0.6) ? "live_photo" : "image";
    photo.ext = isVideo                  ? (isApple ? ".mov" : ".mp4")
                : isApple                ? ".heic"
                : random_.chance(0.03)   ? ".png"
                : random_.chance(0.0005) ? ".gif"
                                         : ".jpg";
    photo.mimeType = isVideo ? "video/quicktime" : "image/jpeg";
    photo.originalFilename = fmt::format("{}{:04}{}", folder.camera % 3 == 0 ? "DSC_" : "IMG_",
                                         number % 10'000, photo.ext == ".jpg" ? ".JPG" : photo.ext);
    photo.sizeBytes = static_cast<std::int64_t>(200'000.0 * std::exp(random_.fraction() * 4) *
                                                (isVideo ? 12 : 1));
    photo.storage = "archive";
    photo.processedAt = CatalogDate{import};
    photo.captureDateSource = "exif";
    photo.captureDateConfidence = "high";
    if (!random_.chance(0.01)) {
      photo.captureDate = CatalogDate{std::floor(folder.start + inFolder * 90.0)};
      photo.year = folder.year;
    }
    photo.targetPath = fmt::format("{0}/{0}-06/{1}{2}", folder.year, photo.id, photo.ext);
    photo.archivePath = "/media/photographs/archive/" + photo.targetPath;
    if (random_.chance(0.01)) {
      photo.trashedAt = CatalogDate{import + kDay};
    } else if (random_.chance(0.04)) {
      photo.stackedUnder = photo.id;
    }
    photo.phash = number;
    addPicture(photo, isVideo);
    addTaking(photo, folder);
    return photo;
  }

  void addPicture(Photo& photo, bool isVideo) {
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

  void addTaking(Photo& photo, const Folder& folder) {
    if (random_.chance(0.02)) {
      photo.caption = fmt::format("Sunday at {} with the children", folder.place.city);
    }
    if (folder.hasPlace) {
      photo.placeName = fmt::format("{}, {}", folder.place.city, folder.place.country);
      photo.placeCity = folder.place.city;
      photo.placeCountry = folder.place.country;
      photo.gpsLat = 30 + 30 * random_.fraction();
      photo.gpsLon = 10 * random_.fraction();
    }
    if (folder.hasCamera) {
      photo.cameraMake = "Halden";
      photo.cameraModel = fmt::format("Halden H{}", folder.camera);
      photo.cameraLens = "Halden 35mm F2.8";
      photo.iso = 200;
      photo.aperture = 2.8;
      photo.shutter = 0.004;
      photo.focalLength = 35.0;
    }
  }

  void add(const Folder& folder, int number, int inFolder, double import) {
    const std::int64_t row = insertPhoto(connection_, photoOf(folder, number, inFolder, import));
    if (folder.album >= 0) {
      link("INSERT OR IGNORE INTO Photo_tags (photo, tag) VALUES (?, ?)", row, folder.album + 1);
    }
    if (random_.chance(0.15)) {
      link("INSERT OR IGNORE INTO Photo_tags (photo, tag) VALUES (?, ?)", row,
           random_.uneven(kBigAlbums) + 1);
    }
    if (random_.chance(0.7)) {
      for (int i = 0; i < 4; ++i) {
        link("INSERT OR IGNORE INTO Photo_labels (photo, label) VALUES (?, ?)", row,
             random_.uneven(size_.labels) + 1);
      }
    }
  }

  void link(const char* sql, std::int64_t photo, int target) {
    connection_.prepare(sql).bind(1, photo).bind(2, target).step();
  }

  Connection& connection_;
  const LibrarySize size_;
  DeterministicRandom random_{20'240'501};
};

/// Takes the indexes of the photographs away while there is much to insert.
std::vector<std::string> dropIndexes(Connection& connection) {
  std::vector<std::string> definitions;
  std::vector<std::string> names;
  {
    auto rows = connection.prepare(
        "SELECT name, sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL");
    while (rows.step()) {
      names.push_back(rows.text(0));
      definitions.push_back(rows.text(1));
    }
  }
  for (const std::string& name : names) {
    connection.execute(fmt::format("DROP INDEX {}", name).c_str());
  }
  return definitions;
}

}  // namespace

void makeCatalog(const std::filesystem::path& store, const LibrarySize& size) {
  Connection connection(store);
  prepareSchema(connection);
  const auto indexes = dropIndexes(connection);
  connection.execute("PRAGMA synchronous = OFF; PRAGMA cache_size = -200000;");
  LibraryMaker(connection, size).run();
  for (const std::string& index : indexes) {
    connection.execute(index.c_str());
  }
  connection.execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

std::filesystem::path sharedCatalog(const std::filesystem::path& folder) {
  namespace fs = std::filesystem;
  const fs::path library = folder.parent_path() / "library";
  if (!fs::exists(library)) {
    const fs::path unfinished = folder / "library";
    makeFresh(unfinished);
    makeCatalog(unfinished / "Vaultmere.sqlite", {});
    fs::rename(unfinished, library);
  }
  ::sync();
  return library / "Vaultmere.sqlite";
}

}  // namespace vaultmere::bench
