// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/MainThread.h"

// The calendar, always Gregorian, and the one zone that the program uses: the
// variable TZ when it names a zone, a file of its rules or has a rule of POSIX,
// else the system's, else UTC. Any thread.
//
// A TimePoint reaches from 1677 to 2262. The dates that files carry may lie
// outside, so everything stands in whole seconds too, for years 1 to 9999.
namespace vaultmere {

using std::chrono::sys_seconds;

struct CivilTime {
  int year = 1970;  ///< 1 to 9999
  int month = 1;    ///< 1 to 12
  int day = 1;      ///< 1 to 31
  int hour = 0;     ///< 0 to 23
  int minute = 0;   ///< 0 to 59
  int second = 0;   ///< 0 to 59
  bool operator==(const CivilTime&) const = default;
};

/// The wall clock in the zone at a moment. Moments outside of years 1 to 9999
/// count as the nearest one inside.
[[nodiscard]] CivilTime localTime(TimePoint moment);
[[nodiscard]] CivilTime localTime(sys_seconds moment);
/// The wall clock in UTC at a moment.
[[nodiscard]] CivilTime utcTime(TimePoint moment);
[[nodiscard]] CivilTime utcTime(sys_seconds moment);

/// The moment at which the zone's wall clocks show `civil`. A time that is
/// skipped that day counts as the next valid one, of one that occurs twice the
/// first is taken. Absent when a field is out of its range or the day isn't in
/// the month.
[[nodiscard]] std::optional<sys_seconds> secondsOfLocalTime(const CivilTime& civil);
[[nodiscard]] std::optional<sys_seconds> secondsOfUtcTime(const CivilTime& civil);
/// The same, also absent when a TimePoint doesn't reach so far.
[[nodiscard]] std::optional<TimePoint> momentOfLocalTime(const CivilTime& civil);
[[nodiscard]] std::optional<TimePoint> momentOfUtcTime(const CivilTime& civil);

/// "yyyy-MM-dd'T'HH:mm:ssZ" in UTC with whole seconds, the internet date-time
/// form (RFC 3339).
[[nodiscard]] std::string rfc3339(TimePoint moment);
[[nodiscard]] std::string rfc3339(sys_seconds moment);
/// Reads the same form; the zone mark, "Z" or "+hh:mm", must be there.
[[nodiscard]] std::optional<sys_seconds> parseInternetSeconds(std::string_view text);
/// The same, also absent when a TimePoint doesn't reach so far.
[[nodiscard]] std::optional<TimePoint> parseInternetDateTime(std::string_view text);

}  // namespace vaultmere
