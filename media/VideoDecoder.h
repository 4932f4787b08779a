// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "media/VideoContainer.h"

namespace vaultmere {

/// The memory that a decoder's frames hold together.
struct FrameBudget;

/// Finds and decodes frames of a container's pictures, on one thread and in
/// bounded memory.
class VideoDecoder {
 public:
  /// Null when there are no pictures or none that we decode. Waits for other large
  /// decodes when the pictures are large; the container's deadline excludes that time.
  [[nodiscard]] static std::unique_ptr<VideoDecoder> open(VideoContainer& container);
  ~VideoDecoder();

  /// The frame shown at a time, see `videoFrame`; null when there is none. Once
  /// for each object.
  [[nodiscard]] VideoHandle<AVFrame> frameAt(double seconds);

 private:
  explicit VideoDecoder(VideoContainer& container);
  [[nodiscard]] bool openDecoder();
  void waitForAdmission();
  void rewind();
  [[nodiscard]] bool search(std::int64_t target);
  [[nodiscard]] bool readPacket();
  [[nodiscard]] bool takeFrames(std::int64_t target);
  [[nodiscard]] std::int64_t endOf(const AVFrame& frame) const;

  VideoContainer& container_;
  AVStream& stream_;
  std::unique_ptr<FrameBudget> budget_;  // outlives the decoder and all frames
  std::unique_lock<std::mutex> admission_;
  VideoHandle<AVCodecContext> decoder_;
  VideoHandle<AVPacket> packet_;
  VideoHandle<AVFrame> shown_;  ///< the latest that isn't behind the target
  VideoHandle<AVFrame> next_;   ///< the first that is
};

}  // namespace vaultmere
