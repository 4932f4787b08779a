// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/web/MadeLibrary.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <utility>

namespace vaultmere {

namespace fs = std::filesystem;
using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;

struct MadeLibrary::Spot {
  std::string_view city;
  std::string_view country;
  double latitude;
  double longitude;
};
struct MadeLibrary::Camera {
  std::string_view make;
  std::string_view model;
  std::string_view ext;
};

namespace {

/// Names that markup, addresses, or a line of text could stumble over.
constexpr std::array<std::string_view, 8> kOddNames{
    R"(<img src=x onerror="document.title=1">.jpg)",
    R"("quoted" & 'single' <b>bold</b>.jpg)",
    "<script>document.title=2</script>.jpg",
    "🏔️ Gipfel 👨‍👩‍👧 ünïcödé.jpg",
    "עברית – תמונה.jpg",
    "100% off?page=1&q=#top+1.jpg",
    "a long way to go: "
    "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
    "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb.jpg",
    ""};
constexpr std::array<std::string_view, 6> kAlbums{
    "Summer holidays", "Family", R"(<i>Best of</i> & "more")", "Übersee – 2019", "Work", "家族"};
constexpr std::array<std::string_view, 14> kLabels{
    "Beach", "Mountain", "Snow",     "Food",  "Dog",    "Cat",  "Sunset",
    "City",  "Forest",   "Portrait", "Night", "Flower", "Boat", "Rock & <hill>"};
constexpr std::array<std::string_view, 5> kStillExts{".jpg", ".jpg", ".png", ".dng", ".tif"};

constexpr sys_days kFirstDay = std::chrono::January / 5 / 2003;
constexpr sys_days kFirstImport = std::chrono::May / 2 / 2025;
constexpr int kYears = 22;

std::string wallClock(sys_seconds moment) {
  std::string text = rfc3339(moment);
  text.pop_back();  // the zone's mark
  return text;
}

}  // namespace

MadeLibrary::MadeLibrary(LibraryFolders folders, std::vector<Scene> scenes)
    : folders_(std::move(folders)), scenes_(std::move(scenes)), imported_(kFirstImport) {
  fs::create_directories(folders_.thumbnails);
}

MadeLibrary::Journey MadeLibrary::nextJourney() {
  static constexpr std::array<Spot, 14> kSpots{{{"München", "Germany", 48.14, 11.58},
                                                {"Lisboa", "Portugal", 38.72, -9.14},
                                                {"Reykjavík", "Iceland", 64.15, -21.94},
                                                {"京都", "Japan", 35.01, 135.77},
                                                {"Cape Town", "South Africa", -33.92, 18.42},
                                                {"Lima", "Peru", -12.05, -77.04},
                                                {"Auckland", "New Zealand", -36.85, 174.76},
                                                {"New York", "United States", 40.71, -74.01},
                                                {"Suva", "Fiji", -18.14, 178.44},
                                                {"Abidjan", "Côte d'Ivoire", 5.36, -4.01},
                                                {"Oslo", "Norway", 59.91, 10.75},
                                                {"Innsbruck", "Austria", 47.27, 11.39},
                                                {"Venezia", "Italy", 45.44, 12.32},
                                                {"القاهرة", "Egypt", 30.04, 31.24}}};
  static constexpr std::array<Camera, 6> kCameras{{{"Halden", "Halden H6", ".jpg"},
                                                   {"Halden", "Halden H2 Mark III", ".dng"},
                                                   {"Orlo", "Phone 13", ".heic"},
                                                   {"Orlo", "Phone 9", ".heic"},
                                                   {"KESTREL CORPORATION", "K-750", ".jpg"},
                                                   {"", R"(O'Neill "Pocket" <3)", ".jpg"}}};
  Journey journey;
  journey.left = 15 + random_.below(60);
  const double age = std::pow(random_.fraction(), 1.7);
  journey.time = sys_seconds(kFirstDay) + days(static_cast<int>((1 - age) * 365 * kYears)) +
                 seconds(9 * 3600 + random_.below(12'000));
  journey.spot = random_.chance(0.6) ? &random_.pick(kSpots) : nullptr;
  journey.camera = random_.chance(0.85) ? &random_.pick(kCameras) : nullptr;
  journey.album = random_.chance(0.4) ? random_.pick(kAlbums) : std::string_view();
  return journey;
}

AnalyzedPhoto MadeLibrary::next() {
  if (journey_.left == 0) {
    journey_ = nextJourney();
    imported_ += seconds(5 * 3600);
  }
  --journey_.left;
  AnalyzedPhoto photo;
  photo.id = random_.hexDigits(4);
  addKind(photo);
  addTaking(photo);
  addNames(photo);
  addPicture(photo);
  photo.processedAt = rfc3339(++imported_);
  photo.storage = "archive";
  ++made_;
  return photo;
}

void MadeLibrary::addKind(AnalyzedPhoto& photo) {
  const bool isOdd = made_ < static_cast<int>(kOddNames.size());
  const bool isPhone = journey_.camera != nullptr && journey_.camera->ext == ".heic";
  const bool isVideo = !isOdd && random_.chance(0.05);
  photo.mediaType = isVideo ? "video" : isPhone && random_.chance(0.4) ? "live_photo" : "image";
  const std::string_view still = journey_.camera != nullptr && random_.chance(0.6)
                                     ? journey_.camera->ext
                                     : random_.pick(kStillExts);
  photo.ext = isVideo                           ? (isPhone ? ".mov" : ".mp4")
              : photo.mediaType == "live_photo" ? ".heic"
              : isOdd                           ? ".jpg"
                                                : still;
  photo.mimeType = isVideo ? "video/mp4" : "image/jpeg";
  photo.sizeBytes =
      static_cast<std::int64_t>(90'000 * std::exp(random_.between(0, 5.5)) * (isVideo ? 14 : 1));
  if (isVideo) {
    photo.duration = random_.between(1, 90);
  }
  photo.favorite = random_.chance(0.06);
  photo.edited = random_.chance(0.05);
  if (random_.chance(0.6)) {
    photo.aestheticScore = random_.between(-1, 1);
  }
}

void MadeLibrary::addTaking(AnalyzedPhoto& photo) {
  journey_.time += seconds(random_.below(2'400));
  photo.targetPath = fmt::format("undated/{}{}", photo.id, photo.ext);
  if (!random_.chance(0.005)) {
    photo.captureDate = wallClock(journey_.time);
    photo.captureDateSource = "exif";
    photo.captureDateConfidence = "high";
    photo.targetPath = fmt::format("{}/{}/{}{}", photo.captureDate->substr(0, 4),
                                   photo.captureDate->substr(0, 7), photo.id, photo.ext);
  }
  const Spot* spot = journey_.spot;
  if (spot != nullptr && !random_.chance(0.05)) {
    photo.placeName = fmt::format("{}, {}", spot->city, spot->country);
    photo.placeCity = spot->city;
    photo.placeCountry = spot->country;
  }
  if (spot != nullptr && !random_.chance(0.05)) {
    const double reach = random_.chance(0.2) ? 2 : 0.1;
    photo.gpsLat = spot->latitude + reach * random_.between(-1, 1);
    photo.gpsLon = std::min(180.0, spot->longitude + reach * random_.between(-1, 1));
  }
  if (const Camera* camera = journey_.camera) {
    if (!camera->make.empty()) {
      photo.cameraMake = camera->make;
    }
    if (!random_.chance(0.02)) {
      photo.cameraModel = camera->model;
    }
  }
}

void MadeLibrary::addNames(AnalyzedPhoto& photo) {
  const auto at = static_cast<std::size_t>(made_);
  photo.originalFilename = at < kOddNames.size() ? std::string(kOddNames[at])
                                                 : fmt::format("IMG_{}{}", 1000 + made_, photo.ext);
  if (!journey_.album.empty()) {
    photo.tags.emplace_back(journey_.album);
  }
  if (random_.chance(0.1) && journey_.album != kAlbums.front()) {
    photo.tags.emplace_back(kAlbums.front());
  }
  for (const std::string_view label : kLabels) {
    if (random_.chance(0.12)) {
      photo.labels.emplace_back(label);
    }
  }
}

void MadeLibrary::addPicture(AnalyzedPhoto& photo) {
  const bool isVideo = photo.mediaType == "video";
  const bool isJpeg = photo.ext == ".jpg";
  const bool hasOriginal = (isVideo || isJpeg) && random_.chance(0.3);
  const int drawn = random_.below(static_cast<int>(scenes_.size()));
  const int every = !hasOriginal ? 1 : isVideo ? kClipEvery : kOriginalEvery;
  const Scene& scene = scenes_[static_cast<std::size_t>(drawn - drawn % every)];
  if (!random_.chance(0.02)) {
    photo.width = scene.width;
    photo.height = scene.height;
  }
  if (hasOriginal) {
    const fs::path target = folders_.archive / photo.targetPath;
    fs::create_directories(target.parent_path());
    fs::create_hard_link(isVideo ? scene.clip.value() : scene.original.value(), target);
    photo.archivePath = target;
  }
  if (!isVideo || random_.chance(0.8)) {
    const auto shade = [&, light = random_.below(25) - 12](int channel) {
      return std::clamp(channel + light, 0, 255);
    };
    photo.avgR = shade(scene.colour.avgR);
    photo.avgG = shade(scene.colour.avgG);
    photo.avgB = shade(scene.colour.avgB);
    photo.avgHex = fmt::format("#{:02x}{:02x}{:02x}", *photo.avgR, *photo.avgG, *photo.avgB);
    photo.isBW = scene.colour.isBW;
    if (!photo.isBW) {
      photo.colorFamily = PixelStats::family(*photo.avgR, *photo.avgG, *photo.avgB);
    }
  }
  if (!random_.chance(hasOriginal ? 0.4 : 0.05)) {
    fs::create_hard_link(scene.thumbnail, folders_.thumbnails / (photo.id + ".jpg"));
  }
}

}  // namespace vaultmere
