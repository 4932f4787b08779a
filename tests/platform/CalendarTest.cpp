// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "platform/Calendar.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {

void PrintTo(const CivilTime& time, std::ostream* out) {
  *out << time.year << '-' << time.month << '-' << time.day << ' ' << time.hour << ':'
       << time.minute << ':' << time.second;
}

namespace {

constexpr const char* kRule = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* kSouthernRule = "NZST-12NZDT,M9.5.0,M4.1.0/3";

std::string utcOf(const CivilTime& local) {
  const auto moment = secondsOfLocalTime(local);
  return moment ? rfc3339(*moment) : "absent";
}

TEST(Calendar, LocalTimesAreMomentsInTheZone) {
  const struct {
    const char* name;
    const char* zone;
    CivilTime local;
    const char* utc;
    bool reversible = true;
  } rows[] = {
      {"winter", "Europe/Berlin", {2021, 1, 1, 0, 30, 0}, "2020-12-31T23:30:00Z"},
      {"summer", "Europe/Berlin", {2021, 7, 1, 0, 30, 0}, "2021-06-30T22:30:00Z"},
      {"west", "America/New_York", {2021, 7, 1, 22, 0, 0}, "2021-07-02T02:00:00Z"},
      {"skipped", "Europe/Berlin", {2021, 3, 28, 2, 30, 0}, "2021-03-28T01:00:00Z", false},
      {"just before it", "Europe/Berlin", {2021, 3, 28, 1, 59, 59}, "2021-03-28T00:59:59Z"},
      {"occurs twice", "Europe/Berlin", {2021, 10, 31, 2, 30, 0}, "2021-10-31T00:30:00Z"},
      {"half hour", "Australia/Lord_Howe", {2021, 10, 3, 2, 10, 0}, "2021-10-02T15:30:00Z", false},
      {"skipped day", "Pacific/Apia", {2011, 12, 30, 12, 0, 0}, "2011-12-30T10:00:00Z", false},
      {"rule, summer", kRule, {2021, 7, 1, 0, 30, 0}, "2021-06-30T22:30:00Z"},
      {"rule, skipped", kRule, {2021, 3, 28, 2, 30, 0}, "2021-03-28T01:00:00Z", false},
      {"rule, occurs twice", kRule, {2021, 10, 31, 2, 30, 0}, "2021-10-31T00:30:00Z"},
      {"rule, south", kSouthernRule, {2021, 4, 4, 2, 30, 0}, "2021-04-03T13:30:00Z"},
      {"rule without summer", "<+0530>-5:30", {2021, 7, 1, 0, 0, 0}, "2021-06-30T18:30:00Z"},
      {"29 February", "UTC", {2000, 2, 29, 23, 59, 59}, "2000-02-29T23:59:59Z"},
      {"before 1970", "UTC", {1969, 12, 31, 23, 59, 59}, "1969-12-31T23:59:59Z"},
  };
  for (const auto& row : rows) {
    ::setenv("TZ", row.zone, 1);
    EXPECT_EQ(utcOf(row.local), row.utc) << row.name;
    if (row.reversible) {
      EXPECT_EQ(localTime(*momentOfLocalTime(row.local)), row.local) << row.name;
    }
  }
}

TEST(Calendar, ConvertsFarDatesThereAndBackWithinBounds) {
  for (const char* zone : {"UTC", "Europe/Berlin", "America/New_York", "Pacific/Apia"}) {
    ::setenv("TZ", zone, 1);
    for (const int year : {1, 2, 1582, 1600, 1883, 1901, 2037, 2038, 2100, 9998, 9999}) {
      for (const int month : {1, 7, 12}) {
        const CivilTime time{year, month, 15, 12, 34, 56};
        const auto moment = secondsOfLocalTime(time);
        ASSERT_TRUE(moment) << zone << ' ' << year;
        EXPECT_EQ(localTime(*moment), time) << zone;
      }
    }
    EXPECT_FALSE(momentOfLocalTime({1, 1, 1, 0, 0, 0}));
    EXPECT_FALSE(momentOfLocalTime({9999, 12, 31, 23, 59, 59}));
    EXPECT_TRUE(momentOfLocalTime({1678, 1, 1, 0, 0, 0}));
    EXPECT_TRUE(momentOfLocalTime({2261, 12, 31, 0, 0, 0}));
    EXPECT_EQ(localTime(TimePoint::max()).year, 2262);
    EXPECT_EQ(localTime(TimePoint::min()).year, 1677);
    EXPECT_GE(localTime(sys_seconds::max()).year, 9999);
    EXPECT_LE(localTime(sys_seconds::min()).year, 1);
  }
}

TEST(Calendar, ReadsTheZoneFromTheVariableElseFromTheSystem) {
  ::unsetenv("TZ");
  const std::string system = utcOf({2021, 7, 1, 12, 0, 0});
  const struct {
    std::vector<const char*> variables;
    std::string utc;
  } rows[] = {
      {{"Europe/Berlin", ":Europe/Berlin", "/usr/share/zoneinfo/Europe/Berlin",
        ":/usr/share/zoneinfo/Europe/Berlin"},
       "2021-07-01T10:00:00Z"},
      {{"", ":"}, "2021-07-01T12:00:00Z"},
      {{"Nowhere/Land", "/etc/passwd", "../../etc/passwd", "\xFF", ":/etc/localtime",
        "/usr/share/zoneinfo/", "Europe"},
       system},
  };
  for (const auto& row : rows) {
    for (const char* variable : row.variables) {
      ::setenv("TZ", variable, 1);
      EXPECT_EQ(utcOf({2021, 7, 1, 12, 0, 0}), row.utc) << variable;
    }
  }
}

TEST(Calendar, ReadsTheZoneFileOfTheSystemAgainAfterAChange) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    std::filesystem::copy("/usr/share/zoneinfo/Asia/Kolkata", folder / "localtime");
    plugIn("/etc", "etc");
    std::filesystem::copy(folder / "localtime", "/etc/localtime");
    writeText("/etc/timezone", "Europe/Berlin\n");
    ::unsetenv("TZ");
    EXPECT_EQ(utcOf({2021, 7, 1, 12, 0, 0}), "2021-07-01T06:30:00Z");
    ::setenv("TZ", ":/etc/localtime", 1);
    EXPECT_EQ(utcOf({2021, 7, 1, 12, 0, 0}), "2021-07-01T06:30:00Z");
    std::filesystem::copy("/usr/share/zoneinfo/Asia/Tokyo", "/etc/localtime",
                          std::filesystem::copy_options::overwrite_existing);
    std::filesystem::last_write_time("/etc/localtime", {});
    ::unsetenv("TZ");
    EXPECT_EQ(utcOf({2021, 7, 1, 12, 0, 0}), "2021-07-01T03:00:00Z") << "changed since";
  });
}

