// SPDX-License-Identifier: GPL-3.0-or-later
// make_catalog FOLDER PHOTOS: fills an empty folder with what serve_gallery needs,
// `data` with the catalog and its thumbnails, and `archive`. The rows are those of a
// LibraryGenerator. Most photos have a thumbnail; some have only their original in the
// archive, some neither. The same each time.
#include <fmt/format.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

#include "analysis/PixelStats.h"
#include "catalog/VaultmereCatalog.h"
#include "tests/catalog/LibraryGenerator.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

constexpr int kScenes = 24;

/// Names that markup, addresses, or a line of text could stumble over.
constexpr std::array<std::string_view, 7> kOddNames{
    R"(<img src=x onerror="document.title=1">.jpg)",
    R"("quoted" & 'single' <b>bold</b>.jpg)",
    "<script>document.title=2</script>.jpg",
    "🏔️ Gipfel 👨‍👩‍👧 ünïcödé.jpg",
    "עברית – תמונה.jpg",
    "100% off?page=1&q=#top+1.jpg",
    "a long way to go: "
    "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"
    "bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb.jpg"};

/// The files of one picture, which many photos share.
struct Scene {
  fs::path thumbnail;
  fs::path original;
  fs::path clip;
  PixelStats::Result colour;
  bool isPortrait = false;
};

/// Some are black and white, some nearly so, some portraits.
Scene paint(const fs::path& folder, int number) {
  DeterministicRandom random(static_cast<std::uint64_t>(number) + 1);
  const auto channel = [&] { return static_cast<std::uint8_t>(random.below(256)); };
  const Colour strong{channel(), channel(), channel()};
  const Colour colour = number % 6 == 4 ? Colour{142, 118, 118} : strong;
  const bool isGrey = number % 6 == 5;
  const Painter painter = isGrey ? gradient({40, 40, 40}, {colour.red, colour.red, colour.red})
                                 : gradient(colour, mix(colour, {255, 255, 255}, 0.3));
  Scene scene;
  scene.isPortrait = random.chance(0.3);
  const auto write = [&](std::string_view name, int side) {
    const int other = side * 3 / 4;
    fs::path path = folder / fmt::format("{}-{}", number, name);
    makeStill(path, {.width = scene.isPortrait ? other : side,
                     .height = scene.isPortrait ? side : other,
                     .painter = painter});
    return path;
  };
  scene.thumbnail = write("thumbnail.jpg", 400);
  scene.original = write("original.jpg", 1280);
  scene.clip = folder / fmt::format("{}.mp4", number);
  makeClip(scene.clip, {.width = 640, .height = 480, .seconds = 0.3, .painter = painter});
  const auto sample = decodeScaled(scene.thumbnail, PixelStats::kSamplePixels);
  scene.colour = PixelStats::analyze(sample.value()).value();
  return scene;
}

/// Gives the rows of a library the files of scenes.
class Library {
 public:
  Library(fs::path folder, int photos) : folder_(std::move(folder)) {
    for (const char* name : {"data/cache/thumbs", "archive", "scenes"}) {
      fs::create_directories(folder_ / name);
    }
    for (int number = 0; number < std::min(kScenes, photos); ++number) {
      scenes_.push_back(paint(folder_ / "scenes", number));
    }
  }

  void complete(Photo& photo) {
    photo.trashedAt.reset();
    photo.stackedUnder.reset();
    photo.edited = random_.chance(0.05);
    if (made_ < kOddNames.size()) {
      photo.originalFilename = kOddNames.at(made_);
      photo.cameraModel = R"(O'Neill "Pocket" <b>3</b>)";
    }
    if (made_ % 4 == 0 && photo.gpsLat) {  // these are all over the Earth
      photo.gpsLat = 4 * (*photo.gpsLat - 45);
      photo.gpsLon = 36 * *photo.gpsLon - 180;
    }
    const auto count = static_cast<int>(scenes_.size());
    const Scene& scene = scenes_[static_cast<std::size_t>(random_.below(count))];
    if (scene.isPortrait) {
      std::swap(photo.width, photo.height);
    }
    if (photo.avgHex) {
      addColour(photo, scene.colour);
    }
    addFiles(photo, scene);
    ++made_;
  }

 private:
  /// That of the scene, somewhat lighter or darker.
  void addColour(Photo& photo, const PixelStats::Result& colour) {
    const auto shade = [light = random_.below(25) - 12](int channel) {
      return std::clamp(channel + light, 0, 255);
    };
    const int red = shade(colour.avgR);
    const int green = shade(colour.avgG);
    const int blue = shade(colour.avgB);
    photo.avgR = red;
    photo.avgG = green;
    photo.avgB = blue;
    photo.avgHex = fmt::format("#{:02x}{:02x}{:02x}", red, green, blue);
    photo.isBW = colour.isBW;
    photo.colorFamily.reset();
    if (!photo.isBW) {
      photo.colorFamily = PixelStats::family(red, green, blue);
    }
  }

  void addFiles(const Photo& photo, const Scene& scene) {
    const bool isVideo = photo.mediaType == "video";
    const bool hasOriginal = (isVideo || photo.ext == ".jpg") && random_.chance(0.3);
    if (hasOriginal) {
      const fs::path original = folder_ / "archive" / photo.targetPath;
      fs::create_directories(original.parent_path());
      fs::create_hard_link(isVideo ? scene.clip : scene.original, original);
    }
    if (!random_.chance(hasOriginal ? 0.4 : 0.05)) {
      fs::create_hard_link(scene.thumbnail, folder_ / "data/cache/thumbs" / (photo.id + ".jpg"));
    }
  }

  const fs::path folder_;
  std::vector<Scene> scenes_;
  DeterministicRandom random_{20'250'607};
  std::size_t made_ = 0;
};

void make(const fs::path& folder, int photos) {
  ThreadPool pool(1);
  const VaultmereCatalog catalog({folder / "data", nullptr, {}}, pool);
  Library library(folder, photos);
  catalog.newBackgroundContext()->perform([&](Connection& store) {
    LibraryGenerator({.photos = photos, .tags = 6, .labels = 14}, 1)
        .fill(store, [&](LibraryRow& row) { library.complete(row.photo); });
    store.execute(R"(UPDATE Tag SET name = '<i>Best of</i> & "more"' WHERE pk = 1)");
    store.execute("UPDATE Label SET name = 'Rock & <hill>' WHERE pk = 2");
  });
}

}  // namespace
}  // namespace vaultmere

int main(int count, char** words) {
  try {
    if (count != 3) {
      throw std::invalid_argument("usage: make_catalog FOLDER PHOTOS");
    }
    vaultmere::make(words[1], std::stoi(words[2]));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_catalog: %s\n", error.what());
    return 1;
  }
  return 0;
}
