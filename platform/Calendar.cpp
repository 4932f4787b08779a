// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Calendar.h"

#include <date/tz.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <exception>
#include <mutex>

namespace vaultmere {
namespace {

using namespace std::chrono_literals;
using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr sys_seconds kFirst =
    std::chrono::sys_days(std::chrono::year(1) / std::chrono::January / 1);
constexpr sys_seconds kLast =
    std::chrono::sys_days(std::chrono::year(9999) / std::chrono::December / 31) + days(1) - 1s;

// MARK: The zone

/// The zone that a value of TZ stands for: "Europe/Berlin", the same behind a
/// colon, or a path to its file; an empty one for UTC. Empty when it can't be a
/// zone's name.
std::string_view zoneName(std::string_view variable) {
  if (variable.starts_with(':')) {
    variable.remove_prefix(1);
  }
  if (variable.empty()) {
    return "UTC";
  }
  if (!variable.starts_with('/')) {
    return variable;
  }
  constexpr std::string_view folder = "/zoneinfo/";
  const auto start = variable.find(folder);
  return start == std::string_view::npos ? std::string_view{}
                                         : variable.substr(start + folder.size());
}

/// What `find` gives, with its data loaded; null when there is no such zone or
/// no zone data at all.
template <typename Find>
const date::time_zone* loaded(Find&& find) {
  try {
    const date::time_zone* zone = find();
    static_cast<void>(zone->get_info(sys_seconds{}));
    return zone;
  } catch (const std::exception&) {
    return nullptr;
  }
}

/// Where the system's zone is set; it changes when the user travels.
std::string_view systemZoneLink(std::array<char, 256>& buffer) {
  const ssize_t length = ::readlink("/etc/localtime", buffer.data(), buffer.size());
  return {buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// The program's zone; null stands for UTC. Zones live as long as the process.
const date::time_zone* currentZone() {
  struct Known {
    std::optional<std::string> variable;
    std::string link;
    const date::time_zone* zone;
  };
  static std::mutex mutex;
  static std::optional<Known> known;  // guarded by mutex

  const char* value = std::getenv("TZ");
  const auto variable = value == nullptr ? std::nullopt : std::optional<std::string>(value);
  std::array<char, 256> buffer{};
  const std::string_view link = systemZoneLink(buffer);

  const std::lock_guard lock(mutex);
  if (!known || known->variable != variable || known->link != link) {
    const date::time_zone* zone =
        variable ? loaded([&] { return date::locate_zone(std::string(zoneName(*variable))); })
                 : nullptr;
    if (zone == nullptr) {
      zone = loaded([] { return date::current_zone(); });
    }
    known = {variable, std::string(link), zone};
  }
  return known->zone;
}

// MARK: Splitting and joining

/// The fields of a wall clock that has gone so far from its own 1970.
CivilTime split(sys_seconds wall) {
  const auto day = std::chrono::floor<days>(wall);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(wall - day);
  return {static_cast<int>(date.year()),
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(time.hours().count()),
          static_cast<int>(time.minutes().count()),
          static_cast<int>(time.seconds().count())};
}

bool within(int value, int low, int high) { return value >= low && value <= high; }

/// The reverse of `split`.
std::optional<sys_seconds> joined(const CivilTime& civil) {
  if (!within(civil.year, 1, 9999) || !within(civil.month, 1, 12) || !within(civil.day, 1, 31) ||
      !within(civil.hour, 0, 23) || !within(civil.minute, 0, 59) || !within(civil.second, 0, 59)) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date(std::chrono::year(civil.year),
                                         std::chrono::month(static_cast<unsigned>(civil.month)),
                                         std::chrono::day(static_cast<unsigned>(civil.day)));
  if (!date.ok()) {
    return std::nullopt;
  }
  return std::chrono::sys_days(date) + hours(civil.hour) + minutes(civil.minute) +
         seconds(civil.second);
}

sys_seconds wholeSeconds(TimePoint moment) { return std::chrono::floor<seconds>(moment); }

std::optional<TimePoint> asTimePoint(std::optional<sys_seconds> moment) {
  if (!moment || *moment < std::chrono::ceil<seconds>(TimePoint::min()) ||
      *moment > std::chrono::floor<seconds>(TimePoint::max())) {
    return std::nullopt;
  }
  return *moment;
}

/// The number in `text` from `start` on; absent unless all of it is digits.
std::optional<int> digits(std::string_view text, std::size_t start, std::size_t count) {
  int number = 0;
  for (const char c : text.substr(start, count)) {
    if (c < '0' || c > '9') {
      return std::nullopt;
    }
    number = number * 10 + (c - '0');
  }
  return number;
}

/// How far the wall clock is ahead of UTC by a zone mark.
std::optional<seconds> zoneOffset(std::string_view mark) {
  if (mark == "Z") {
    return 0s;
  }
  if (mark.size() != 6 || (mark[0] != '+' && mark[0] != '-') || mark[3] != ':') {
    return std::nullopt;
  }
  const auto hour = digits(mark, 1, 2);
  const auto minute = digits(mark, 4, 2);
  if (!hour || !minute || *hour > 23 || *minute > 59) {
    return std::nullopt;
  }
  const seconds ahead = hours(*hour) + minutes(*minute);
  return mark[0] == '-' ? -ahead : ahead;
}

}  // namespace

CivilTime localTime(sys_seconds moment) {
  const sys_seconds bounded = std::clamp(moment, kFirst, kLast);
  const date::time_zone* zone = currentZone();
  return utcTime(zone == nullptr ? bounded : bounded + zone->get_info(bounded).offset);
}

CivilTime localTime(TimePoint moment) { return localTime(wholeSeconds(moment)); }

CivilTime utcTime(sys_seconds moment) { return split(std::clamp(moment, kFirst, kLast)); }

CivilTime utcTime(TimePoint moment) { return utcTime(wholeSeconds(moment)); }

std::optional<sys_seconds> secondsOfUtcTime(const CivilTime& civil) { return joined(civil); }

std::optional<sys_seconds> secondsOfLocalTime(const CivilTime& civil) {
  const auto wall = joined(civil);
  const date::time_zone* zone = wall ? currentZone() : nullptr;
  if (zone == nullptr) {
    return wall;
  }
  return zone->to_sys(date::local_seconds(wall->time_since_epoch()), date::choose::earliest);
}

std::optional<TimePoint> momentOfLocalTime(const CivilTime& civil) {
  return asTimePoint(secondsOfLocalTime(civil));
}

std::optional<TimePoint> momentOfUtcTime(const CivilTime& civil) {
  return asTimePoint(secondsOfUtcTime(civil));
}

std::string rfc3339(sys_seconds moment) {
  const CivilTime utc = utcTime(moment);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", utc.year, utc.month, utc.day, utc.hour,
                     utc.minute, utc.second);
}

std::string rfc3339(TimePoint moment) { return rfc3339(wholeSeconds(moment)); }

std::optional<sys_seconds> parseInternetSeconds(std::string_view text) {
  constexpr std::size_t zoneStart = 19;
  if (text.size() <= zoneStart || text[4] != '-' || text[7] != '-' || text[10] != 'T' ||
      text[13] != ':' || text[16] != ':') {
    return std::nullopt;
  }
  const auto year = digits(text, 0, 4);
  const auto month = digits(text, 5, 2);
  const auto day = digits(text, 8, 2);
  const auto hour = digits(text, 11, 2);
  const auto minute = digits(text, 14, 2);
  const auto second = digits(text, 17, 2);
  const auto offset = zoneOffset(text.substr(zoneStart));
  if (!year || !month || !day || !hour || !minute || !second || !offset) {
    return std::nullopt;
  }
  const auto wall = joined({*year, *month, *day, *hour, *minute, *second});
  return wall ? std::optional(*wall - *offset) : std::nullopt;
}

std::optional<TimePoint> parseInternetDateTime(std::string_view text) {
  return asTimePoint(parseInternetSeconds(text));
}

}  // namespace vaultmere
