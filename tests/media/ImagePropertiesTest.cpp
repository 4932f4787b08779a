// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <thread>

#include "media/ImageProperties.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using namespace std::string_view_literals;

Metadata fullMetadata() {
  Metadata metadata;
  metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                   {"Exif.Photo.DateTimeDigitized", "2021:06:02 10:11:12"},
                   {"Exif.Photo.ISOSpeedRatings", "400"},
                   {"Exif.Photo.FNumber", "28/10"},
                   {"Exif.Photo.ApertureValue", "297/100"},
                   {"Exif.Photo.ExposureTime", "1/250"},
                   {"Exif.Photo.FocalLength", "35/1"},
                   {"Exif.Photo.LensModel", "Northlight 35mm"},
                   {"Exif.Image.Make", "Northlight"},
                   {"Exif.Image.Model", "N1"},
                   {"Exif.Image.Software", "1.0"}};
  metadata.gps = GpsPosition{-33.5, 151.25};
  metadata.gpsDateStamp = "2021:06:01";
  metadata.gpsTimeStamp = "10:11:12.50";
  metadata.orientation = 6;
  metadata.xmp = {{"Xmp.aux.Lens", "Northlight 35mm F2.8"}};
  return metadata;
}

template <typename T>
T valueOf(const PropertyDictionary& dictionary, const char* key) {
  const auto at = dictionary.find(key);
  return at == dictionary.end() || !std::holds_alternative<T>(at->second) ? T{}
                                                                          : std::get<T>(at->second);
}

class ImagePropertiesReader : public ::testing::Test {
 protected:
  std::optional<ImageProperties> propertiesWith(const Metadata& metadata) {
    StillOptions options;
    options.metadata = metadata;
    makeStill(folder / "a.jpg", options);
    return readImageProperties(folder / "a.jpg");
  }
  /// The properties of a JPEG with these tags alone.
  ImageProperties jpegWith(const std::map<std::string, std::string>& exif) {
    Metadata metadata;
    metadata.exif = exif;
    return propertiesWith(metadata).value();
  }

  TemporaryFolder folder;
};

TEST_F(ImagePropertiesReader, GivesTheDictionaryOfEachFormat) {
  const struct {
    StillFormat format;
    const char* mimeType;
    bool writable = true;  // with metadata
    int containerTurn = 0;
  } rows[] = {
      {StillFormat::jpeg, "image/jpeg"},
      {StillFormat::png, "image/png"},
      {StillFormat::webp, "image/webp"},
      {StillFormat::tiff, "image/tiff"},
      {StillFormat::heic, "image/heic", true, 270},
      {StillFormat::avif, "image/avif", true, 270},
      {StillFormat::psd, "image/vnd.adobe.photoshop"},
      {StillFormat::jp2, "image/jp2"},
      {StillFormat::gif, "image/gif", false},
      {StillFormat::bmp, "image/bmp", false},
  };
  for (const auto& row : rows) {
    StillOptions options;
    options.format = row.format;
    options.width = 96;
    options.height = 64;
    options.containerTurn = row.containerTurn;
    if (row.writable) {
      options.metadata = fullMetadata();
    }
    makeStill(folder / "still", options);
    const auto properties = readImageProperties(folder / "still");
    ASSERT_TRUE(properties) << row.mimeType;
    EXPECT_EQ(properties->mimeType, row.mimeType);
    EXPECT_EQ(properties->pixelWidth, 96) << row.mimeType;
    EXPECT_EQ(properties->pixelHeight, 64) << row.mimeType;
    if (!row.writable) {
      continue;
    }
    SCOPED_TRACE(row.mimeType);
    EXPECT_EQ(properties->orientation, 6);
    EXPECT_EQ(valueOf<std::string>(properties->exif, "DateTimeOriginal"), "2021:06:01 10:11:12");
    EXPECT_EQ(valueOf<std::string>(properties->exif, "DateTimeDigitized"), "2021:06:02 10:11:12");
    EXPECT_EQ(valueOf<std::string>(properties->exif, "LensModel"), "Northlight 35mm");
    EXPECT_EQ(valueOf<std::vector<double>>(properties->exif, "ISOSpeedRatings"),
              std::vector<double>{400});
    EXPECT_EQ(valueOf<double>(properties->exif, "FNumber"), 2.8);
    EXPECT_EQ(valueOf<double>(properties->exif, "ApertureValue"), 2.97);
    EXPECT_EQ(valueOf<double>(properties->exif, "ExposureTime"), 1 / 250.0);
    EXPECT_EQ(valueOf<double>(properties->exif, "FocalLength"), 35);
    EXPECT_EQ(valueOf<std::string>(properties->tiff, "Make"), "Northlight");
    EXPECT_EQ(valueOf<std::string>(properties->tiff, "Model"), "N1");
    EXPECT_EQ(valueOf<std::string>(properties->tiff, "Software"), "1.0");
    EXPECT_NEAR(valueOf<double>(properties->gps, "Latitude"), 33.5, 1e-6);
    EXPECT_EQ(valueOf<std::string>(properties->gps, "LatitudeRef"), "S");
    EXPECT_NEAR(valueOf<double>(properties->gps, "Longitude"), 151.25, 1e-6);
    EXPECT_EQ(valueOf<std::string>(properties->gps, "LongitudeRef"), "E");
    EXPECT_EQ(valueOf<std::string>(properties->gps, "DateStamp"), "2021:06:01");
    EXPECT_EQ(valueOf<std::string>(properties->gps, "TimeStamp"), "10:11:12.50");
    EXPECT_EQ(valueOf<std::string>(properties->exifAux, "LensModel"), "Northlight 35mm F2.8");
  }
}

