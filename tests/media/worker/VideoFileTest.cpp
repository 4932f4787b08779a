// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/BitmapChecks.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/DecodeFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/HeifFile.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

constexpr std::array<std::pair<const char*, ClipContainer>, 7> kContainers{
    {{"mp4", ClipContainer::mp4},
     {"mov", ClipContainer::mov},
     {"mkv", ClipContainer::mkv},
     {"webm", ClipContainer::webm},
     {"3gp", ClipContainer::threeGp},
     {"avi", ClipContainer::avi},
     {"mpeg", ClipContainer::mpeg}}};

/// How many frames a clip of `halves` had shown before this one: its border
/// moves to the left by a column each.
int frameNumber(const std::optional<Bitmap>& bitmap) {
  if (!bitmap) {
    return -1;
  }
  int light = 0;
  for (int x = 0; x < bitmap->width / 2; ++x) {
    light += colourAt(*bitmap, (x + 0.5) / bitmap->width, 0.5).green > 128 ? 1 : 0;
  }
  return light;
}

class VideoFile : public ::testing::Test {
 protected:
  /// Makes the clip with colours that tell its frames apart.
  std::filesystem::path counting(ClipContainer container, double seconds) const {
    ClipOptions options;
    options.container = container;
    options.seconds = seconds;
    options.painter = halves({16, 16, 16}, {235, 235, 235});
    makeClip(file, options);
    return file;
  }

  /// Replaces the number that stands `offset` bytes behind a box's name.
  void patch(const char* box, std::size_t offset, std::string_view bytes) const {
    const std::size_t at = slurp(file).find(box);
    ASSERT_NE(at, std::string::npos) << box;
    overwriteBytes(file, at + 4 + offset, bytes);
  }

  TemporaryFolder folder;
  std::filesystem::path file = folder / "clip";
};

// MARK: Properties

TEST_F(VideoFile, TellsSizeAndLengthOfEveryContainer) {
  for (const auto& [name, container] : kContainers) {
    SCOPED_TRACE(name);
    const VideoProperties properties = readVideoProperties(counting(container, 2));
    // MPEG has no length but that of its last time mark.
    EXPECT_NEAR(properties.duration.value_or(-1), 2, container == ClipContainer::mpeg ? 0.5 : 0.05);
    EXPECT_EQ(properties.track.value_or(VideoTrack{}), (VideoTrack{64, 48, 1, 0, 0, 1}));
    EXPECT_TRUE(properties.created.empty());
    EXPECT_TRUE(properties.locations.empty());
  }
  makeClip(file, {.picture = false, .sound = true});
  EXPECT_NEAR(readVideoProperties(file).duration.value_or(-1), 1, 0.05);
  EXPECT_FALSE(readVideoProperties(file).track) << "nothing but sound";
  EXPECT_FALSE(videoFrame(file, 0, 400));
}

