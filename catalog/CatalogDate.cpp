// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/CatalogDate.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "platform/Calendar.h"

namespace vaultmere {
namespace {

/// 2001-01-01T00:00:00Z in seconds since 1970.
constexpr double kReferenceEpoch = 978'307'200.0;

using Seconds = std::chrono::duration<double>;

std::optional<CivilTime> parseZoneless(std::string_view text) {
  constexpr std::string_view form = "yyyy-MM-ddTHH:mm:ss";
  if (text.size() != form.size()) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isMark = form[i] == '-' || form[i] == 'T' || form[i] == ':';
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (isMark ? text[i] != form[i] : !isDigit) {
      return std::nullopt;
    }
  }
  const auto number = [&](std::size_t from, std::size_t length) {
    int value = 0;
    std::from_chars(text.data() + from, text.data() + from + length, value);
    return value;
  };
  return CivilTime{number(0, 4),  number(5, 2),  number(8, 2),
                   number(11, 2), number(14, 2), number(17, 2)};
}

}  // namespace

CatalogDate CatalogDate::of(TimePoint moment) {
  // Whole seconds and the rest apart: a double of nanoseconds since 1970 would
  // already have lost some of them.
  const auto whole = std::chrono::floor<std::chrono::seconds>(moment);
  return {of(whole).seconds + std::chrono::duration_cast<Seconds>(moment - whole).count()};
}

CatalogDate CatalogDate::of(std::chrono::sys_seconds moment) {
  return {static_cast<double>(moment.time_since_epoch().count()) - kReferenceEpoch};
}

TimePoint CatalogDate::moment() const {
  const double limit = std::chrono::duration_cast<Seconds>(Duration::max()).count() * 0.999;
  const double bounded = std::clamp(seconds + kReferenceEpoch, -limit, limit);
  return TimePoint(std::chrono::duration_cast<Duration>(Seconds(bounded)));
}

std::chrono::sys_seconds CatalogDate::wholeSeconds() const {
  constexpr double limit = 1e15;
  const double bounded = std::clamp(std::floor(seconds + kReferenceEpoch), -limit, limit);
  return std::chrono::sys_seconds(std::chrono::seconds(static_cast<std::int64_t>(bounded)));
}

std::optional<CatalogDate> parseCatalogDate(std::string_view text) {
  auto moment = parseInternetSeconds(text);
  if (!moment) {
    if (const auto civil = parseZoneless(text)) {
      moment = secondsOfLocalTime(*civil);
    }
  }
  return moment ? std::optional(CatalogDate::of(*moment)) : std::nullopt;
}

}  // namespace vaultmere
