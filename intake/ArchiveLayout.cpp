// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/ArchiveLayout.h"

#include <fmt/format.h>

#include <algorithm>

#include "intake/FileHash.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

bool areDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::string archivePathOf(const std::optional<std::string>& captureDate, std::string_view id,
                          std::string_view ext) {
  if (captureDate && captureDate->size() >= 7) {
    const std::string_view year = std::string_view(*captureDate).substr(0, 4);
    const std::string_view month = std::string_view(*captureDate).substr(5, 2);
    if (areDigits(year) && areDigits(month)) {
      return fmt::format("{0}/{0}-{1}/{2}{3}", year, month, id, ext);
    }
  }
  return fmt::format("undated/{}{}", id, ext);
}

std::string motionFileName(std::string_view id) { return fmt::format("{}.mov", id); }

std::optional<std::string> hashInName(const fs::path& file) {
  std::string stem = asciiLower(file.stem().native());
  return isHash(stem) ? std::optional(std::move(stem)) : std::nullopt;
}

}  // namespace vaultmere
