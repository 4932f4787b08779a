// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>

#include "analysis/CaptureDate.h"

namespace vaultmere {
namespace {

TEST(CaptureDate, TakesTheFirstSourceThatSaysAnything) {
  CaptureDateCandidates candidates{"2001", "odd", "2003", "2004", "2005"};
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"2001", "photos", "high"}));
  candidates.photos.reset();
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"odd", "exif", "high"}));
  candidates.exif = "";
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"", "exif", "high"})) << "presence is all";
  candidates.exif.reset();
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"2003", "gps", "high"}));
  candidates.gps.reset();
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"2004", "filename", "medium"}));
  candidates.filename.reset();
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{"2005", "filemtime", "low"}));
  candidates.filemtime.reset();
  EXPECT_EQ(resolveCaptureDate(candidates), (CaptureDate{std::nullopt, "none", "none"}));
}

TEST(CaptureDate, IsReadFromFileNames) {
  const struct {
    const char* name;
    std::optional<std::string> date;
  } rows[] = {
      {"IMG_20210305_101112.jpg", "2021-03-05T10:11:12"},
      {"20210305101112.mov", "2021-03-05T10:11:12"},
      {"2021-03-05 10.11.12.png", "2021-03-05T10:11:12"},
      {"2021.03.05T10-11-12", "2021-03-05T10:11:12"},
      {"Screenshot 2021-03-05 at 10.11.12.png", "2021-03-05T00:00:00"},
      {"2021_03_05.jpg", "2021-03-05T00:00:00"},
      {"IMG_20210305_996199.jpg", "2021-03-05T99:61:99"},
      {"2021-02-31.jpg", "2021-02-31T00:00:00"},
      {"2100-12-31.jpg", "2100-12-31T00:00:00"},
      {"2000-01-01.jpg", "2000-01-01T00:00:00"},
      {"x\xFF\xFE 2021-03-05 \xE4.jpg", "2021-03-05T00:00:00"},
      {"a\n2021-03-05.jpg", "2021-03-05T00:00:00"},
      {"92021030510111299.jpg", std::nullopt},  // the match starts at the first digit
      {"19991231_235959 2021-03-05.jpg", "2021-03-05T00:00:00"},
      {"2021-13-01 10.11.12 2021-03-05.jpg", std::nullopt},  // only a pattern's first match counts
      {"2021-13-01_2021-03-05.jpg", std::nullopt},
      {"20210305.jpg", std::nullopt},
      {"19991231_235959.jpg", std::nullopt},
      {"2101-01-01.jpg", std::nullopt},
      {"2021-00-05.jpg", std::nullopt},
      {"2021-03-32.jpg", std::nullopt},
      {"2021-3-5.jpg", std::nullopt},
      {"\xD9\xA2\xD9\xA0\xD9\xA2\xD9\xA1-03-05.jpg", std::nullopt},  // Arabic digits
      {"", std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dateFromFilename(row.name), row.date) << row.name;
  }
}

TEST(CaptureDate, ShowsModificationTimesByTheWallClock) {
  ::setenv("TZ", "Asia/Tokyo", 1);
  const TimePoint moment =
      TimePoint{} + std::chrono::seconds(1622545872) + std::chrono::milliseconds(999);
  EXPECT_EQ(localDateString(moment), "2021-06-01T20:11:12");
  EXPECT_EQ(localDateString(TimePoint{} - std::chrono::milliseconds(1)), "1970-01-01T08:59:59");
  ::unsetenv("TZ");
}

}  // namespace
}  // namespace vaultmere
