// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "analysis/ImageMetadata.h"
#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestMedia.h"

namespace vaultmere {
namespace {

ImageProperties properties() {
  ImageProperties properties;
  properties.mimeType = "image/jpeg";
  properties.pixelWidth = 4000;
  properties.pixelHeight = 3000;
  return properties;
}

TEST(ImageMetadata, IsReadFromAFileInOnePass) {
  const TemporaryFolder folder;
  StillOptions options;
  options.width = 320;
  options.height = 200;
  options.metadata.orientation = 6;
  options.metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                           {"Exif.Image.Make", " Northlight  "},
                           {"Exif.Photo.ISOSpeedRatings", "400 200"},
                           {"Exif.Photo.FNumber", "28/10"},
                           {"Exif.Photo.ExposureTime", "1/250"},
                           {"Exif.Photo.FocalLength", "35/1"},
                           {"Exif.GPSInfo.GPSDateStamp", "2021:06:01"},
                           {"Exif.GPSInfo.GPSTimeStamp", "10/1 11/1 1250/100"}};
  options.metadata.xmp = {{"Xmp.aux.Lens", "Northlight 35mm"}};
  options.metadata.gps = GpsPosition{-33.5, -151.25};
  makeStill(folder / "a.jpg", options);

  const auto read = [&](const char* name) {
    return ImageMetadata::read(testMedia(), {File::openForReading(folder / name)});
  };
  EXPECT_EQ(read("a.jpg"), (ImageMetadata{{.mimeType = "image/jpeg",
                                           .width = 320,
                                           .height = 200,
                                           .megapixels = 0.064,
                                           .orientation = 6,
                                           .duration = {},
                                           .gpsLat = -33.5,
                                           .gpsLon = -151.25,
                                           .cameraMake = "Northlight",
                                           .cameraModel = {},
                                           .cameraLens = "Northlight 35mm",
                                           .iso = 400,
                                           .aperture = 2.8,
                                           .shutter = 1 / 250.0,
                                           .focalLength = 35,
                                           .software = {}},
                                          "2021-06-01T10:11:12",
                                          "2021-06-01T10:11:12"}));

