// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>

#include "media/worker/EmbeddedMetadata.h"
#include "media/worker/ImageFormat.h"
#include "media/worker/RawFile.h"
#include "media/worker/VipsStill.h"
#include "media/worker/X3fFile.h"
#include "platform/Files.h"

namespace vaultmere {

/// A still that is open: each library opens it when it is first needed, and reads its
/// header once, for all that is wanted of the file. One thread at a time. What a
/// library can't read is absent or null; these may also throw std::exception.
class StillFile {
 public:
  /// `file` must stay open.
  explicit StillFile(const File& file) : file_(file), format_(recogniseImage(file)) {}

  [[nodiscard]] const File& file() const { return file_; }
  /// Absent for what isn't a still that the program takes; nothing else is to be asked
  /// for then.
  [[nodiscard]] const std::optional<ImageFormat>& format() const { return format_; }

  [[nodiscard]] const EmbeddedMetadata& metadata();
  [[nodiscard]] VipsStill& vips();
  /// See `heifOrientation`.
  [[nodiscard]] std::optional<int> heifOrientation();
  [[nodiscard]] const std::optional<X3fFile>& x3f();
  /// Null when the camera is unknown.
  [[nodiscard]] RawFile* raw();

 private:
  const File& file_;
  const std::optional<ImageFormat> format_;
  std::optional<EmbeddedMetadata> metadata_;
  std::optional<VipsStill> vips_;
  std::optional<std::optional<int>> heifOrientation_;
  std::optional<std::optional<X3fFile>> x3f_;
  std::optional<std::unique_ptr<RawFile>> raw_;
};

}  // namespace vaultmere