TEST_F(ImagePropertiesReader, GivesTheSensorsSizeOfARaw) {
  DngOptions options;
  options.width = 640;
  options.height = 480;
  options.preview = RawPreview{};
  options.metadata = fullMetadata();
  for (const char* name : {"a.dng", "called.jpg"}) {
    makeDng(folder / name, options);
    const auto properties = readImageProperties(folder / name);
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->mimeType, "image/x-adobe-dng");
    EXPECT_EQ(properties->pixelWidth, 640);
    EXPECT_EQ(properties->pixelHeight, 480);
    EXPECT_EQ(properties->orientation, 6);
    EXPECT_EQ(valueOf<std::string>(properties->exif, "DateTimeOriginal"), "2021:06:01 10:11:12");
  }
}

TEST_F(ImagePropertiesReader, TellsAHeifsTurnFromTheContainer) {
  const struct {
    int containerTurn;
    std::optional<int> exif;
    double orientation;
  } rows[] = {{0, std::nullopt, 1}, {0, 6, 1}, {90, 1, 8}, {180, std::nullopt, 3}, {270, 6, 6}};
  for (const auto& row : rows) {
    StillOptions options;
    options.format = StillFormat::heic;
    options.width = 96;
    options.height = 64;
    options.containerTurn = row.containerTurn;
    options.metadata.orientation = row.exif;
    makeStill(folder / "a.heic", options);
    const auto properties = readImageProperties(folder / "a.heic");
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->orientation, row.orientation) << row.containerTurn;
    EXPECT_EQ(properties->pixelWidth, 96) << row.containerTurn;
    EXPECT_EQ(properties->pixelHeight, 64) << row.containerTurn;
  }
}

TEST_F(ImagePropertiesReader, LeavesOutWhatIsNoNumber) {
  const ImageProperties properties = jpegWith({{"Exif.Photo.FNumber", "28/0"},
                                               {"Exif.Photo.ExposureTime", "0/0"},
                                               {"Exif.Image.Make", "Northlight"}});
  EXPECT_FALSE(properties.exif.contains("FNumber"));
  EXPECT_FALSE(properties.exif.contains("ExposureTime"));
  EXPECT_FALSE(properties.exif.contains("ISOSpeedRatings"));
  EXPECT_FALSE(properties.orientation);
  EXPECT_EQ(valueOf<std::string>(properties.tiff, "Make"), "Northlight");

  EXPECT_FALSE(jpegWith({{"Exif.Image.Orientation", "0"}}).orientation);
  EXPECT_FALSE(jpegWith({{"Exif.Image.Orientation", "9"}}).orientation);
}

TEST_F(ImagePropertiesReader, NeedsTheDegreesOfAPosition) {
  const struct {
    const char* name;
    const char* latitude;
    double degrees;  // 0: absent
  } rows[] = {
      {"degrees, minutes, seconds", "33/1 30/1 36/1", 33.51},
      {"fraction of a minute", "33/1 3060/100 0/1", 33.51},
      {"two parts", "33/1 3060/100", 33.51},
      {"degrees alone", "3351/100", 33.51},
      {"no seconds known", "33/1 30/1 0/0", 33.5},
      {"no minutes known", "33/1 0/0 36/1", 33.01},
      {"no degrees known", "0/0 30/1 0/1", 0},
      {"zero as the minutes' denominator", "33/1 30/0 0/1", 0},
      {"zero as the degrees' denominator", "33/0 30/1 0/1", 0},
  };
  for (const auto& row : rows) {
    const ImageProperties properties = jpegWith({{"Exif.GPSInfo.GPSLatitude", row.latitude}});
    EXPECT_EQ(properties.gps.contains("Latitude"), row.degrees != 0) << row.name;
    EXPECT_NEAR(valueOf<double>(properties.gps, "Latitude"), row.degrees, 1e-9) << row.name;
  }
}

