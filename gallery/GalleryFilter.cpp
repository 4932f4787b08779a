// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryFilter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "platform/Calendar.h"

namespace vaultmere {
namespace {

using Text = std::optional<std::string>;

constexpr std::size_t kDateLength = 10;

/// The keys of the wire: never change them.
constexpr std::array<std::pair<const char*, Text GalleryFilter::*>, 13> kTexts{{
    {"year", &GalleryFilter::year},
    {"date_from", &GalleryFilter::dateFrom},
    {"date_to", &GalleryFilter::dateTo},
    {"date_before", &GalleryFilter::dateBefore},
    {"tag", &GalleryFilter::tag},
    {"label", &GalleryFilter::label},
    {"place", &GalleryFilter::place},
    {"media_type", &GalleryFilter::mediaType},
    {"color", &GalleryFilter::color},
    {"size", &GalleryFilter::size},
    {"q", &GalleryFilter::q},
    {"ext", &GalleryFilter::ext},
    {"camera", &GalleryFilter::camera},
}};

Text valueOf(const HttpQuery& query, const char* key) {
  const auto found = query.find(key);
  return found == query.end() ? std::nullopt : Text(found->second);
}

std::optional<bool> flagOf(const HttpQuery& query, const char* key) {
  const Text value = valueOf(query, key);
  return value ? std::optional(*value == "1" || *value == "true") : std::nullopt;
}

/// Cuts a number of at most `digits` digits off the front.
std::optional<int> takeNumber(std::string_view& text, std::size_t digits) {
  const auto count = std::min(text.find_first_not_of("0123456789"), text.size());
  if (count == 0 || count > digits) {
    return std::nullopt;
  }
  const auto number = integerOf(text.substr(0, count));
  text.remove_prefix(count);
  return static_cast<int>(*number);
}

bool takeHyphen(std::string_view& text) {
  const bool isThere = text.starts_with('-');
  text.remove_prefix(isThere ? 1 : 0);
  return isThere;
}

/// The first instant of the day that the text begins with.
std::optional<CatalogDate> dayOf(std::string_view text) {
  text = text.substr(0, kDateLength);
  CivilTime day;
  const auto year = takeNumber(text, 4);
  const auto month = takeHyphen(text) ? takeNumber(text, 2) : std::nullopt;
  const auto number = takeHyphen(text) ? takeNumber(text, 2) : std::nullopt;
  if (!year || !month || !number || !text.empty()) {
    return std::nullopt;
  }
  day.year = *year;
  day.month = *month;
  day.day = *number;
  const auto moment = secondsOfLocalTime(day);
  return moment ? std::optional(CatalogDate::of(*moment)) : std::nullopt;
}

/// Photos have years that an `int` holds; one beyond finds none of them.
int yearOf(std::int64_t number) {
  return static_cast<int>(std::clamp<std::int64_t>(number, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

}  // namespace

std::optional<std::int64_t> integerOf(std::string_view text) {
  const bool hasPlus = text.starts_with('+');
  text.remove_prefix(hasPlus ? 1 : 0);
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  const bool isNumber = error == std::errc() && stop == end && !(hasPlus && text.starts_with('-'));
  return isNumber ? std::optional(number) : std::nullopt;
}

GalleryFilter GalleryFilter::of(const HttpQuery& query) {
  GalleryFilter filter;
  for (const auto& [key, field] : kTexts) {
    filter.*field = valueOf(query, key);
  }
  filter.favorite = flagOf(query, "favorite");
  filter.noCamera = flagOf(query, "no_camera").value_or(false);
  return filter;
}

Predicate GalleryFilter::predicate() const {
  Predicate all = predicates::shown();
  const auto add = [&](const auto& field, auto* condition) {
    if (field) {
      all = all && condition(*field);
    }
  };
  if (dateFrom || dateTo || dateBefore) {
    add(dateFrom ? dayOf(*dateFrom) : std::nullopt, predicates::capturedFrom);
    add(dateTo ? dayOf(*dateTo) : std::nullopt, predicates::capturedUntil);
    add(dateBefore ? dayOf(*dateBefore) : std::nullopt, predicates::capturedBefore);
  } else if (const auto number = year ? integerOf(*year) : std::nullopt) {
    all = all && predicates::year(yearOf(*number));
  }
  add(tag, predicates::tag);
  add(label, predicates::label);
  add(place, predicates::country);
  add(mediaType, predicates::mediaType);
  add(ext, predicates::ext);
  if (noCamera) {
    all = all && predicates::noCamera();
  } else {
    add(camera, predicates::camera);
  }
  add(favorite, predicates::favourite);
  add(color, predicates::colour);
  add(size, predicates::size);
  add(q, predicates::search);
  return all;
}

}  // namespace vaultmere
