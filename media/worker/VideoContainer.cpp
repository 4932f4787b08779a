// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/VideoContainer.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <string>
#include <string_view>

#include "media/worker/ImageDecoder.h"
#include "media/worker/VideoFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
}

namespace vaultmere {

const char* const kVideoDecoders =
    "h264,hevc,libdav1d,av1,vp8,vp9,mpeg4,h263,h263p,mpeg1video,mpeg2video,mpegvideo,mjpeg,mjpegb,"
    "msmpeg4v1,msmpeg4v2,msmpeg4,wmv1,wmv2,flv,svq1,svq3,dvvideo,prores,dnxhd,cfhd,ffv1,huffyuv,"
    "ffvhuff,jpeg2000,png,rawvideo,theora,cinepak,indeo3,indeo5,qtrle,rpza,smc,msrle,msvideo1,"
    "aac,aac_latm,ac3,eac3,mp1float,mp1,mp2float,mp2,mp3float,mp3,opus,vorbis,flac,alac,amrnb,"
    "amrwb,pcm_s16le,pcm_s16be,pcm_s24le,pcm_s24be,pcm_u8,pcm_alaw,pcm_mulaw,adpcm_ms,"
    "adpcm_ima_wav,adpcm_ima_qt,dca";

namespace {

/// What a real file has at most: dozens of subtitles and sounds.
constexpr const char* kMaxStreams = "64";
constexpr const char* kContainers = "mov,mp4,m4a,3gp,3g2,mj2,avi,mpeg,mpegts,matroska,webm";

/// How much is looked at when a container doesn't say what it holds.
constexpr const char* kProbeBytes = "5000000";
constexpr const char* kProbeMicroseconds = "5000000";

/// What a header may take to read; that of a whole day's video is around 100 MB.
constexpr std::int64_t kMaxHeaderBytes = std::int64_t{256} << 20;

constexpr int kBufferBytes = 64 * 1024;

void prepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    av_log_set_callback([](void*, int, const char*, va_list) {});
    av_max_alloc(static_cast<std::size_t>(kMaxDecodeBytes));  // for one block
  });
}

/// Coded sizes are whole blocks of 16 pixels, of which a track shows a part.
constexpr double kMaxAspectDifference = 0.03;
constexpr double kMinDisplayShare = 0.1;

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

bool isUsable(AVRational ratio) {
  constexpr double kMax = 10;
  const double value = av_q2d(ratio);  // NaN for 0:0
  return value >= 1 / kMax && value <= kMax;
}

}  // namespace

void VideoRelease::operator()(AVCodecContext* context) const noexcept {
  avcodec_free_context(&context);
}
void VideoRelease::operator()(AVFormatContext* context) const noexcept {
  avformat_close_input(&context);
}
void VideoRelease::operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
void VideoRelease::operator()(AVIOContext* context) const noexcept {
  av_freep(&context->buffer);  // the library may have put another in its place
  avio_context_free(&context);
}
void VideoRelease::operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }

/// The file as the library reads it.
struct VideoContainer::Bytes {
  const File& file;
  std::int64_t size;
  std::int64_t position = 0;
  std::int64_t budget = kMaxHeaderBytes;
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::now() + kMaxVideoTime;

  explicit Bytes(const File& theFile) : file(theFile), size(file.status().stamp.size) {}

  [[nodiscard]] bool isOverdue() const { return std::chrono::steady_clock::now() > deadline; }

  static int read(void* opaque, std::uint8_t* buffer, int count) {
    Bytes& self = *static_cast<Bytes*>(opaque);
    if (self.isOverdue() || self.budget <= 0) {
      return AVERROR_EXIT;
    }
    ssize_t got = -1;
    do {
      got = ::pread(self.file.descriptor(), buffer, static_cast<std::size_t>(count), self.position);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) {
      return got < 0 ? AVERROR(errno) : AVERROR_EOF;
    }
    self.position += got;
    self.budget -= got;
    return static_cast<int>(got);
  }

  static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
    Bytes& self = *static_cast<Bytes*>(opaque);
    std::int64_t from = 0;
    switch (whence & ~AVSEEK_FORCE) {
      case AVSEEK_SIZE:
        return self.size;
      case SEEK_SET:
        break;
      case SEEK_CUR:
        from = self.position;
        break;
      case SEEK_END:
        from = self.size;
        break;
      default:
        return AVERROR(EINVAL);
    }
    if (offset < -from || offset > std::numeric_limits<std::int64_t>::max() - from) {
      return AVERROR(EINVAL);
    }
    return self.position = from + offset;
  }
};

VideoContainer::VideoContainer(const File& file) : bytes_(std::make_unique<Bytes>(file)) {}

VideoContainer::~VideoContainer() = default;

std::unique_ptr<VideoContainer> VideoContainer::open(const File& file) {
  prepareLibrary();
  std::unique_ptr<VideoContainer> container(new VideoContainer(file));
  container->boxes_ = readIsoBmffItems(file);
  if (container->boxes_.absurd || !container->openFormat()) {
    return nullptr;
  }
  return container;
}

