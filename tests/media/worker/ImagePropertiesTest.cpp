// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

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
                   {"Exif.Image.Software", "1.0"},
                   {"Exif.GPSInfo.GPSDateStamp", "2021:06:01"},
                   {"Exif.GPSInfo.GPSTimeStamp", "10/1 11/1 1250/100"}};
  metadata.gps = GpsPosition{-33.5, 151.25};
  metadata.orientation = 6;
  metadata.xmp = {{"Xmp.aux.Lens", "Northlight 35mm F2.8"}};
  return metadata;
}

/// The dictionaries of `fullMetadata`.
void expectFullMetadata(const ImageProperties& properties) {
  EXPECT_EQ(properties.orientation, 6);
  EXPECT_EQ(properties.exif, (PropertyDictionary{{"DateTimeOriginal", "2021:06:01 10:11:12"},
                                                 {"DateTimeDigitized", "2021:06:02 10:11:12"},
                                                 {"LensModel", "Northlight 35mm"},
                                                 {"ISOSpeedRatings", std::vector<double>{400}},
                                                 {"FNumber", 2.8},
                                                 {"ApertureValue", 2.97},
                                                 {"ExposureTime", 1 / 250.0},
                                                 {"FocalLength", 35.0}}));
  EXPECT_EQ(properties.tiff,
            (PropertyDictionary{{"Make", "Northlight"}, {"Model", "N1"}, {"Software", "1.0"}}));
  EXPECT_EQ(properties.gps, (PropertyDictionary{{"Latitude", 33.5},
                                                {"LatitudeRef", "S"},
                                                {"Longitude", 151.25},
                                                {"LongitudeRef", "E"},
                                                {"DateStamp", "2021:06:01"},
                                                {"TimeStamp", "10:11:12.50"}}));
  EXPECT_EQ(properties.exifAux, (PropertyDictionary{{"LensModel", "Northlight 35mm F2.8"}}));
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
    int containerRotation = 0;
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
    options.containerRotation = row.containerRotation;
    if (row.writable) {
      options.metadata = fullMetadata();
    }
    makeStill(folder / "still", options);
    const auto properties = readImageProperties(folder / "still");
    ASSERT_TRUE(properties) << row.mimeType;
    EXPECT_EQ(properties->mimeType, row.mimeType);
    EXPECT_EQ(properties->pixelWidth, 96) << row.mimeType;
    EXPECT_EQ(properties->pixelHeight, 64) << row.mimeType;
    if (row.writable) {
      SCOPED_TRACE(row.mimeType);
      expectFullMetadata(*properties);
    }
  }
}

TEST_F(ImagePropertiesReader, FillsUpFromXmpWhatExifLacks) {
  const std::map<std::string, std::string> xmp{
      {"Xmp.exif.DateTimeOriginal", "2020-05-06T07:08:09.5+02:00"},
      {"Xmp.exif.GPSLatitude", "48,8.25N"},
      {"Xmp.exif.GPSLongitude", "11,30,36W"},
      {"Xmp.exif.FNumber", "28/10"},
      {"Xmp.tiff.Make", "Halden"},
      {"Xmp.tiff.Model", "H1"}};
  const std::string original = "2020:05:06 07:08:09";
  const struct {
    const char* name;
    std::map<std::string, std::string> exif;
    std::string date;
    double latitude;
    std::string make;
  } rows[] = {
      {"XMP alone", {}, original, 48.1375, "Halden"},
      {"EXIF goes first",
       {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
        {"Exif.GPSInfo.GPSLatitude", "10/1 0/1 0/1"},
        {"Exif.GPSInfo.GPSLongitude", "20/1 0/1 0/1"},
        {"Exif.Image.Make", "Northlight"}},
       "2021:06:01 10:11:12",
       10,
       "Northlight"},
      {"also with its other date",
       {{"Exif.Photo.DateTimeDigitized", "2021:06:01 10:11:12"}},
       "",
       48.1375,
       "Halden"},
      {"a clock that isn't set is no date",
       {{"Exif.Photo.DateTimeOriginal", "0000:00:00 00:00:00"}},
       original,
       48.1375,
       "Halden"},
      {"half a position is none",
       {{"Exif.GPSInfo.GPSLatitude", "10/1 0/1 0/1"}},
       original,
       48.1375,
       "Halden"},
  };
  for (const auto& row : rows) {
    for (const StillFormat format : {StillFormat::jpeg, StillFormat::heic}) {
      StillOptions options;
      options.format = format;
      options.metadata.exif = row.exif;
      options.metadata.xmp = xmp;
      makeStill(folder / "a", options);
      const ImageProperties properties = readImageProperties(folder / "a").value();
      EXPECT_EQ(valueOf<std::string>(properties.exif, "DateTimeOriginal"), row.date) << row.name;
      EXPECT_NEAR(valueOf<double>(properties.gps, "Latitude"), row.latitude, 1e-9) << row.name;
      EXPECT_EQ(valueOf<std::string>(properties.tiff, "Make"), row.make) << row.name;
      EXPECT_EQ(valueOf<double>(properties.exif, "FNumber"), 2.8) << row.name;
    }
  }
  const struct {
    const char* xmp;
    const char* exif;  // empty: absent
  } dates[] = {{"2020-05-06T07:08", "2020:05:06 07:08:00"},
               {"2020-05-06", "2020:05:06 00:00:00"},
               {"2020-05", ""},
               {"yesterday", ""}};
  for (const auto& row : dates) {
    Metadata metadata;
    metadata.xmp = {{"Xmp.photoshop.DateCreated", row.xmp}};
    EXPECT_EQ(valueOf<std::string>(propertiesWith(metadata)->exif, "DateTimeOriginal"), row.exif);
  }
}

