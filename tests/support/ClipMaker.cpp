// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/ClipMaker.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tests/support/Raster.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace vaultmere {

namespace {

struct Release {
  void operator()(AVFormatContext* context) const noexcept {
    avio_closep(&context->pb);
    avformat_free_context(context);
  }
  void operator()(AVCodecContext* context) const noexcept { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
  void operator()(SwsContext* context) const noexcept { sws_freeContext(context); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

int check(int result, std::string_view what) {
  if (result >= 0) return result;
  std::array<char, AV_ERROR_MAX_STRING_SIZE> words{};
  av_strerror(result, words.data(), words.size());
  throw std::runtime_error(fmt::format("{}: {}", what, words.data()));
}

template <typename T>
T* check(T* pointer, std::string_view what) {
  if (pointer == nullptr) throw std::runtime_error(fmt::format("{}: not to be had", what));
  return pointer;
}

/// What a container is called, and what goes into it.
struct Container {
  ClipContainer container;
  const char* muxer;
  const char* picture;
  const char* sound;
};

constexpr Container kContainers[] = {
    {ClipContainer::mp4, "mp4", "libx264", "aac"},
    {ClipContainer::mov, "mov", "libx264", "aac"},
    {ClipContainer::mkv, "matroska", "libx264", "aac"},
    {ClipContainer::webm, "webm", "libvpx", ""},
    {ClipContainer::threeGp, "3gp", "libx264", "aac"},
    {ClipContainer::avi, "avi", "mpeg4", "mp2"},
    {ClipContainer::mpeg, "mpeg", "mpeg1video", "mp2"},
};

const Container& containerOf(const ClipOptions& options) {
  for (const Container& container : kContainers) {
    if (container.container == options.container) return container;
  }
  throw std::runtime_error("an unknown container");
}

constexpr int kSampleRate = 44'100;
constexpr double kToneHertz = 440;
constexpr double kToneLevel = 0.1;

/// One encoder and its stream in the file.
class Track {
 public:
  Track(AVFormatContext& file, const char* encoderName) : file_(file) {
    const AVCodec* encoder = check(avcodec_find_encoder_by_name(encoderName), encoderName);
    encoder_.reset(check(avcodec_alloc_context3(encoder), encoderName));
    stream_ = check(avformat_new_stream(&file, nullptr), encoderName);
    packet_.reset(check(av_packet_alloc(), "a packet"));
    encoder_->thread_count = 1;  // the same bytes on every machine
    encoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    if ((file.oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
  }

  [[nodiscard]] AVCodecContext& encoder() { return *encoder_; }
  [[nodiscard]] AVStream& stream() { return *stream_; }

  void open() {
    check(avcodec_open2(encoder_.get(), nullptr, nullptr), "opening an encoder");
    check(avcodec_parameters_from_context(stream_->codecpar, encoder_.get()), "a stream");
    stream_->time_base = encoder_->time_base;
  }

  /// Encodes a frame and writes what comes out; null at the end.
  void write(AVFrame* frame) {
    check(avcodec_send_frame(encoder_.get(), frame), "encoding");
    while (true) {
      const int result = avcodec_receive_packet(encoder_.get(), packet_.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
      check(result, "encoding");
      av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_->time_base);
      packet_->stream_index = stream_->index;
      check(av_interleaved_write_frame(&file_, packet_.get()), "writing");
    }
  }

 private:
  AVFormatContext& file_;
  Owned<AVCodecContext> encoder_;
  AVStream* stream_ = nullptr;  // the file's
  Owned<AVPacket> packet_;
};

/// The pictures of a clip.
class PictureTrack {
 public:
  PictureTrack(AVFormatContext& file, const char* encoderName, const ClipOptions& options)
      : options_(options), track_(file, encoderName) {
    AVCodecContext& encoder = track_.encoder();
    encoder.width = options.width;
    encoder.height = options.height;
    encoder.pix_fmt = AV_PIX_FMT_YUV420P;
    encoder.time_base = {1, options.framesPerSecond};
    encoder.framerate = {options.framesPerSecond, 1};
    encoder.bit_rate = 400'000;
    encoder.max_b_frames = 0;
    // Only libx264 has these; the others don't mind.
    av_opt_set(encoder.priv_data, "preset", "ultrafast", 0);
    av_opt_set(encoder.priv_data, "crf", "23", 0);
    track_.open();
    track_.stream().avg_frame_rate = encoder.framerate;
    if (options.rotation != 0) setRotation();
  }

  void write() {
    const Owned<AVFrame> frame(check(av_frame_alloc(), "a frame"));
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = options_.width;
    frame->height = options_.height;
    check(av_frame_get_buffer(frame.get(), 0), "a frame");
    const Owned<SwsContext> scaler(check(
        sws_getContext(options_.width, options_.height, AV_PIX_FMT_RGB24, options_.width,
                       options_.height, AV_PIX_FMT_YUV420P, SWS_POINT, nullptr, nullptr, nullptr),
        "a scaler"));
    const std::vector<std::uint8_t> first =
        paint({.width = options_.width, .height = options_.height}, options_.painter);
    const long count = std::lround(options_.seconds * options_.framesPerSecond);
    for (long number = 0; number < count; ++number) {
      check(av_frame_make_writable(frame.get()), "a frame");
      std::vector<std::uint8_t> pixels = moved(first, number);
      constexpr std::size_t kOverRead = 64;  // the scaler reads beyond the last row
      pixels.resize(pixels.size() + kOverRead);
      const std::array<const std::uint8_t*, 1> planes{pixels.data()};
      const std::array<int, 1> strides{3 * options_.width};
      sws_scale(scaler.get(), planes.data(), strides.data(), 0, options_.height, frame->data,
                frame->linesize);
      frame->pts = number;
      track_.write(frame.get());
    }
    track_.write(nullptr);
  }

 private:
  void setRotation() {
    std::uint8_t* matrix = check(
        av_stream_new_side_data(&track_.stream(), AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(int32_t)),
        "a display matrix");
    std::array<std::int32_t, 9> values{};
    av_display_rotation_set(values.data(), options_.rotation);
    std::memcpy(matrix, values.data(), sizeof values);
  }

  // Every row rotated by one pixel a frame.
  [[nodiscard]] std::vector<std::uint8_t> moved(const std::vector<std::uint8_t>& picture,
                                                long frame) const {
    const std::ptrdiff_t row = 3 * std::ptrdiff_t{options_.width};
    const std::ptrdiff_t shift = 3 * (frame % options_.width);
    std::vector<std::uint8_t> result(picture.size());
    auto to = result.begin();
    for (auto from = picture.begin(); from != picture.end(); from += row) {
      to = std::rotate_copy(from, from + shift, from + row, to);
    }
    return result;
  }

  const ClipOptions& options_;
  Track track_;
};

/// A quiet tone.
class SoundTrack {
 public:
  SoundTrack(AVFormatContext& file, const char* encoderName, double seconds)
      : samples_(std::lround(seconds * kSampleRate)), track_(file, encoderName) {
    AVCodecContext& encoder = track_.encoder();
    encoder.sample_rate = kSampleRate;
    encoder.sample_fmt = encoder.codec->sample_fmts[0];
    encoder.time_base = {1, kSampleRate};
    encoder.bit_rate = 64'000;
    av_channel_layout_default(&encoder.ch_layout, 1);
    track_.open();
  }

  void write() {
    const AVCodecContext& encoder = track_.encoder();
    const Owned<AVFrame> frame(check(av_frame_alloc(), "a frame"));
    frame->format = encoder.sample_fmt;
    frame->sample_rate = kSampleRate;
    frame->nb_samples = encoder.frame_size;
    av_channel_layout_default(&frame->ch_layout, 1);
    check(av_frame_get_buffer(frame.get(), 0), "a frame");
    for (long at = 0; at < samples_; at += encoder.frame_size) {
      check(av_frame_make_writable(frame.get()), "a frame");
      fill(*frame, at);
      frame->pts = at;
      track_.write(frame.get());
    }
    track_.write(nullptr);
  }

 private:
  static void fill(AVFrame& frame, long at) {
    for (int sample = 0; sample < frame.nb_samples; ++sample) {
      const double phase = 2 * std::numbers::pi * kToneHertz * static_cast<double>(at + sample);
      const double value = kToneLevel * std::sin(phase / kSampleRate);
      if (frame.format == AV_SAMPLE_FMT_FLTP) {
        reinterpret_cast<float*>(frame.data[0])[sample] = static_cast<float>(value);
      } else {
        reinterpret_cast<std::int16_t*>(frame.data[0])[sample] =
            static_cast<std::int16_t>(std::lround(value * 32'767));
      }
    }
  }

  long samples_;
  Track track_;
};

bool hasKeyedItems(const ClipOptions& options) {
  for (const auto& [key, text] : options.metadata) {
    if (key.starts_with("com.apple.quicktime.")) return true;
  }
  return false;
}

Owned<AVFormatContext> createFile(const std::filesystem::path& path, const ClipOptions& options,
                                  const Container& container) {
  const std::string url = "file:" + path.string();
  AVFormatContext* context = nullptr;
  check(avformat_alloc_output_context2(&context, nullptr, container.muxer, url.c_str()), url);
  Owned<AVFormatContext> file(context);
  check(avio_open(&file->pb, url.c_str(), AVIO_FLAG_WRITE), url);
  file->flags |= AVFMT_FLAG_BITEXACT;
  for (const auto& [key, text] : options.metadata) {
    check(av_dict_set(&file->metadata, key.c_str(), text.c_str(), 0), key);
  }
  return file;
}

}  // namespace

void makeClip(const std::filesystem::path& path, const ClipOptions& options) {
  av_log_set_level(AV_LOG_ERROR);
  ClipOptions wanted = options;
  if (wanted.container == ClipContainer::mpeg) wanted.framesPerSecond = 25;
  const Container& container = containerOf(wanted);
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  const Owned<AVFormatContext> file = createFile(path, wanted, container);

  std::unique_ptr<PictureTrack> picture;
  std::unique_ptr<SoundTrack> sound;
  if (wanted.picture) picture = std::make_unique<PictureTrack>(*file, container.picture, wanted);
  if (wanted.sound) sound = std::make_unique<SoundTrack>(*file, container.sound, wanted.seconds);

  AVDictionary* muxing = nullptr;
  if (hasKeyedItems(wanted)) av_dict_set(&muxing, "movflags", "use_metadata_tags", 0);
  const int header = avformat_write_header(file.get(), &muxing);
  av_dict_free(&muxing);
  check(header, "writing the header");
  if (picture) picture->write();
  if (sound) sound->write();
  check(av_write_trailer(file.get()), "writing the trailer");
  check(avio_closep(&file->pb), "closing");
}

}  // namespace vaultmere
