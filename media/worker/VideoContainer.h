// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "media/VideoProperties.h"
#include "media/worker/IsoBmffReader.h"
#include "platform/Files.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVIOContext;
struct AVPacket;
struct AVStream;

// FFmpeg for the video files of this directory.
namespace vaultmere {

struct VideoRelease {
  void operator()(AVCodecContext* context) const noexcept;
  void operator()(AVFormatContext* context) const noexcept;
  void operator()(AVFrame* frame) const noexcept;
  void operator()(AVIOContext* context) const noexcept;
  void operator()(AVPacket* packet) const noexcept;
};
template <typename T>
using VideoHandle = std::unique_ptr<T, VideoRelease>;

/// The decoders that may be used, by the library's names with commas between:
/// those of cameras, phones and common editors, and of sound where the container
/// doesn't describe its form.
extern const char* const kVideoDecoders;

/// An opened video file. The library reads its bytes through this object
/// only, and none after the deadline. One thread at a time.
class VideoContainer {
 public:
  /// Null for what the library refuses, or takes too much memory for. `file` must
  /// stay open.
  [[nodiscard]] static std::unique_ptr<VideoContainer> open(const File& file);
  ~VideoContainer();

  [[nodiscard]] AVFormatContext& format() const { return *format_; }
  [[nodiscard]] const IsoBmffItems& boxes() const { return boxes_; }
  [[nodiscard]] bool isMovie() const;  ///< MP4, MOV or 3GP
  [[nodiscard]] bool isMatroska() const;
  /// The first stream with pictures that isn't a cover; null without one.
  [[nodiscard]] AVStream* videoStream() const;
  /// A pixel's width in those pictures, its height being 1.
  [[nodiscard]] double pixelWidth() const;
  /// How that stream is shown; absent without a size.
  [[nodiscard]] std::optional<VideoTrack> track() const;

  [[nodiscard]] bool isOverdue() const;

 private:
  struct Bytes;
  explicit VideoContainer(const File& file);
  [[nodiscard]] bool openFormat();
  [[nodiscard]] bool needsProbing() const;
  [[nodiscard]] std::optional<IsoBmffItems::DisplaySize> displaySize(const AVStream& stream) const;

  std::unique_ptr<Bytes> bytes_;
  IsoBmffItems boxes_;
  VideoHandle<AVIOContext> input_;
  VideoHandle<AVFormatContext> format_;
};

}  // namespace vaultmere