TEST_F(ImagePropertiesReader, ReadsRawFiles) {
  const struct {
    const char* name;
    bool isKnown;
    const char* mimeType;
  } rows[] = {{"a.dng", true, "image/x-adobe-dng"},
              {"called.jpg", true, "image/x-adobe-dng"},
              {"a.nef", false, "image/x-nikon-nef"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    makeDng(folder / row.name, {.width = 640,
                                .height = 480,
                                .preview = RawPreview{},
                                .isKnown = row.isKnown,
                                .metadata = fullMetadata()});
    const ImageProperties raw = readImageProperties(folder / row.name).value();
    EXPECT_EQ(raw.mimeType, row.mimeType);
    EXPECT_EQ(raw.pixelWidth, 640) << "the sensor's, not the preview's";
    EXPECT_EQ(raw.pixelHeight, 480);
    expectFullMetadata(raw);
  }

  StillOptions preview;
  const std::map<std::string, std::string> camera{{"CAMMANUF", "Halden"}, {"CAMMODEL", "H9"},
                                                  {"TIME", "1622542272"}, {"ISO", "200"},
                                                  {"APERTURE", "8.0"},    {"SHUTTER", "0.005"}};
  writeText(folder / "old.x3f", x3fBytes({.width = 2640,
                                          .height = 1760,
                                          .rotation = 270,
                                          .properties = camera,
                                          .preview = stillBytes(preview)}));
  const ImageProperties old = readImageProperties(folder / "old.x3f").value();
  EXPECT_EQ(old.pixelWidth, 2640);
  EXPECT_EQ(old.orientation, 8);
  EXPECT_EQ(old.exif, (PropertyDictionary{{"DateTimeOriginal", "2021:06:01 10:11:12"},
                                          {"ISOSpeedRatings", std::vector<double>{200}},
                                          {"FNumber", 8.0},
                                          {"ExposureTime", 0.005}}));
  EXPECT_EQ(old.tiff, (PropertyDictionary{{"Make", "Halden"}, {"Model", "H9"}}));

  preview.metadata = fullMetadata();
  writeText(
      folder / "new.x3f",
      x3fBytes({.width = 2640, .height = 1760, .rotation = 90, .preview = stillBytes(preview)}));
  expectFullMetadata(readImageProperties(folder / "new.x3f").value());
}

TEST_F(ImagePropertiesReader, LeavesOutWhatIsNoNumber) {
  const ImageProperties properties = jpegWith({{"Exif.Photo.FNumber", "28/0"},
                                               {"Exif.Photo.ExposureTime", "0/0"},
                                               {"Exif.Image.Make", "Northlight"}});
  EXPECT_TRUE(properties.exif.empty());
  EXPECT_EQ(properties.tiff, (PropertyDictionary{{"Make", "Northlight"}}));
  for (const char* orientation : {"0", "9"}) {
    EXPECT_FALSE(jpegWith({{"Exif.Image.Orientation", orientation}}).orientation);
  }
  const struct {
    const char* name;
    const char* rationals;
    double latitude;   // 0: absent
    std::string time;  // empty: absent
  } rows[] = {
      {"three parts", "10/1 30/1 36/1", 10.51, "10:30:36"},
      {"small ones", "1/1 30/1 3/1", 1 + 30 / 60.0 + 3 / 3600.0, "01:30:03"},
      {"fraction of the second", "10/1 11/1 1250/100", 10 + 11 / 60.0 + 12.5 / 3600, "10:11:12.50"},
      {"long fraction", "10/1 30/1 59999/1000", 10.5 + 59.999 / 3600, "10:30:59.99"},
      {"two parts", "10/1 30/1", 10.5, "10:30:00"},
      {"no last part known", "10/1 30/1 0/0", 10.5, "10:30:00"},
      {"no second part known", "10/1 0/0 36/1", 10.01, ""},
      {"zero as the second denominator", "10/1 11/0 12/1", 0, ""},
      {"one part", "10/1", 10, ""},
      {"no first part known", "0/0 30/1 0/1", 0, ""},
      {"zero as the first denominator", "33/0 30/1 0/1", 0, ""},
  };
  for (const auto& row : rows) {
    const PropertyDictionary gps = jpegWith({{"Exif.GPSInfo.GPSLatitude", row.rationals},
                                             {"Exif.GPSInfo.GPSTimeStamp", row.rationals}})
                                       .gps;
    EXPECT_EQ(gps.contains("Latitude"), row.latitude != 0) << row.name;
    EXPECT_NEAR(valueOf<double>(gps, "Latitude"), row.latitude, 1e-9) << row.name;
    EXPECT_EQ(valueOf<std::string>(gps, "TimeStamp"), row.time) << row.name;
  }
  const PropertyDictionary gps = jpegWith({{"Exif.GPSInfo.GPSLatitude", "33/1 3060/100 0/1"},
                                           {"Exif.GPSInfo.GPSTimeStamp", "100/1 11/1 12/1"}})
                                     .gps;
  EXPECT_NEAR(valueOf<double>(gps, "Latitude"), 33.51, 1e-9) << "fraction of a minute";
  EXPECT_FALSE(gps.contains("TimeStamp")) << "hundred hours";
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
    options.containerRotation = 270;
    makeStill(folder / "a.heic", options);
    overwriteBytes(folder / "a.heic", slurp(folder / "a.heic").find(row.box), "none");
    const auto properties = readImageProperties(folder / "a.heic");
    ASSERT_TRUE(properties) << row.box;
    EXPECT_EQ(properties->pixelWidth.value_or(0), row.width) << row.box;
    EXPECT_EQ(properties->pixelHeight.has_value(), row.width != 0) << row.box;
  }
}

}  // namespace
}  // namespace vaultmere