TEST_F(VideoFile, TellsWhenItWasMade) {
  const struct {
    const char* name;
    ClipContainer container;
    std::map<std::string, std::string> metadata;
    std::vector<std::string> created;
  } rows[] = {
      {"a field",
       ClipContainer::mp4,
       {{"creation_time", "2021-06-01T10:11:12Z"}},
       {"2021-06-01T10:11:12.000000Z"}},
      {"a key with a zone first",
       ClipContainer::mov,
       {{"com.apple.quicktime.creationdate", "2021-06-01T12:11:12+0200"},
        {"creation_time", "2021-06-02T10:11:12Z"}},
       {"2021-06-01T12:11:12+0200", "2021-06-02T10:11:12Z"}},
      {"user data",
       ClipContainer::mov,
       {{"date", "2021-06-01T12:11:12+0200"}, {"creation_time", "2021-06-02T10:11:12Z"}},
       {"2021-06-01T12:11:12+0200", "2021-06-02T10:11:12.000000Z"}},
      {"Matroska's tag",
       ClipContainer::mkv,
       {{"DATE_RECORDED", "2021-06-01 12:11:12"}, {"creation_time", "2021-06-02T10:11:12Z"}},
       {"2021-06-01 12:11:12", "2021-06-02T10:11:12.000000Z"}},
      {"Matroska",
       ClipContainer::mkv,
       {{"creation_time", "2021-06-01T10:11:12Z"}},
       {"2021-06-01T10:11:12.000000Z"}},
      {"zero since 1904", ClipContainer::mp4, {{"creation_time", "1904-01-01T00:00:00Z"}}, {}},
      {"zero since 1970", ClipContainer::mp4, {{"creation_time", "1970-01-01T00:00:00Z"}}, {}},
      {"zero since 2001", ClipContainer::mkv, {{"creation_time", "2001-01-01T00:00:00Z"}}, {}},
      {"2001 where it isn't zero",
       ClipContainer::mp4,
       {{"creation_time", "2001-01-01T00:00:00Z"}},
       {"2001-01-01T00:00:00.000000Z"}},
  };
  for (const auto& row : rows) {
    makeClip(file, {.container = row.container, .seconds = 0.2, .metadata = row.metadata});
    EXPECT_EQ(readVideoProperties(file).created, row.created) << row.name;
  }
}

TEST_F(VideoFile, TellsTheLocationUnderEachKey) {
  const std::string keyed = "com.apple.quicktime.location.ISO6709";
  const std::string place = "+37.3317-122.0307/";
  const struct {
    const char* name;
    ClipContainer container;
    const char* key;
    std::string written;
  } rows[] = {{"user data", ClipContainer::mov, "location", "\xC2\xA9xyz"},
              {"3GPP's in MP4", ClipContainer::mp4, "location", "loci"},
              {"keyed", ClipContainer::mov, keyed.c_str(), keyed},
              {"keyed in MP4", ClipContainer::mp4, keyed.c_str(), keyed},
              {"3GPP", ClipContainer::threeGp, "location", "loci"},
              {"Matroska", ClipContainer::mkv, "location", "LOCATION"}};
  for (const auto& row : rows) {
    makeClip(file, {.container = row.container, .seconds = 0.2, .metadata = {{row.key, place}}});
    const auto locations = readVideoProperties(file).locations;
    ASSERT_EQ(locations.size(), 1U) << row.name;
    EXPECT_EQ(locations[0].key, row.written) << row.name;
    EXPECT_EQ(locations[0].text, row.written == "loci" ? "+37.33170-122.03069/" : place);
  }
}