TEST(Calendar, RefusesFieldsOutOfRange) {
  ::setenv("TZ", "Europe/Berlin", 1);
  const CivilTime rows[] = {
      {0, 1, 1, 0, 0, 0},     {10000, 1, 1, 0, 0, 0},  {2021, 0, 1, 0, 0, 0},
      {2021, 13, 1, 0, 0, 0}, {2021, 1, 0, 0, 0, 0},   {2021, 4, 31, 0, 0, 0},
      {2021, 2, 29, 0, 0, 0}, {1900, 2, 29, 0, 0, 0},  {2021, 1, 1, 24, 0, 0},
      {2021, 1, 1, 0, 60, 0}, {2021, 1, 1, 0, 0, 60},  {2021, 1, 1, -1, 0, 0},
      {2021, 1, 1, 0, -1, 0}, {2021, 1, 1, 0, 0, -1},  {-1, 1, 1, 0, 0, 0},
      {2021, -1, 1, 0, 0, 0}, {2021, 257, 1, 0, 0, 0}, {2021, 1, 257, 0, 0, 0},
  };
  for (const CivilTime& row : rows) {
    EXPECT_FALSE(secondsOfLocalTime(row)) << testing::PrintToString(row);
    EXPECT_FALSE(secondsOfUtcTime(row)) << testing::PrintToString(row);
  }
}

TEST(Calendar, ReadsInternetDateTimes) {
  for (const auto& [text, utc] : {
           std::pair{"2021-06-01T10:11:12Z", "2021-06-01T10:11:12Z"},
           {"2021-06-01T10:11:12+02:00", "2021-06-01T08:11:12Z"},
           {"2021-01-01T00:00:00-05:30", "2021-01-01T05:30:00Z"},
           {"0001-01-02T00:00:00Z", "0001-01-02T00:00:00Z"},
           {"9999-12-31T23:59:59Z", "9999-12-31T23:59:59Z"},
       }) {
    const auto moment = parseInternetSeconds(text);
    ASSERT_TRUE(moment) << text;
    EXPECT_EQ(rfc3339(*moment), utc) << text;
  }
  for (const char* text :
       {"", "2021-06-01T10:11:12", "2021-06-01T10:11:12z", "2021-06-01 10:11:12Z",
        "2021-06-01T10:11:12.5Z", "2021-06-01T10:11:12+0200", "2021-06-01T10:11:12+02:60",
        "2021-06-01T10:11:12+24:00", "2021-06-01T10:11:12Zz", "2021-06-01T10:11:12+02:00 ",
        "2021-02-30T10:11:12Z", "2021-6-001T10:11:12Z", "+021-06-01T10:11:12Z",
        "2021-06-01T10:11: 2Z", "2021-06-01T24:00:00Z"}) {
    EXPECT_FALSE(parseInternetSeconds(text)) << text;
  }
  EXPECT_FALSE(parseInternetDateTime("9999-12-31T23:59:59Z"));
  const TimePoint fraction =
      *parseInternetDateTime("1969-12-31T23:59:59Z") + std::chrono::milliseconds(900);
  EXPECT_EQ(rfc3339(fraction), "1969-12-31T23:59:59Z") << "cut, not rounded";
}

}  // namespace
}  // namespace vaultmere
