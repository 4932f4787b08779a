// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "media/worker/VideoContainer.h"

namespace vaultmere {

/// The memory that a decoder's frames hold together.
struct FrameBudget;

/// Finds and decodes frames of a container's pictures, on one thread and in
/// bounded memory.
class VideoDecoder {
 public:
  /// Null when there are no pictures or none that we decode.
  [[nodiscard]] static std::unique_ptr<VideoDecoder> open(VideoContainer& container);
  ~VideoDecoder();

  /// The frame shown at a time, see `VideoFile::frame`; null when there is none. Once
  /// for each object.
  [[nodiscard]] VideoHandle<AVFrame> frameAt(double seconds);

 private:
  explicit VideoDecoder(VideoContainer& container);
  [[nodiscard]] bool openDecoder();
  void rewind();
  [[nodiscard]] bool search(std::int64_t target);
  [[nodiscard]] bool readPacket();
  [[nodiscard]] bool takeFrames(std::int64_t target);
  [[nodiscard]] std::int64_t endOf(const AVFrame& frame) const;

  VideoContainer& container_;
  AVStream& stream_;
  std::unique_ptr<FrameBudget> budget_;  // outlives the decoder and all frames
  VideoHandle<AVCodecContext> decoder_;
  VideoHandle<AVPacket> packet_;
  VideoHandle<AVFrame> shown_;  ///< the latest that isn't behind the target
  VideoHandle<AVFrame> next_;   ///< the first that is
};

}  // namespace vaultmere
