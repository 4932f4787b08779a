// SPDX-License-Identifier: GPL-3.0-or-later
//
// Recording items one by one, each durable before the next, next to prepared
// statements that do nothing else.
#include <fmt/format.h>

#include <memory>
#include <set>
#include <stdexcept>

#include "bench/Benchmark.h"
#include "bench/Measurement.h"
#include "bench/RawCatalogBaseline.h"
#include "catalog/CatalogWriter.h"
#include "catalog/PhotoSchema.h"
#include "platform/Sha256.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRows = 500;
constexpr std::size_t kRounds = 31;
constexpr int kTags = 40;
constexpr int kLabels = 300;

AnalyzedPhoto photoOf(int number) {
  Sha256 hash;
  hash.update(std::as_bytes(std::span(&number, 1)));
  AnalyzedPhoto photo;
  photo.id = hash.hexDigest();
  photo.mediaType = "image";
  photo.originalFilename = fmt::format("DSC_{:04}.JPG", number);
  photo.ext = ".jpg";
  photo.mimeType = "image/jpeg";
  photo.sizeBytes = 4'000'000 + number;
  photo.captureDate = fmt::format("{}-{:02}-{:02}T10:{:02}:{:02}", 2010 + number % 14,
                                  number % 12 + 1, number % 28 + 1, number % 60, number % 59);
  photo.captureDateSource = "exif";
  photo.captureDateConfidence = "high";
  photo.width = 4000;
  photo.height = 3000;
  photo.megapixels = 12.0;
  photo.orientation = 1;
  photo.avgHex = fmt::format("#{:02x}80{:02x}", number % 256, number % 199);
  photo.avgR = number % 256;
  photo.avgG = 128;
  photo.avgB = number % 199;
  photo.colorFamily = number % 2 == 0 ? "Blue" : "Green";
  photo.gpsLat = 47.0 + number * 0.0001;
  photo.gpsLon = 8.0 + number * 0.0001;
  photo.cameraMake = "Halden";
  photo.cameraModel = "Halden H1";
  photo.cameraLens = "Halden 35mm F2.8";
  photo.iso = 200;
  photo.aperture = 2.8;
  photo.shutter = 0.004;
  photo.focalLength = 35.0;
  photo.targetPath =
      fmt::format("{0}/{0}-{1:02}/{2}.jpg", 2010 + number % 14, number % 12 + 1, photo.id);
  photo.archivePath = "/media/photographs/archive/" + photo.targetPath;
  photo.storage = "archive";
  photo.processedAt = "2024-05-01T08:00:00Z";
  if (number % 3 == 0) {
    photo.photosUUID = photo.id.substr(0, 36);
    photo.tags = {fmt::format("Album {}", number % kTags),
                  fmt::format("Album {}", (number + 7) % kTags)};
    photo.labels = {fmt::format("label {}", number % kLabels),
                    fmt::format("label {}", (number + 31) % kLabels),
                    fmt::format("label {}", (number + 101) % kLabels)};
  }
  return photo;
}

/// An empty catalog.
fs::path freshStore(const fs::path& folder) {
  makeFresh(folder);
  fs::path store = folder / "catalog.sqlite";
  Connection connection(store);
  prepareSchema(connection);
  return store;
}

void addNames(const fs::path& store, const std::vector<RawRow>& rows) {
  Connection connection(store);
  Transaction transaction(connection);
  std::set<std::string> known;
  const auto add = [&](const char* sql, const std::string& name) {
    if (known.insert(sql + name).second) {
      connection.prepare(sql).bind(1, std::string_view(name)).step();
    }
  };
  for (const RawRow& row : rows) {
    for (const std::string& tag : row.tags) {
      add("INSERT INTO Tag (name) VALUES (?)", tag);
    }
    for (const std::string& label : row.labels) {
      add("INSERT INTO Label (name) VALUES (?)", label);
    }
  }
  transaction.commit();
}

void recordRows(const fs::path& folder) {
  std::vector<AnalyzedPhoto> photos;
  photos.reserve(kRows);
  for (int number = 0; number < kRows; ++number) {
    photos.push_back(photoOf(number));
  }
  ThreadPool pool(1);
  fs::path oursStore;
  fs::path bareStore;
  std::vector<RawRow> rows;
  std::unique_ptr<CatalogWriter> writer;
  std::unique_ptr<RawCatalogBaseline> bare;
  const Contender ours{
      [&] {
        writer.reset();
        oursStore = freshStore(folder / "ours");
        writer = std::make_unique<CatalogWriter>(std::make_shared<CatalogContext>(oursStore, pool));
      },
      [&] {
        for (const AnalyzedPhoto& photo : photos) {
          if (writer->write(photo) != CatalogWriter::Outcome::inserted) {
            throw std::runtime_error(photo.id + " was known");
          }
        }
      }};
  const Contender reference{[&] {
                              bare.reset();
                              if (rows.empty()) {
                                rows = bareRows(oursStore);
                              }
                              bareStore = freshStore(folder / "bare");
                              addNames(bareStore, rows);
                              bare = std::make_unique<RawCatalogBaseline>(bareStore);
                            },
                            [&] {
                              for (const RawRow& row : rows) {
                                bare->write(row);
                              }
                            }};
  const Rounds rounds = measure(kRounds, ours, reference);
  if (rows.size() != photos.size() || bareRows(bareStore) != rows) {
    throw std::runtime_error("the two catalogs differ");
  }
  const auto speed = [](const Statistics& seconds) {
    return fmt::format("{:.0f} rows/s", kRows / seconds.median);
  };
  report({"record items in the catalog", "bare prepared insert", Wanted::atLeast, 0.7},
         speed(rounds.ours()), speed(rounds.reference()), rounds.speedRatio());
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::recordRows);
}
