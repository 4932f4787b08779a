// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <functional>

#include "media/worker/HeifCompatibility.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/HeifFile.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using namespace std::string_literals;

constexpr std::uint16_t kGainMap = 40;
constexpr std::uint16_t kToneMap = 41;
constexpr std::uint16_t kThumbnail = 42;
constexpr std::uint16_t kTile = 43;

/// A HEIC with EXIF, to which `change` adds what a phone writes.
class PhoneHeic : public ::testing::Test {
 protected:
  void make(const std::function<void(HeifFile&)>& change) {
    StillOptions options;
    options.format = StillFormat::heic;
    options.width = 640;
    options.height = 480;
    options.painter = flat({200, 40, 40});
    options.metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2025:06:01 10:11:12"}};
    HeifFile file = HeifFile::parse(stillBytes(options));
    change(file);
    writeText(path, file.bytes());
  }

  /// Adds a second picture with the properties of the primary one.
  static HeifFile::Item& addPicture(HeifFile& file, std::uint16_t id, Colour colour) {
    StillOptions options;
    options.format = StillFormat::heic;
    options.width = 320;
    options.height = 240;
    options.painter = flat(colour);
    HeifFile other = HeifFile::parse(stillBytes(options));
    HeifFile::Item item = other.item(other.primary);
    item.id = id;
    file.items.push_back(item);
    return file.items.back();
  }

  static void addGainMap(HeifFile& file) {
    addPicture(file, kGainMap, {9, 9, 9})
        .properties.push_back(heifBox("auxC", "\0\0\0\0urn:com:example:photo:aux:gainmap\0"s));
    file.items.push_back({.id = kToneMap, .type = "tmap", .data = "gain map's numbers"});
    file.references.push_back({"dimg", kToneMap, {file.primary, kGainMap}});
    file.references.push_back({"auxl", kGainMap, {file.primary, kToneMap}});
  }

  static void addCompressedXmp(HeifFile& file) {
    file.items.push_back(
        {.id = kTile, .type = "mime", .names = "\0application/rdf+xml\0deflate\0"s, .data = "x"});
  }

  static void toSeveral(HeifFile& file, const char* type) {
    for (auto& reference : file.references) {
      if (reference.type == type) reference.to.insert(reference.to.begin(), kToneMap);
    }
  }

  static std::string colourOf(const std::optional<Bitmap>& bitmap) {
    if (!bitmap) return "absent";
    return bitmap->pixels.at(0) > 150 ? "picture" : bitmap->pixels.at(2) > 150 ? "thumbnail" : "?";
  }

  TemporaryFolder folder;
  std::filesystem::path path = folder / "IMG_0001.HEIC";
};

TEST_F(PhoneHeic, ShowsPicturesThatTheLibraryRefusesWhole) {
  const auto withThumbnail = [](HeifFile& file, std::vector<std::uint16_t> targets) {
    addPicture(file, kThumbnail, {40, 40, 200});
    file.references.push_back({"thmb", kThumbnail, std::move(targets)});
  };
  const struct {
    const char* name;
    std::function<void(HeifFile&)> change;
    const char* thumbnail = "picture";
    bool isPatched = true;
  } rows[] = {
      {"plain", [](HeifFile&) {}, "picture", false},
      {"gain map of picture and tmap", &addGainMap},
      {"everything of picture and tmap",
       [&](HeifFile& file) {
         addGainMap(file);
         withThumbnail(file, {file.primary, kToneMap});
         toSeveral(file, "cdsc");
       },
       "thumbnail"},
      {"thumbnail of tmap alone",
       [&](HeifFile& file) {
         addGainMap(file);
         withThumbnail(file, {kToneMap});
       }},
      {"gain map of two pictures, no tmap",
       [](HeifFile& file) {
         addPicture(file, kTile, {9, 9, 9});
         addGainMap(file);
         std::erase_if(file.items, [](const auto& item) { return item.type == "tmap"; });
         std::erase_if(file.references, [](const auto& r) { return r.type == "dimg"; });
         file.references.back().to = {kTile, file.primary};
       }},
      {"data inside of another item",
       [](HeifFile& file) {
         addGainMap(file);
         file.item(kToneMap).method = 2;
       }},
      {"item without data",
       [](HeifFile& file) {
         file.items.push_back({.id = kTile, .type = "iden", .data = {}, .located = false});
       }},
      {"compressed XMP", &addCompressedXmp},
      {"compressed XMP, encoding without an end",
       [](HeifFile& file) {
         addCompressedXmp(file);
         file.items.back().names.pop_back();
       }},
      {"picture without properties",
       [](HeifFile& file) {
         addPicture(file, kTile, {9, 9, 9}).properties.clear();
       }},
      {"unknown kind of colour description",
       [](HeifFile& file) {
         file.item(file.primary).properties.push_back(heifBox("colr", "cicp\1\1"));
       }},
      {"brands of 2022 only",
       [](HeifFile& file) {
         file.brands = {"heic", "miaf", "MiHB"};
       }},
  };
  for (const auto& row : rows) {
    make(row.change);
    EXPECT_EQ(!heifReplacements(File::openForReading(path)).empty(), row.isPatched) << row.name;
    EXPECT_EQ(colourOf(decodeScaled(path, 64)), "picture") << row.name;
    EXPECT_EQ(colourOf(decodeThumbnail(path, 64)), row.thumbnail) << row.name;
    const auto properties = readImageProperties(path);
    ASSERT_TRUE(properties) << row.name;
    EXPECT_EQ(properties->pixelWidth, 640) << row.name;
    EXPECT_TRUE(properties->exif.contains("DateTimeOriginal")) << row.name;
  }
}

// The library inflates such metadata for ever.
TEST_F(PhoneHeic, DecodingEndsWhereverCutMetadataStand) {
  make([](HeifFile&) {});
  const std::string plain = slurp(path);
  make(&addCompressedXmp);
  const std::string compressed = slurp(path);
  const auto boxes = heifBoxesIn(compressed);
  ASSERT_EQ(boxes.size(), 3U);
  const std::string ftyp = heifBox("ftyp", boxes[0].content);
  const std::string meta(boxes[1].content);
  std::string many;
  for (int i = 0; i < 1000; ++i) many += heifBox("free", "");
  const struct {
    const char* name;
    std::string bytes;
    const char* shown;
  } rows[] = {
      {"second meta box", plain + heifBox("meta", meta), "picture"},
      {"meta box behind many others", ftyp + many + heifBox("meta", meta), "absent"},
      {"large meta box",
       ftyp + heifBox("meta", meta + heifBox("free", std::string(16U << 20U, '\0'))), "absent"},
  };
  for (const auto& row : rows) {
    writeText(path, row.bytes);
    EXPECT_EQ(colourOf(decodeScaled(path, 64)), row.shown) << row.name;
  }
  make([](HeifFile& file) {
    addCompressedXmp(file);
    file.primary = kTile;
  });
  EXPECT_EQ(colourOf(decodeScaled(path, 64)), "absent");
}

}  // namespace
}  // namespace vaultmere