bool VideoContainer::openFormat() {
  auto* buffer = static_cast<std::uint8_t*>(av_malloc(kBufferBytes));
  AVIOContext* input = buffer == nullptr ? nullptr
                                         : avio_alloc_context(buffer, kBufferBytes, 0, bytes_.get(),
                                                              &Bytes::read, nullptr, &Bytes::seek);
  if (input == nullptr) {
    av_free(buffer);
    return false;
  }
  input_.reset(input);
  AVFormatContext* format = avformat_alloc_context();
  if (format == nullptr) {
    return false;
  }
  format->pb = input;
  format->io_open = &refuseToOpen;
  format->interrupt_callback = {
      [](void* opaque) { return static_cast<const Bytes*>(opaque)->isOverdue() ? 1 : 0; },
      bytes_.get()};
  AVDictionary* options = nullptr;
  constexpr std::array<std::array<const char*, 2>, 5> kOptions{
      {{"format_whitelist", kContainers},
       {"codec_whitelist", nullptr},
       {"max_streams", kMaxStreams},
       {"probesize", kProbeBytes},
       {"analyzeduration", kProbeMicroseconds}}};
  for (const auto& [name, value] : kOptions) {
    av_dict_set(&options, name, value == nullptr ? kVideoDecoders : value, 0);
  }
  const int opened = avformat_open_input(&format, "", nullptr, &options);  // frees on failure
  av_dict_free(&options);
  if (opened < 0) {
    return false;
  }
  format_.reset(format);
  if (needsProbing()) {
    static_cast<void>(avformat_find_stream_info(format, nullptr));  // what it found is there
  }
  bytes_->budget = std::numeric_limits<std::int64_t>::max();
  return true;
}

/// The two families of today say everything in their header, if they are whole.
bool VideoContainer::needsProbing() const {
  if ((!isMovie() && !isMatroska()) || format_->duration == AV_NOPTS_VALUE ||
      format_->duration <= 0) {
    return true;
  }
  const AVStream* stream = videoStream();
  return stream != nullptr && (stream->codecpar->width <= 0 || stream->codecpar->height <= 0);
}

bool VideoContainer::isMovie() const {
  return std::string_view(format_->iformat->name).starts_with("mov");
}

bool VideoContainer::isMatroska() const {
  return std::string_view(format_->iformat->name).starts_with("matroska");
}

AVStream* VideoContainer::videoStream() const {
  for (unsigned i = 0; i < format_->nb_streams; ++i) {
    AVStream* stream = format_->streams[i];
    if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
        (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) == 0) {
      return stream;
    }
  }
  return nullptr;
}

double VideoContainer::pixelWidth() const {
  AVStream* stream = videoStream();
  if (stream == nullptr) {
    return 1;
  }
  const AVRational shape = av_guess_sample_aspect_ratio(format_.get(), stream, nullptr);
  return isUsable(shape) ? av_q2d(shape) : 1;
}

/// What the track's header says, unless it gives the coded size of pixels that
/// aren't square.
std::optional<IsoBmffItems::DisplaySize> VideoContainer::displaySize(const AVStream& stream) const {
  const double width = stream.codecpar->width;
  const double height = stream.codecpar->height;
  const double shape = pixelWidth();
  for (const IsoBmffItems::DisplaySize& size : boxes_.displaySizes) {
    if (stream.id >= 0 && size.track == static_cast<std::uint64_t>(stream.id)) {
      const double aspect = (size.width / size.height) / (width * shape / height);
      const bool isPossible = std::abs(aspect - 1) <= kMaxAspectDifference &&
                              size.width >= width * kMinDisplayShare &&
                              size.width <= width / kMinDisplayShare;
      return isPossible ? std::optional(size) : std::nullopt;
    }
  }
  return std::nullopt;
}

std::optional<VideoTrack> VideoContainer::track() const {
  AVStream* stream = videoStream();
  if (stream == nullptr || stream->codecpar->width <= 0 || stream->codecpar->height <= 0) {
    return std::nullopt;
  }
  VideoTrack track;
  track.width = stream->codecpar->width;
  track.height = stream->codecpar->height;
  std::size_t size = 0;
  const std::uint8_t* data = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (std::array<std::int32_t, 9> matrix{}; data != nullptr && size >= sizeof matrix) {
    std::memcpy(matrix.data(), data, sizeof matrix);
    constexpr double kOne = 65536;
    track.a = matrix[0] / kOne;
    track.b = matrix[1] / kOne;
    track.c = matrix[3] / kOne;
    track.d = matrix[4] / kOne;
  }
  if (const auto display = displaySize(*stream)) {
    track.width = display->width;
    track.height = display->height;
    return track;
  }
  // Out of a matrix that stretches the picture the library makes a pixel's width.
  const double stretch = std::hypot(track.a, track.c) / std::hypot(track.b, track.d);
  if (std::abs(stretch - 1) <= 0.01) {
    track.width *= pixelWidth();
  }
  return track;
}

bool VideoContainer::isOverdue() const { return bytes_->isOverdue(); }

}  // namespace vaultmere
