// SPDX-License-Identifier: GPL-3.0-or-later
#include <utility>

#include "demo/Album.h"
#include "demo/Cameras.h"
#include "demo/Scenes.h"
#include "tests/support/StillMaker.h"

namespace vaultmere::demo {

namespace fs = std::filesystem;

namespace {

struct Shot {
  const char* name;
  Painter picture;
  Metadata metadata;
  int width = 1280;
  int height = 960;
  bool grey = false;
};

void take(const fs::path& folder, const Shot& shot) {
  makeStill(folder / shot.name,
            {.width = shot.width,
             .height = shot.height,
             .painter = throughLens(shot.grey ? monochrome(shot.picture) : shot.picture),
             .upright = true,
             .colours = shot.grey ? ColourModel::grey : ColourModel::rgb,
             .quality = 88,
             .metadata = shot.metadata});
}

std::vector<Shot> byReflex() {
  return {
      {"DSC_0101.jpg",
       sea({.sky = {0x2b2a5c, 0x7a4a86, 0xe0785a, 0xffc06a}, .sunX = 0.62, .sunY = 0.53}, 1),
       exif(kReflex, "2019:06:14 20:31:05", {"200", "1/160", "8/1", "24/1"}, {36.4618, 25.3753})},
      {"DSC_0102.jpg", beach(2),
       exif(kReflex, "2019:06:15 11:02:44", {"100", "1/800", "8/1", "35/1"}, {3.2028, 73.2207})},
      {"DSC_0207.jpg", dunes({0x3f86c8, 0x9cc7e4, 0xf3dcb4}, 3),
       exif(kReflex, "2019:11:03 07:18:30", {"100", "1/400", "11/1", "70/1"}, {31.0802, -4.0133})},
      {"DSC_0345.jpg",
       ridges({.sky = {0x5f7fc0, 0xa9b7de, 0xf7d3d0, 0xffe9d8},
               .land = {0xd8bcd0, 0xa58cb8, 0x6f6699, 0x3b3d66},
               .snow = 0.9,
               .trees = 0.4,
               .height = 0.62},
              47),
       exif(kReflex, "2020:04:09 06:05:12", {"100", "1/125", "8/1", "58/1"}, {35.3606, 138.7274})},
      {"DSC_0412.jpg", field({0x40309c, 0x8a66c8, 0xe6b8e0}, {0x2c4a2a, 0x5b3a8c, 0xa070dc}, 5),
       exif(kReflex, "2021:07:02 19:12:09", {"200", "1/200", "9/1", "28/1"}, {43.8376, 5.9839})},
      {"DSC_0530.jpg", field({0x3a8ad0, 0xa4d2ee, 0xf4f4e4}, {0x3a5a1c, 0xc79a18, 0xffd93a}, 6),
       exif(kReflex, "2021:07:11 10:40:51", {"100", "1/500", "8/1", "32/1"}, {43.3188, 11.3308})},
      {"DSC_0611.jpg", wood({0x7a2410, 0xd2521a, 0xf08a24, 0xffd36a}, 7),
       exif(kReflex, "2021:10:23 15:27:40", {"400", "1/125", "4/1", "50/1"}, {40.7812, -73.9665})},
  };
}

std::vector<Shot> byMirrorless() {
  return {
      {"N7_0042.jpg", aurora(8),
       exif(kMirrorless, "2020:01:25 23:48:02", {"1600", "6/1", "18/10", "50/1"},
            {69.6492, 18.9553})},
      {"N7_0043.jpg", stars(9),
       exif(kMirrorless, "2020:08:14 01:13:33", {"3200", "20/1", "18/10", "50/1"},
            {-25.3444, 131.0369})},
      {"N7_0110.jpg", skyline({0x1a2350, 0x4a3f7c, 0xb05a78, 0xf2955c}, 10),
       exif(kMirrorless, "2021:09:30 19:05:21", {"800", "1/30", "28/10", "50/1"},
            {40.7061, -73.9969})},
      {"N7_0155.jpg",
       ridges({.sky = {0x2470c4, 0x6fb0e6, 0xd8ecf8},
               .land = {0xb8d3e8, 0x8fb2d0, 0x5f86ac, 0x2c4a68},
               .snow = 1,
               .trees = 0.9,
               .height = 0.66},
              11),
       exif(kMirrorless, "2022:02:17 12:20:00", {"100", "1/1250", "8/1", "50/1"},
            {45.9763, 7.6586})},
      {"N7_0201.jpg", blossom({0x8a0d1c, 0xd81e30, 0xff6a5a}, 0xf6c63a, 6, 12),
       exif(kMirrorless, "2022:04:21 14:09:37", {"100", "1/640", "18/10", "50/1"},
            {52.2697, 4.5464})},
      {"N7_0202.jpg", blossom({0xc77d00, 0xffc21a, 0xfff07a}, 0x5a3310, 13, 13),
       exif(kMirrorless, "2022:07:05 11:45:58", {"100", "1/1000", "2/1", "50/1"},
            {44.4949, 11.3426})},
      {"N7_0203.jpg", blossom({0x8a1f7c, 0xe05ab0, 0xffc4e4}, 0xffe27a, 8, 14),
       exif(kMirrorless, "2022:05:01 09:31:16", {"100", "1/800", "18/10", "50/1"},
            {35.0116, 135.7681})},
  };
}

std::vector<Shot> byOthers() {
  return {
      {"IMG_1203.jpg", waterfall(15),
       [] {
         Metadata metadata = exif(kPhone, "2022:06:18 16:22:11", {"64", "1/120", "16/10", "42/10"},
                                  {63.5321, -19.5114});
         metadata.orientation = 6;
         return metadata;
       }()},
      {"IMG_1210.jpg",
       sea({.sky = {0x2f86d8, 0x7fbdf0, 0xd8effa},
            .sunX = 0.25,
            .sunY = 0.16,
            .clouds = 0.8,
            .sea = 0x0a5a96},
           16),
       exif(kPhone, "2022:12:29 13:50:45", {"32", "1/2000", "16/10", "42/10"},
            {-33.8568, 151.2153})},
      {"IMG_1215.jpg",
       ridges({.sky = {0x7fb4d8, 0xcfe4ec, 0xf2f4ea},
               .land = {0xb4cdb0, 0x7fae70, 0x477f3a, 0x1f4a1c},
               .trees = 0.5,
               .height = 0.55},
              17),
       exif(kPhone, "2022:08:09 08:15:03", {"50", "1/500", "16/10", "42/10"},
            {-13.1631, -72.5450})},
      {"Kestrel/P1000021.JPG",
       ridges({.sky = {0x8a9ab0, 0xc4ccd4, 0xeeeeee},
               .land = {0xc8ccd0, 0x8f969c, 0x5a6066, 0x202428},
               .snow = 0.6,
               .trees = 0.6,
               .height = 0.6},
              18),
       exif(kCompact, "2018:03:11 10:00:40", {"80", "1/320", "4/1", "63/10"}), 1280, 960, true},
      {"Kestrel/P1000022.JPG", skyline({0x30343c, 0x6a7078, 0xc8ccd0}, 19),
       exif(kCompact, "2018:03:12 21:35:18", {"400", "1/15", "33/10", "63/10"}), 1280, 960, true},
      {"Kestrel/P1000023.JPG", dunes({0x8aa0b4, 0xd0d8dc, 0xf0ece0}, 20),
       exif(kCompact, "2018:03:15 17:44:59", {"80", "1/500", "5/1", "63/10"}), 1280, 960, true},
      {"Kestrel/P1000040.JPG",
       sea({.sky = {0x16224a, 0x4a3670, 0xa03f6a, 0xf0604a}, .sunX = 0.4, .sunY = 0.56}, 21),
       exif(kCompact, "2018:09:01 19:49:27", {"100", "1/125", "4/1", "63/10"},
            {-22.9519, -43.2105}),
       1280, 960},
      {"Kestrel/P1000041.JPG", wood({0x16301a, 0x2f6a2c, 0x6aa83a, 0xd4ea8a}, 22),
       exif(kCompact, "2018:09:22 12:12:12", {"200", "1/100", "4/1", "63/10"}, {48.0, 8.2}), 1280,
       960},
  };
}

}  // namespace

std::vector<Job> photographs(const fs::path& folder) {
  std::vector<Job> jobs;
  for (const auto& shots : {byReflex(), byMirrorless(), byOthers()}) {
    for (const Shot& shot : shots) {
      jobs.emplace_back([folder, shot] { take(folder, shot); });
    }
  }
  return jobs;
}

}  // namespace vaultmere::demo
