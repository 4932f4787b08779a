// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/Metadata.h"
#include "tests/support/Painter.h"

namespace vaultmere::demo {

struct Camera {
  const char* make;
  const char* model;
  const char* lens;  ///< null where it is built in
  const char* software;
};

/// The exposure in EXIF's text form.
struct Exposure {
  const char* iso = "100";
  const char* seconds = "1/250";
  const char* aperture = "56/10";
  const char* focalLength = "35/1";
};

/// The metadata that a camera writes. `date` is "2021:06:01 10:11:12".
[[nodiscard]] Metadata exif(const Camera& camera, const std::string& date,
                            const Exposure& exposure);
[[nodiscard]] Metadata exif(const Camera& camera, const std::string& date, const Exposure& exposure,
                            GpsPosition place);

/// Makes one file, independently of the others.
using Job = std::function<void()>;

/// The pictures that cameras took.
[[nodiscard]] std::vector<Job> photographs(const std::filesystem::path& folder);
/// Other files of a folder of pictures: clips, Live Photos, screenshots, odd names,
/// junk.
[[nodiscard]] std::vector<Job> otherFiles(const std::filesystem::path& folder);
/// Copies of what the two above have made.
void makeCopies(const std::filesystem::path& folder);

}  // namespace vaultmere::demo
