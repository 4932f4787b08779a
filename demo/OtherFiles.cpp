// SPDX-License-Identifier: GPL-3.0-or-later
#include <string>
#include <utility>

#include "demo/Album.h"
#include "demo/Cameras.h"
#include "demo/Scenes.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"

namespace vaultmere::demo {

namespace fs = std::filesystem;

namespace {

Painter bridge() { return throughLens(skyline({0x7a3a2a, 0xd8683a, 0xf6a858, 0xffe0a0}, 31)); }

Painter alps() {
  return throughLens(ridges({.sky = {0x1f4f9c, 0x5f9fdc, 0xc8e4f4},
                             .land = {0xa8c4d8, 0x6f94a8, 0x3f6a6a, 0x163a34},
                             .snow = 0.8,
                             .trees = 1,
                             .height = 0.7},
                            32));
}

// A HEIC beside a short clip of the same stem, as phones take them.
void makeLivePhoto(const fs::path& folder) {
  makeStill(folder / "IMG_1201.HEIC",
            {.format = StillFormat::heic,
             .width = 1280,
             .height = 960,
             .painter = throughLens(balloons(30)),
             .quality = 60,
             .metadata = notes(kPhone, "2022:05:21 06:12:40", {"40", "1/900", "16/10", "42/10"},
                               {38.6431, 34.8289})});
  makeClip(folder / "IMG_1201.MOV",
           {.container = ClipContainer::mov,
            .width = 640,
            .height = 480,
            .seconds = 2,
            .framesPerSecond = 15,
            .painter = balloons(30),
            .metadata = {{"com.apple.quicktime.creationdate", "2022-05-21T06:12:39+0300"},
                         {"com.apple.quicktime.location.ISO6709", "+38.6431+034.8289+1050.5/"}}});
}

void makeTwins(const fs::path& folder) {
  const Metadata bridgeNotes =
      notes(kPhone, "2022:03:02 18:01:27", {"80", "1/300", "16/10", "42/10"}, {37.8199, -122.4783});
  makeStill(folder / "IMG_1202.HEIC", {.format = StillFormat::heic,
                                       .width = 1280,
                                       .height = 960,
                                       .painter = bridge(),
                                       .quality = 60,
                                       .metadata = bridgeNotes});
  makeStill(folder / "IMG_1202.JPG",
            {.width = 1280, .height = 960, .painter = bridge(), .metadata = bridgeNotes});

  const Metadata alpsNotes = notes(kMirrorless, "2022:09:04 07:55:10",
                                   {"100", "1/200", "8/1", "50/1"}, {51.4968, -115.9281});
  makeDng(folder / "N7_0300.DNG", {.width = 1280,
                                   .height = 960,
                                   .make = kMirrorless.make,
                                   .model = kMirrorless.model,
                                   .painter = alps(),
                                   .preview = RawPreview{.width = 1024, .height = 768},
                                   .metadata = alpsNotes});
  makeStill(folder / "N7_0300.JPG",
            {.width = 1280, .height = 960, .painter = alps(), .metadata = alpsNotes});
}

void makeClips(const fs::path& folder) {
  makeClip(folder / "VID_20220611_183000.mp4",
           {.width = 960,
            .height = 540,
            .seconds = 4,
            .framesPerSecond = 15,
            .painter = sea(
                {.sky = {0x23518c, 0x6aa0cc, 0xf4d8a8, 0xffb86a}, .sunX = 0.7, .sunY = 0.5}, 33),
            .sound = true,
            .metadata = {{"creation_time", "2022-06-11T16:30:00Z"},
                         {"location", "+43.7696+007.3300/"}}});
  makeClip(folder / "Phone" / "clip upright.mov",
           {.container = ClipContainer::mov,
            .width = 640,
            .height = 480,
            .seconds = 1,
            .rotation = 90,
            .painter = aurora(43),
            .metadata = {{"creation_time", "2021-12-24T17:00:00Z"}}});
}

void makeOtherFormats(const fs::path& folder) {
  makeStill(folder / "Screenshot 2022-03-18 at 09.41.00.png",
            {.format = StillFormat::png, .width = 1440, .height = 900, .painter = screen()});
  makeStill(folder / "sticker.webp", {.format = StillFormat::webp,
                                      .width = 512,
                                      .height = 512,
                                      .painter = sticker(),
                                      .alpha = true});
  makeStill(folder / "party.gif",
            {.format = StillFormat::gif, .width = 480, .height = 360, .painter = aurora(42)});
  makeStill(folder / "Phone" / "PXL_20230114_120304.avif",
            {.format = StillFormat::avif,
             .width = 1280,
             .height = 960,
             .painter = blossom({0x2a2a9c, 0x5a6af0, 0xb4d0ff}, 0xfff0a0, 5, 34),
             .quality = 60});
  Metadata scanned;
  scanned.exif = {{"Exif.Photo.DateTimeDigitized", "2017:12:28 15:30:00"},
                  {"Exif.Image.Software", "ScanDesk 3"}};
  makeStill(folder / "2018 Italien" / "scan_001.tif",
            {.format = StillFormat::tiff,
             .width = 1200,
             .height = 900,
             .painter = monochrome(
                 field({0x9ab0c0, 0xd0d8dc, 0xf0f0f0}, {0x303030, 0x808080, 0xe0e0e0}, 35)),
             .metadata = scanned});
}

// Names that have tripped up programs.
void makeOddNames(const fs::path& folder) {
  const auto small = [&folder](const fs::path& name, Painter painter) {
    makeStill(folder / name, {.width = 1024, .height = 768, .painter = std::move(painter)});
  };
  small("IMG_20210305_101112.jpg", ridges({.sky = {0xf0d8e8, 0xf8e8e8, 0xfff4e0},
                                           .land = {0xf0c8d4, 0xd88fb0, 0x9c5a8c, 0x4a2a5c},
                                           .height = 0.5},
                                          36));
  small("2018 Italien/Ferien am Meer – Tag 1.jpg", beach(37));
  // The same picture as IMG_1202, smaller, under another name and without a date.
  small("Phone/bridge for mother.jpg", bridge());
  small("🌸 spring.jpg", blossom({0xe07a9c, 0xffb4c8, 0xfff0f4}, 0xf0c040, 5, 38));
  small("O'Brien \"at home\" & co.jpg", wood({0x5a3a10, 0xb07a2a, 0xe8c060, 0xfff0c0}, 39));
  small(
      "two\nlines.jpg",
      sea({.sky = {0x4a5a6a, 0x8a9aa8, 0xd0d8dc}, .sunX = 0.5, .sunY = 0.3, .sea = 0x3a4a52}, 40));
  small("caf\xe9.jpg", dunes({0x6a4a8c, 0xd08a9c, 0xffd0a0}, 41));
  small(".hidden.jpg", spots(3));
}

void makeJunk(const fs::path& folder) {
  writeText(folder / "notes.txt", "Prints to order: 101, 345 and the balloons.\n");
  // The shortest ZIP file that there is: the end of an empty directory.
  writeText(folder / "export.zip", std::string("PK\x05\x06", 4) + std::string(18, '\0'));
  writeText(folder / "DSC_0101.jpg.json",
            "{\"title\": \"DSC_0101.jpg\", \"photoTakenTime\": {\"timestamp\": \"1560537065\"}}\n");
}

}  // namespace

std::vector<Job> findings(const fs::path& folder) {
  std::vector<Job> jobs;
  for (const auto make :
       {makeLivePhoto, makeTwins, makeClips, makeOtherFormats, makeOddNames, makeJunk}) {
    jobs.emplace_back([folder, make] { make(folder); });
  }
  return jobs;
}

void makeCopies(const fs::path& folder) {
  const auto copy = [&folder](const char* from, const char* to) {
    writeText(folder / to, slurp(folder / from));
  };
  copy("DSC_0101.jpg", "Copy of DSC_0101.jpg");
  copy("DSC_0345.jpg", "2018 Italien/DSC_0345 (1).jpg");
  copy("VID_20220611_183000.mp4", "Phone/VID_20220611_183000.mp4");
}

}  // namespace vaultmere::demo
