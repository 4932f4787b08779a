// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "media/MediaPool.h"
#include "media/MediaRequest.h"
#include "platform/AsyncSemaphore.h"
#include "platform/Files.h"

namespace vaultmere {

/// The file name of the program that the media processes run.
inline constexpr const char* kMediaProgram = "vaultmere-media";

/// A file that is to be read: an open, regular one.
struct MediaFile {
  const File& file;
  /// The hash of its bytes, where that is known: by it a file that failed is
  /// recognised under any name.
  std::string_view contentHash{};
};

/// Reads media files, in processes of their own that can do nothing else: what
/// foreign bytes do to a decoder ends such a process at the most. Plain values
/// in and out.
///
/// A file at which a process fails isn't read again as long as this lives, also
/// under another name when its content is known; one line in the log names it. Lives
/// as long as the program; any thread but the main one, since each call waits for its
/// answer.
class MediaService {
 public:
  explicit MediaService(MediaPool::Options options) : pool_(std::move(options)) {}

  /// Why no file can be read, in words for the user; absent when files can.
  /// Starts a process when there is none.
  [[nodiscard]] std::optional<std::string> problem();

  /// Identifies the versions of the program and of the media libraries. While it
  /// stays the same, a file that couldn't be decoded can't be decoded now either.
  /// Throws MediaError.
  [[nodiscard]] std::string decoderVersion();

  /// Reads a file. Throws MediaError when there is no process to do it, which says
  /// nothing about the file.
  [[nodiscard]] MediaAnswer read(const MediaFile& file, const MediaRequest& request,
                                 Priority priority = Priority::foreground);

  /// A still, its longer side at most `maxPixels`; absent when it can't be decoded.
  /// Throws MediaError.
  [[nodiscard]] std::optional<Bitmap> scaled(const MediaFile& file, int maxPixels);

 private:
  [[nodiscard]] std::optional<MediaFailure> knownFailure(
      const std::vector<std::string>& identities);
  void remember(const std::vector<std::string>& identities, MediaFailure failure);
  void logProblem(const std::string& problem);
  /// A process that is ready.
  [[nodiscard]] MediaPool::Lease lease(Priority priority);

  MediaPool pool_;                                // own synchronisation
  std::mutex mutex_;                              // guards the rest
  std::map<std::string, MediaFailure> failures_;  ///< by what identifies a file
  std::string decoders_;                          ///< empty until a process has told
  std::string loggedProblem_;
};

}  // namespace vaultmere