  ImageMetadata onlyType;
  onlyType.mimeType = "image/jpeg";
  writeText(folder / "begun.jpg", "\xFF\xD8\xFF");
  EXPECT_EQ(read("begun.jpg"), onlyType);
}

TEST(ImageMetadata, FillsEachFieldByItself) {
  ImageProperties partial = properties();
  partial.pixelHeight.reset();
  partial.exif["ISOSpeedRatings"] = std::vector<double>{};
  partial.exif["FNumber"] = "2.8";
  partial.exif["FocalLength"] = 35.0;
  const ImageMetadata metadata = ImageMetadata::of(partial);
  EXPECT_EQ(metadata.width, 4000);
  EXPECT_EQ(metadata.height, std::nullopt);
  EXPECT_EQ(metadata.megapixels, std::nullopt);
  EXPECT_EQ(metadata.orientation, 1);
  EXPECT_EQ(metadata.iso, std::nullopt);
  EXPECT_EQ(metadata.aperture, std::nullopt) << "a text is no number";
  EXPECT_EQ(metadata.focalLength, 35);

  partial.exif["ApertureValue"] = 2.97;
  EXPECT_EQ(ImageMetadata::of(partial).aperture, 2.97);
  partial.exif["FNumber"] = 2.8;
  EXPECT_EQ(ImageMetadata::of(partial).aperture, 2.8);
}

TEST(ImageMetadata, NormalisesDates) {
  const struct {
    const char* original;
    std::optional<std::string> date;
  } rows[] = {
      {"2021:06:01 10:11:12", "2021-06-01T10:11:12"},
      {"2021-06-01 10:11:12", "2021-06-01T10:11:12"},
      {"2021-06-01T10:11:12+02:00", "2021-06-01T10:11:12"},
      {"2021:06:01 10:11:12.345", "2021-06-01T10:11:12"},
      {" \t2021:06:01 10:11:12 ", "2021-06-01T10:11:12"},
      {"2020:00:00 00:00:00", "2020-00-00T00:00:00"},
      {"2021:xx:01 10:11:12", "2021-xx-01T10:11:12"},
      {"2021:\xC3\xA4\xC3\xA4:01 10:11:12", "2021-\xC3\xA4\xC3\xA4-01T10:11:12"},
      {"0000:00:00 00:00:00", std::nullopt},
      {"0000:06:01 10:11:12", std::nullopt},
      {"2021/06/01 10:11:12", std::nullopt},
      {"2021:06:01 10:11:1", std::nullopt},
      {"2021:06:01 10:11:1 ", std::nullopt},
      {"2021:06:\xC3\xA4\xC3\xA4 10:11", std::nullopt},  // 19 bytes, but fewer characters
      {"\n2021:06:01 10:11:12", std::nullopt},           // newlines stay
      {"", std::nullopt},
  };
  for (const auto& row : rows) {
    ImageProperties dated = properties();
    dated.exif["DateTimeOriginal"] = row.original;
    EXPECT_EQ(ImageMetadata::of(dated).dateTimeOriginal, row.date) << row.original;
    dated.exif["DateTimeDigitized"] = "2019:01:02 03:04:05";
    EXPECT_EQ(ImageMetadata::of(dated).dateTimeOriginal, row.date.value_or("2019-01-02T03:04:05"))
        << row.original;
  }
}

TEST(ImageMetadata, JoinsTheGpsStamps) {
  const struct {
    const char* date;
    const char* time;
    std::optional<std::string> stamp;
  } rows[] = {
      {"2021:06:01", "10:11:12", "2021-06-01T10:11:12"},
      {"2021:06:01", "10:11:12.50", "2021-06-01T10:11:12"},
      {"2021:06:01", "10:11:1", "2021-06-01T00:00:00"},
      {"2021:06:01", nullptr, "2021-06-01T00:00:00"},
      {"2021:06:01 and more:", "10:11:12", "2021-06-01 and more-T10:11:12"},
      {"2021:6:01", "10:11:12", std::nullopt},
      {nullptr, "10:11:12", std::nullopt},
  };
  for (const auto& row : rows) {
    ImageProperties stamped = properties();
    if (row.date) stamped.gps["DateStamp"] = row.date;
    if (row.time) stamped.gps["TimeStamp"] = row.time;
    EXPECT_EQ(ImageMetadata::of(stamped).gpsDateTime, row.stamp);
  }
}

TEST(ImageMetadata, SignsThePositionByExactReferences) {
  const struct {
    const char* latitudeRef;
    const char* longitudeRef;
    double latitude, longitude;
  } rows[] = {
      {"N", "E", 10, 20},     {"S", "W", -10, -20},       {"s", "w", 10, 20},
      {"S ", "West", 10, 20}, {nullptr, nullptr, 10, 20},
  };
  for (const auto& row : rows) {
    ImageProperties placed = properties();
    placed.gps["Latitude"] = 10.0;
    placed.gps["Longitude"] = 20.0;
    if (row.latitudeRef) placed.gps["LatitudeRef"] = row.latitudeRef;
    if (row.longitudeRef) placed.gps["LongitudeRef"] = row.longitudeRef;
    EXPECT_EQ(ImageMetadata::of(placed).gpsLat, row.latitude);
    EXPECT_EQ(ImageMetadata::of(placed).gpsLon, row.longitude);
  }

  ImageProperties half = properties();
  half.gps["Latitude"] = 10.0;
  EXPECT_EQ(ImageMetadata::of(half).gpsLat, std::nullopt);
  half.gps["Longitude"] = "20";
  EXPECT_EQ(ImageMetadata::of(half).gpsLat, std::nullopt) << "both must be numbers";
  half.gps["Latitude"] = 0.0;
  half.gps["Longitude"] = 0.0;
  EXPECT_EQ(ImageMetadata::of(half).gpsLat, 0);
  EXPECT_EQ(ImageMetadata::of(half).gpsLon, 0);
}

TEST(ImageMetadata, TrimsCameraTexts) {
  const struct {
    const char* make;
    std::optional<std::string> trimmed;
  } rows[] = {
      {"  Northlight\r\n", "Northlight"},
      {"\xC2\xA0North light\xE3\x80\x80", "North light"},
      {"\xC3\xA9", "\xC3\xA9"},
      {" \t\n", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& row : rows) {
    ImageProperties named = properties();
    named.tiff["Make"] = row.make;
    EXPECT_EQ(ImageMetadata::of(named).cameraMake, row.trimmed) << row.make;
  }
  ImageProperties lenses = properties();
  lenses.exif["LensModel"] = "  ";
  lenses.exifAux["LensModel"] = " 50mm ";
  EXPECT_EQ(ImageMetadata::of(lenses).cameraLens, "50mm");
  lenses.exif["LensModel"] = "35mm";
  EXPECT_EQ(ImageMetadata::of(lenses).cameraLens, "35mm");
}

}  // namespace
}  // namespace vaultmere