TEST_F(ImagePropertiesReader, WritesTimeStampsAsText) {
  const struct {
    const char* rationals;
    const char* stamp;  // empty: absent
  } rows[] = {
      {"10/1 11/1 12/1", "10:11:12"},
      {"10/1 11/1 1250/100", "10:11:12.50"},
      {"1/1 2/1 3/1", "01:02:03"},
      {"10/1 11/1 59999/1000", "10:11:59.99"},
      {"10/1 11/1", "10:11:00"},
      {"10/1 11/1 0/0", "10:11:00"},
      {"10/1 0/0 12/1", ""},
      {"10/1 11/0 12/1", ""},
      {"10/1", ""},
      {"100/1 11/1 12/1", ""},
  };
  for (const auto& row : rows) {
    const ImageProperties properties = jpegWith({{"Exif.GPSInfo.GPSTimeStamp", row.rationals}});
    EXPECT_EQ(valueOf<std::string>(properties.gps, "TimeStamp"), row.stamp) << row.rationals;
  }
}

TEST_F(ImagePropertiesReader, RefusesWhatIsNoImage) {
  ASSERT_EQ(::mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
  writeText(folder / "empty.jpg", "");
  writeText(folder / "text.jpg", "BM is how this text begins, and it is no picture.");
  writeText(folder / "film.heic",
            "\0\0\0\x14"
            "ftypqt  \0\0\0\0qt  "sv);
  for (const char* name : {"pipe.jpg", "empty.jpg", "text.jpg", "film.heic", "missing.jpg", "."}) {
    EXPECT_FALSE(readImageProperties(folder / name)) << name;
  }
  writeText(folder / "begun.jpg", "\xFF\xD8\xFF");
  const auto begun = readImageProperties(folder / "begun.jpg");
  ASSERT_TRUE(begun);
  EXPECT_EQ(begun->mimeType, "image/jpeg");
  EXPECT_FALSE(begun->pixelWidth);
}

TEST_F(ImagePropertiesReader, KeepsTheTagsOfACutFile) {
  for (const StillFormat format : {StillFormat::jpeg, StillFormat::heic}) {
    StillOptions options;
    options.format = format;
    options.width = 640;
    options.height = 480;
    options.metadata = fullMetadata();
    makeStill(folder / "cut", options);
    truncateFile(folder / "cut", std::filesystem::file_size(folder / "cut") - 200);
    const auto properties = readImageProperties(folder / "cut");
    ASSERT_TRUE(properties);
    EXPECT_EQ(properties->pixelWidth, 640);
    EXPECT_EQ(valueOf<std::string>(properties->exif, "DateTimeOriginal"), "2021:06:01 10:11:12");
  }
}

TEST_F(ImagePropertiesReader, ADamagedHeifHasThePrimaryPicturesSizeOrNone) {
  const struct {
    const char* box;  // overwritten
    double width;     // 0: absent
  } rows[] = {{"hvcC", 96}, {"ipma", 0}, {"pitm", 0}};
  for (const auto& row : rows) {
    StillOptions options;
    options.format = StillFormat::heic;
    options.width = 96;
    options.height = 64;
    options.containerTurn = 270;
    makeStill(folder / "a.heic", options);
    overwriteBytes(folder / "a.heic", slurp(folder / "a.heic").find(row.box), "none");
    const auto properties = readImageProperties(folder / "a.heic");
    ASSERT_TRUE(properties) << row.box;
    EXPECT_EQ(properties->pixelWidth.value_or(0), row.width) << row.box;
    EXPECT_EQ(properties->pixelHeight.has_value(), row.width != 0) << row.box;
  }
}

TEST_F(ImagePropertiesReader, WorksOnManyThreads) {
  StillOptions options;
  options.metadata = fullMetadata();
  makeStill(folder / "a.jpg", options);
  std::array<std::jthread, 8> threads;
  for (std::jthread& thread : threads) {
    thread = std::jthread([this] {
      for (int i = 0; i < 50; ++i) {
        const auto properties = readImageProperties(folder / "a.jpg");
        ASSERT_TRUE(properties);
        EXPECT_EQ(valueOf<std::string>(properties->exifAux, "LensModel"), "Northlight 35mm F2.8");
      }
    });
  }
}

}  // namespace
}  // namespace vaultmere