TEST_F(VideoFile, KeepsTheOrderOfSeveralLocations) {
  const auto xyz = [](const std::string& text, std::size_t length) {
    return heifBox("\xA9xyz", bigEndian(length, 2) + bigEndian(0x15C7, 2) + text);
  };
  const auto loci = [](const std::string& name) {
    return heifBox("loci", bigEndian(0, 4) + bigEndian(0x55C4, 2) + name + bigEndian(0, 1) +
                               bigEndian(16U << 16U, 4) +
                               bigEndian(std::uint64_t{0x100000000} - (48U << 16U), 4) +
                               bigEndian(0, 4));
  };
  const std::string keyed = "com.apple.quicktime.location.ISO6709";
  const std::string keys = heifBox("hdlr", bigEndian(0, 8) + "mdta" + bigEndian(0, 13)) +
                           heifBox("keys", bigEndian(0, 4) + bigEndian(2, 4) +
                                               heifBox("mdta", "other") + heifBox("mdta", keyed));
  const auto item = [](int index, int type, const std::string& text) {
    return heifBox(
        bigEndian(static_cast<std::uint64_t>(index), 4),
        heifBox("data", bigEndian(static_cast<std::uint64_t>(type), 4) + bigEndian(0, 4) + text));
  };
  const auto items = [&](const std::string& list) { return keys + heifBox("ilst", list); };
  const std::string zero(1, '\0');
  const struct {
    const char* name;
    std::string movie;  ///< behind its header
    std::vector<std::string> texts;
  } rows[] = {
      {"twice one key", heifBox("udta", xyz("nowhere", 7) + xyz("+1+2/", 5)), {"nowhere", "+1+2/"}},
      {"keyed, then user data",
       heifBox("meta", items(item(2, 1, "+1+2/"))) + heifBox("udta", xyz("+3+4/", 5)),
       {"+1+2/", "+3+4/"}},
      {"with version and flags",
       heifBox("meta", bigEndian(0, 4) + items(item(2, 1, "+1+2/"))),
       {"+1+2/"}},
      {"other keys, and numbers without one",
       heifBox("meta", items(item(1, 1, "+1+2/") + item(3, 1, "+1+2/") + item(0, 1, "+1+2/"))),
       {}},
      {"no text", heifBox("meta", items(item(2, 21, "+1+2/"))), {""}},
      {"a cover of any size is passed over",
       heifBox("meta", items(item(1, 13, std::string(300'000, 'x')) + item(2, 1, "+1+2/"))),
       {"+1+2/"}},
      {"a place south", heifBox("udta", loci("Somewhere" + zero)), {"-48.00000+16.00000/"}},
      {"a wide name",
       heifBox("udta", loci("\xFE\xFF" + zero + "x" + zero + zero)),
       {"-48.00000+16.00000/"}},
  };
  for (const auto& row : rows) {
    const std::string header =
        heifBox("mvhd", bigEndian(0, 12) + bigEndian(1000, 4) + bigEndian(1500, 4) +
                            bigEndian(0x10000, 4) + bigEndian(0, 76));
    writeText(file, heifBox("ftyp", "qt  " + bigEndian(0, 4) + "qt  ") +
                        heifBox("moov", header + row.movie));
    std::vector<std::string> texts;
    const VideoProperties properties = readVideoProperties(file);
    for (const VideoText& location : properties.locations) {
      texts.push_back(location.text);
    }
    EXPECT_EQ(texts, row.texts) << row.name;
    EXPECT_EQ(properties.duration, 1.5) << row.name;
  }
}

TEST_F(VideoFile, AnUnknownLengthIsAbsent) {
  counting(ClipContainer::mp4, 0.5);
  patch("mvhd", 16, "\xFF\xFF\xFF\xFF");
  EXPECT_FALSE(readVideoProperties(file).duration);
  EXPECT_TRUE(readVideoProperties(file).track);
  EXPECT_EQ(frameNumber(videoFrame(file, 0.4, 64)), 4);
  patch("mvhd", 16, "\xFF\xFF\xFF\xF0");
  EXPECT_EQ(readVideoProperties(file).duration, 4'294'967.28) << "absurd, but the container's own";
}

// MARK: Frames

TEST_F(VideoFile, GivesTheFrameThatIsShownAtATime) {
  for (const auto& [name, container] : kContainers) {
    const int rate = container == ClipContainer::mpeg ? 25 : 10;
    const double frame = 1.0 / rate;
    counting(container, 1.2);
    const struct {
      double seconds;
      int number;
    } rows[] = {{0, 0},      {frame / 2, 0},
                {frame, 1},  {1, rate},
                {1.2, -1},   {1.2 - frame / 2, static_cast<int>(std::lround(1.2 * rate)) - 1},
                {1.3, -1},   {1e9, -1},
                {1e300, -1}, {-0.5, -1},
                {kNan, -1}};
    for (const auto& row : rows) {
      // The older codecs blur the border by a column.
      EXPECT_NEAR(frameNumber(videoFrame(file, row.seconds, 64)), row.number,
                  row.number > 0 ? 1 : 0)
          << name << " at " << row.seconds;
    }
  }
}

TEST_F(VideoFile, AFrameIsUpright) {
  const struct {
    int rotation;
    const char* size;
    const char* corners;
  } rows[] = {
      {0, "40x30", "RGBY"}, {90, "30x40", "BRYG"}, {180, "40x30", "YBGR"}, {270, "30x40", "GYRB"}};
  for (const auto& row : rows) {
    makeClip(file, {.seconds = 0.1, .rotation = row.rotation, .painter = upright()});
    const auto bitmap = videoFrame(file, 0, 40);
    EXPECT_EQ(sizeOf(bitmap), row.size) << row.rotation;
    EXPECT_EQ(cornersOf(bitmap, 12), row.corners) << row.rotation;
  }
}

TEST_F(VideoFile, AFrameFitsAndIsNeverEnlarged) {
  const struct {
    int width, height, maxPixels;
    const char* size;
  } rows[] = {{64, 48, 400, "64x48"}, {64, 48, 32, "32x24"}, {48, 64, 32, "24x32"},
              {64, 48, 1, "1x1"},     {512, 16, 8, "8x1"},   {2, 2, 400, "2x2"},
              {64, 48, 0, "absent"},  {64, 48, -1, "absent"}};
  for (const auto& row : rows) {
    makeClip(file, {.width = row.width, .height = row.height, .seconds = 0.1});
    EXPECT_EQ(sizeOf(videoFrame(file, 0, row.maxPixels)), row.size) << row.width;
  }
}

TEST_F(VideoFile, SizeIsThatOfTheTrackHeader) {
  const auto fixedPoint = [](int pixels) {
    return bigEndian(static_cast<std::uint64_t>(pixels) << 16U, 4);
  };
  const struct {
    const char* name;
    int width, height;            // as coded
    int shownWidth, shownHeight;  // in the track header
    int rowWidth, rowHeight;      // 0: absent
    const char* frame;
  } rows[] = {
      {"rows of whole blocks", 192, 112, 192, 110, 192, 110, "195x112"},
      {"wide pixels", 64, 48, 128, 48, 128, 48, "128x48"},
      {"none", 64, 48, 0, 0, 64, 48, "64x48"},
  };
  for (const auto& row : rows) {
    makeClip(file, {.width = row.width, .height = row.height, .seconds = 0.1});
    patch("tkhd", 76, fixedPoint(row.shownWidth) + fixedPoint(row.shownHeight));
    const auto track = readVideoProperties(file).track.value_or(VideoTrack{});
    EXPECT_EQ(track.width, row.rowWidth) << row.name;
    EXPECT_EQ(track.height, row.rowHeight) << row.name;
    EXPECT_EQ(sizeOf(videoFrame(file, 0, 400)), row.frame) << row.name;
  }
}

TEST_F(VideoFile, ACutFileGivesWhatStandsBeforeTheCut) {
  makeClip(file, {.container = ClipContainer::mkv, .seconds = 4});
  truncateFile(file, slurp(file).size() / 2);
  EXPECT_NEAR(readVideoProperties(file).duration.value_or(0), 4, 0.05);
  EXPECT_TRUE(readVideoProperties(file).track);
  EXPECT_TRUE(videoFrame(file, 1, 64));
  EXPECT_FALSE(videoFrame(file, 3.9, 64));
}

// MARK: Hostile files

TEST_F(VideoFile, WhatIsNoVideoIsEmptyAndOpensNothingElse) {
  makeClip(folder / "real.mp4");
  const std::string clip = (folder / "real.mp4").string();
  writeText(folder / "list.mp4", "ffconcat version 1.0\nfile " + clip + "\n");
  writeText(folder / "playlist.mp4",
            "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n" + clip + "\n");
  writeText(folder / "text.mp4", "just words");
  writeText(folder / "empty.mp4", "");
  for (const char* name : {"list.mp4", "playlist.mp4", "text.mp4", "empty.mp4"}) {
    const VideoProperties properties = readVideoProperties(folder / name);
    EXPECT_FALSE(properties.duration || properties.track) << name;
    EXPECT_FALSE(videoFrame(folder / name, 0, 400)) << name;
  }
}

TEST_F(VideoFile, WhatWouldKeepTheLibraryBusyIsNotOpened) {
  const struct {
    const char* name;
    const char* box;
    std::size_t offset;
    const char* number;
    std::string behind;  ///< what comes after the movie
  } rows[] = {
      {"more samples than bytes", "stsz", 8, "\x0F\xFF\xFF\xFF", ""},
      {"in a fragment", "mvhd", 16, "\x01\x01\x01\x01",
       heifBox("moof", heifBox("traf", heifBox("trun", bigEndian(0, 4) + "\x0F\xFF\xFF\xFF")))},
      {"fragments of a negative track", "tkhd", 12, "\x80\x01\x01\x01", heifBox("moof", "")},
  };
  for (const auto& row : rows) {
    counting(ClipContainer::mp4, 0.5);
    patch(row.box, row.offset, row.number);
    writeText(file, slurp(file) + row.behind);
    EXPECT_FALSE(readVideoProperties(file).duration) << row.name;
    EXPECT_FALSE(videoFrame(file, 0, 64)) << row.name;
  }
}

TEST_F(VideoFile, OldSoundMayHaveMoreSamplesThanBytes) {
  const struct {
    const char* name;
    const char* kind;
    int tableEntries, ticks, size, inChunk;
    bool isRead;
    int samples = 44100;
    int tracks = 1;
  } rows[] = {{"sound at a constant rate", "soun", 1, 1, 1, 44100, true},
              {"fewer pictures than bytes", "vide", 1, 1, 1, 1, true, 250},
              {"too many in two tracks", "vide", 1, 1, 1, 1, false, 400, 2},
              {"pictures", "vide", 1, 1, 1, 44100, false},
              {"packets", "soun", 1, 1024, 1, 44100, false},
              {"times of their own", "soun", 2, 1, 1, 44100, false},
              {"sizes of their own", "soun", 1, 1, 0, 44100, false},
              {"endless chunks", "soun", 1, 1, 1, 0x7FFFFFFF, false}};
  const auto field = [](int value) { return bigEndian(static_cast<std::uint64_t>(value), 4); };
  for (const auto& row : rows) {
    const std::string tables =
        heifBox("stts",
                field(0) + field(row.tableEntries) + field(row.samples) + field(row.ticks)) +
        heifBox("stsc", field(0) + field(1) + field(1) + field(row.inChunk) + field(1)) +
        heifBox("stsz", field(0) + field(row.size) + field(row.samples)) +
        heifBox("stco", field(0) + field(1) + field(0));
    const std::string media = heifBox("hdlr", field(0) + "mhlr" + row.kind + bigEndian(0, 12)) +
                              heifBox("minf", heifBox("stbl", tables));
    const std::string header = heifBox("mvhd", bigEndian(0, 12) + field(44100) + field(44100) +
                                                   bigEndian(0x10000, 4) + bigEndian(0, 76));
    std::string tracks;
    for (int track = 1; track <= row.tracks; ++track) {
      tracks += heifBox("trak",
                        heifBox("tkhd", bigEndian(0, 12) + field(track)) + heifBox("mdia", media));
    }
    writeText(file, heifBox("ftyp", "qt  " + field(0) + "qt  ") + heifBox("moov", header + tracks));
    EXPECT_EQ(readVideoProperties(file).duration.has_value(), row.isRead)
        << row.name << ", " << slurp(file).size() << " bytes";
  }
}

TEST_F(VideoFile, RotationsHaveTheNearestOrientation) {
  const struct {
    double a, b, c, d;
    int orientation;
  } rows[] = {{1, 0, 0, 1, 1},    {-1, 0, 0, 1, 2},   {-1, 0, 0, -1, 3}, {1, 0, 0, -1, 4},
              {0, 1, 1, 0, 5},    {0, 1, -1, 0, 6},   {0, -1, -1, 0, 7}, {0, -1, 1, 0, 8},
              {2, .1, -.1, 2, 1}, {.1, 1, -1, .1, 6}, {0, 0, 0, 0, 1}};
  for (const auto& row : rows) {
    EXPECT_EQ((VideoTrack{64, 48, row.a, row.b, row.c, row.d}.orientation()), row.orientation);
  }
}

}  // namespace
}  // namespace vaultmere
