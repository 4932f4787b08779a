// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"

// When an item was taken: a fixed chain of sources, of which the first that says
// anything wins. Dates are texts of a wall clock without a zone, in the form
// "2021-06-01T10:11:12"; nothing in the chain checks or converts them.
namespace vaultmere {

/// The candidates in the order in which they are tried.
struct CaptureDateCandidates {
  std::optional<std::string> photos;     ///< the photo library's date
  std::optional<std::string> exif;       ///< embedded in the still or the video
  std::optional<std::string> gps;        ///< of the GPS block, UTC; never of a video
  std::optional<std::string> filename;   ///< see `dateFromFilename`
  std::optional<std::string> filemtime;  ///< when the file was modified last
};

struct CaptureDate {
  std::optional<std::string> captureDate;
  /// "photos", "exif", "gps", "filename", "filemtime" or "none". These words
  /// and the next ones stand in the catalog: never change them.
  std::string captureDateSource = "none";
  std::string captureDateConfidence = "none";  ///< "high", "medium", "low" or "none"
  bool operator==(const CaptureDate&) const = default;
};

/// Takes the first candidate that is present.
[[nodiscard]] CaptureDate resolveCaptureDate(const CaptureDateCandidates& candidates);

/// The date in a file's last path component, extension included: eight digits
/// and six, with or without marks between them, or eight digits with marks. Only
/// years from 2000 to 2100 count, so that most camera counters don't. The name
/// is bytes and need not be UTF-8.
[[nodiscard]] std::optional<std::string> dateFromFilename(std::string_view name);

/// A moment's wall clock in the machine's zone.
[[nodiscard]] std::string localDateString(TimePoint moment);
[[nodiscard]] std::string localDateString(sys_seconds moment);

}  // namespace vaultmere
