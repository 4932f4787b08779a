// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/VideoDecoder.h"

#include <algorithm>
#include <limits>

#include "media/worker/ImageDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

namespace vaultmere {

struct FrameBudget {
  std::int64_t held = 0;
};

namespace {

constexpr std::int64_t kMaxFramePixels = std::int64_t{16'384} * 16'384;
/// For the one decoder that takes its frames from a store of its own, and keeps
/// up to ten of them.
constexpr std::int64_t kMaxUncountedPixels = std::int64_t{8'192} * 8'192;

/// A buffer of the library's, given back to the budget when it is let go.
struct CountedBuffer {
  AVBufferRef* buffer;
  FrameBudget* budget;
  std::int64_t bytes;

  static void release(void* opaque, std::uint8_t*) {
    const std::unique_ptr<CountedBuffer> self(static_cast<CountedBuffer*>(opaque));
    self->budget->held -= self->bytes;
    av_buffer_unref(&self->buffer);
  }
};

int takeBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  auto* budget = static_cast<FrameBudget*>(decoder->opaque);
  constexpr int kAlignment = 64;
  const std::int64_t bytes = av_image_get_buffer_size(
      static_cast<AVPixelFormat>(frame->format), std::max(frame->width, decoder->coded_width),
      std::max(frame->height, decoder->coded_height), kAlignment);
  if (bytes < 0 || bytes > kMaxDecodeBytes - budget->held) {
    return AVERROR(ENOMEM);
  }
  const int result = avcodec_default_get_buffer2(decoder, frame, flags);
  if (result < 0 || frame->buf[0] == nullptr) {
    return result;
  }
  auto counted = std::make_unique<CountedBuffer>(CountedBuffer{frame->buf[0], budget, bytes});
  AVBufferRef* outer = av_buffer_create(frame->buf[0]->data, frame->buf[0]->size,
                                        &CountedBuffer::release, counted.get(), 0);
  if (outer == nullptr) {
    return AVERROR(ENOMEM);  // the caller lets go of the frame
  }
  budget->held += bytes;
  static_cast<void>(counted.release());
  frame->buf[0] = outer;
  return result;
}

}  // namespace

VideoDecoder::VideoDecoder(VideoContainer& container)
    : container_(container),
      stream_(*container.videoStream()),
      budget_(std::make_unique<FrameBudget>()) {}

VideoDecoder::~VideoDecoder() = default;

std::unique_ptr<VideoDecoder> VideoDecoder::open(VideoContainer& container) {
  if (container.videoStream() == nullptr) {
    return nullptr;
  }
  std::unique_ptr<VideoDecoder> decoder(new VideoDecoder(container));
  return decoder->openDecoder() ? std::move(decoder) : nullptr;
}

bool VideoDecoder::openDecoder() {
  const AVCodecParameters& form = *stream_.codecpar;
  const AVCodec* codec = avcodec_find_decoder(form.codec_id);
  decoder_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
  packet_.reset(av_packet_alloc());
  if (!decoder_ || !packet_ || avcodec_parameters_to_context(decoder_.get(), &form) < 0) {
    return false;
  }
  decoder_->thread_count = 1;
  decoder_->pkt_timebase = stream_.time_base;
  decoder_->max_pixels = form.codec_id == AV_CODEC_ID_AV1 ? kMaxUncountedPixels : kMaxFramePixels;
  decoder_->opaque = budget_.get();
  decoder_->get_buffer2 = &takeBuffer;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "codec_whitelist", kVideoDecoders, 0);
  const int opened = avcodec_open2(decoder_.get(), codec, &options);
  av_dict_free(&options);
  AVFormatContext& format = container_.format();
  for (unsigned i = 0; i < format.nb_streams; ++i) {
    if (format.streams[i] != &stream_) {
      format.streams[i]->discard = AVDISCARD_ALL;
    }
  }
  return opened >= 0;
}

VideoHandle<AVFrame> VideoDecoder::frameAt(double seconds) {
  const AVFormatContext& format = container_.format();
  const double ticks = seconds / av_q2d(stream_.time_base);
  constexpr double kMaxTicks = 1e15;  // more than any video has, and safe to reckon with
  if (!(ticks >= 0) || ticks > kMaxTicks) {
    return nullptr;
  }
  constexpr double kNoise = 1e-6;  // of a time that is a whole number of ticks
  auto target = static_cast<std::int64_t>(ticks + kNoise);
  if (stream_.start_time != AV_NOPTS_VALUE) {
    target += stream_.start_time;
  } else if (format.start_time != AV_NOPTS_VALUE) {
    target += av_rescale_q(format.start_time, av_get_time_base_q(), stream_.time_base);
  }
  if (seconds > 0 &&
      av_seek_frame(&container_.format(), stream_.index, target, AVSEEK_FLAG_BACKWARD) >= 0) {
    const bool found = search(target);
    if (shown_) {
      return found ? std::move(shown_) : nullptr;
    }
    rewind();  // an index that leads astray, or none
  }
  const bool found = search(target);
  if (!shown_) {
    return std::move(next_);
  }
  return found ? std::move(shown_) : nullptr;
}

void VideoDecoder::rewind() {
  AVFormatContext& format = container_.format();
  if (av_seek_frame(&format, stream_.index, std::numeric_limits<std::int64_t>::min() / 2,
                    AVSEEK_FLAG_BACKWARD) < 0) {
    static_cast<void>(av_seek_frame(&format, stream_.index, 0, AVSEEK_FLAG_BYTE));
  }
  avcodec_flush_buffers(decoder_.get());
  shown_.reset();
  next_.reset();
}

/// Reads on until the frame is known to be shown at the target, or the end.
bool VideoDecoder::search(std::int64_t target) {
  while (true) {
    const bool have = readPacket();
    // One that is refused is passed over; without one the rest comes out.
    static_cast<void>(avcodec_send_packet(decoder_.get(), have ? packet_.get() : nullptr));
    av_packet_unref(packet_.get());
    if (takeFrames(target)) {
      return true;
    }
    if (!have) {
      return shown_ && endOf(*shown_) > target;
    }
  }
}

bool VideoDecoder::readPacket() {
  while (!container_.isOverdue() && av_read_frame(&container_.format(), packet_.get()) >= 0) {
    if (packet_->stream_index == stream_.index) {
      return true;
    }
    av_packet_unref(packet_.get());
  }
  return false;
}

/// True when one of them lies behind the target.
bool VideoDecoder::takeFrames(std::int64_t target) {
  while (true) {
    VideoHandle<AVFrame> frame(av_frame_alloc());
    if (!frame || avcodec_receive_frame(decoder_.get(), frame.get()) < 0) {
      return false;
    }
    if (frame->best_effort_timestamp == AV_NOPTS_VALUE) {
      frame->best_effort_timestamp = shown_ ? endOf(*shown_) : target;
    }
    if (frame->best_effort_timestamp > target) {
      next_ = std::move(frame);
      return true;
    }
    shown_ = std::move(frame);
  }
}

/// Where a frame stops being shown when none comes after it.
std::int64_t VideoDecoder::endOf(const AVFrame& frame) const {
  std::int64_t length = std::max<std::int64_t>(frame.pkt_duration, 0);
  if (length == 0 && stream_.avg_frame_rate.num > 0 && stream_.avg_frame_rate.den > 0) {
    length = av_rescale_q(1, av_inv_q(stream_.avg_frame_rate), stream_.time_base);
  }
  const std::int64_t start = frame.best_effort_timestamp;
  return length > std::numeric_limits<std::int64_t>::max() - start ? start : start + length;
}

}  // namespace vaultmere
