// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Calendar.h"

#include <date/tz.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
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
/// colon, or a path to its file in the zone data; an empty one for UTC. Empty
/// when it can't be a zone's name.
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

constexpr const char* kSystemZone = "/etc/localtime";

/// Where the system's zone is set by a link; it changes when the user travels.
std::string_view systemZoneLink(std::array<char, 256>& buffer) {
  const ssize_t length = ::readlink(kSystemZone, buffer.data(), buffer.size());
  return {buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// True for a file of compiled zone rules (RFC 8536), reached through links or not.
bool holdsZoneRules(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return false;
  }
  std::array<char, 4> magic{};
  std::ifstream(path, std::ios::binary).read(magic.data(), magic.size());
  return std::string_view(magic.data(), magic.size()) == "TZif";
}

/// True for a value of TZ that begins like a rule of POSIX: the name of standard
/// time, of letters or in angle brackets, and its offset, as in
/// "CET-1CEST,M3.5.0,M10.5.0/3" or "<+0530>-5:30".
bool isPosixRule(std::string_view variable) {
  const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  std::size_t end = 0;
  if (variable.starts_with('<')) {
    end = variable.find('>');
    end = end == std::string_view::npos ? 0 : end + 1;
  } else {
    while (end < variable.size() && isLetter(variable[end])) {
      ++end;
    }
  }
  if (end < 3) {
    return false;
  }
  const std::string_view offset = variable.substr(end);
  const std::size_t sign = offset.starts_with('+') || offset.starts_with('-') ? 1 : 0;
  return offset.size() > sign && offset[sign] >= '0' && offset[sign] <= '9';
}

/// Who knows the zone's rules.
struct Zone {
  const date::time_zone* named = nullptr;  ///< null: the next one, else UTC
  /// The C library: it reads rules of POSIX, and files without a zone's name.
  bool byLibrary = false;
};

Zone findZone(const std::optional<std::string>& variable, bool isLinked) {
  if (variable) {
    const std::string name(zoneName(*variable));
    if (const auto* zone = loaded([&] { return date::locate_zone(name); })) {
      return {zone, false};
    }
    const std::string path = variable->substr(variable->starts_with(':') ? 1 : 0);
    if (isPosixRule(*variable) || (path.starts_with('/') && holdsZoneRules(path))) {
      return {nullptr, true};
    }
  } else if (!isLinked && holdsZoneRules(kSystemZone)) {
    return {nullptr, true};  // whatever name /etc/timezone has kept
  }
  return {loaded([] { return date::current_zone(); }), false};
}

/// How often the system's zone is looked at: a page of a gallery has hundreds of
/// dates, and a traveller changes the zone a few times a year.
constexpr auto kSystemZoneInterval = 1s;

/// The program's zone. Named zones live as long as the process.
Zone currentZone() {
  struct Known {
    std::optional<std::string> variable;
    std::chrono::steady_clock::time_point checked;  ///< when the system's file was looked at
    std::string link;
    std::chrono::system_clock::rep written = 0;  ///< when the system's file was
    Zone zone;
  };
  static std::mutex mutex;
  static std::optional<Known> known;  // guarded by mutex

  const char* value = std::getenv("TZ");
  const auto variable = value == nullptr ? std::nullopt : std::optional<std::string>(value);
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex);
  const bool isSame = known && known->variable == variable;
  if (isSame && now - known->checked < kSystemZoneInterval) {
    return known->zone;
  }
  std::array<char, 256> buffer{};
  const std::string_view link = systemZoneLink(buffer);
  struct stat status {};
  const auto written = link.empty() && ::stat(kSystemZone, &status) == 0 ? status.st_mtime : 0;
  if (isSame && known->link == link && known->written == written) {
    known->checked = now;
  } else {
    known = {variable, now, std::string(link), written, findZone(variable, !link.empty())};
  }
  return known->zone;
}

/// How far the zone's wall clocks are ahead of UTC at a moment.
seconds offsetAt(const Zone& zone, sys_seconds moment) {
  if (zone.named != nullptr) {
    return zone.named->get_info(moment).offset;
  }
  if (!zone.byLibrary) {
    return 0s;
  }
  const std::time_t time = moment.time_since_epoch().count();
  std::tm local{};
  ::tzset();  // heeds TZ and a system file that have changed
  return ::localtime_r(&time, &local) == nullptr ? 0s : seconds(local.tm_gmtoff);
}

/// The moment of a wall clock in a zone whose offsets alone are known; no zone
/// changes twice within two days.
sys_seconds momentOf(const Zone& zone, sys_seconds wall) {
  const seconds before = offsetAt(zone, wall - days(1));
  const seconds after = offsetAt(zone, wall + days(1));
  for (const seconds offset : {std::max(before, after), std::min(before, after)}) {
    if (offsetAt(zone, wall - offset) == offset) {
      return wall - offset;
    }
  }
  sys_seconds low = wall - days(1);  // skipped: the moment of the change
  sys_seconds high = wall + days(1);
  while (high - low > 1s) {
    const sys_seconds middle = low + (high - low) / 2;
    (offsetAt(zone, middle) == before ? low : high) = middle;
  }
  return high;
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
  return utcTime(bounded + offsetAt(currentZone(), bounded));
}

CivilTime localTime(TimePoint moment) { return localTime(wholeSeconds(moment)); }

CivilTime utcTime(sys_seconds moment) { return split(std::clamp(moment, kFirst, kLast)); }

CivilTime utcTime(TimePoint moment) { return utcTime(wholeSeconds(moment)); }

std::optional<sys_seconds> secondsOfUtcTime(const CivilTime& civil) { return joined(civil); }

std::optional<sys_seconds> secondsOfLocalTime(const CivilTime& civil) {
  const auto wall = joined(civil);
  if (!wall) {
    return std::nullopt;
  }
  const Zone zone = currentZone();
  return zone.named == nullptr ? momentOf(zone, *wall)
                               : zone.named->to_sys(date::local_seconds(wall->time_since_epoch()),
                                                    date::choose::earliest);
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
