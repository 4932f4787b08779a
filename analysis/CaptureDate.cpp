// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/CaptureDate.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <array>
#include <charconv>

namespace vaultmere {
namespace {

/// The digit groups of a pattern's first match: year, month, day, and of one of
/// the patterns hour, minute, second.
using DigitGroups = std::array<re2::StringPiece, 6>;

bool isBetween(const re2::StringPiece& digits, int low, int high) {
  int number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && end == digits.data() + digits.size() && number >= low &&
         number <= high;
}

bool isPlausible(const DigitGroups& groups) {
  return isBetween(groups[0], 2000, 2100) && isBetween(groups[1], 1, 12) &&
         isBetween(groups[2], 1, 31);
}

std::string joined(const DigitGroups& groups, std::string_view time) {
  return fmt::format("{}-{}-{}T{}", groups[0].as_string(), groups[1].as_string(),
                     groups[2].as_string(), time);
}

}  // namespace

CaptureDate resolveCaptureDate(const CaptureDateCandidates& candidates) {
  struct Source {
    const std::optional<std::string>& date;
    const char* name;
    const char* confidence;
  };
  for (const Source& source :
       {Source{candidates.photos, "photos", "high"}, Source{candidates.exif, "exif", "high"},
        Source{candidates.gps, "gps", "high"}, Source{candidates.filename, "filename", "medium"},
        Source{candidates.filemtime, "filemtime", "low"}}) {
    if (source.date) {
      return {source.date, source.name, source.confidence};
    }
  }
  return {};
}

std::optional<std::string> dateFromFilename(std::string_view name) {
  static const RE2 dateAndTime(
      R"((\d{4})[-_.]?(\d{2})[-_.]?(\d{2})[-_ T]?(\d{2})[-_.]?(\d{2})[-_.]?(\d{2}))", RE2::Latin1);
  static const RE2 dateOnly(R"((\d{4})[-_.](\d{2})[-_.](\d{2}))", RE2::Latin1);

  const re2::StringPiece text(name.data(), name.size());
  DigitGroups g;
  if (RE2::PartialMatch(text, dateAndTime, &g[0], &g[1], &g[2], &g[3], &g[4], &g[5]) &&
      isPlausible(g)) {
    return joined(g, fmt::format("{}:{}:{}", g[3].as_string(), g[4].as_string(), g[5].as_string()));
  }
  if (RE2::PartialMatch(text, dateOnly, &g[0], &g[1], &g[2]) && isPlausible(g)) {
    return joined(g, "00:00:00");
  }
  return std::nullopt;
}

std::string localDateString(TimePoint moment) {
  return localDateString(std::chrono::floor<std::chrono::seconds>(moment));
}

std::string localDateString(sys_seconds moment) {
  const CivilTime time = localTime(moment);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.year, time.month, time.day,
                     time.hour, time.minute, time.second);
}

}  // namespace vaultmere
