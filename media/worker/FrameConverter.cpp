// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/FrameConverter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "media/worker/HdrToneMapping.h"
#include "media/worker/RenderImage.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace vaultmere {
namespace {

struct ReleaseScaler {
  void operator()(SwsContext* scaler) const noexcept { sws_freeContext(scaler); }
};
using Scaler = std::unique_ptr<SwsContext, ReleaseScaler>;

/// From here on, pictures that don't name their matrix are BT.709, like those of
/// high-definition television.
constexpr int kHighDefinitionRows = 720;

int matrixOf(const AVFrame& frame) {
  switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
      return SWS_CS_ITU709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      return SWS_CS_ITU601;
    case AVCOL_SPC_SMPTE240M:
      return SWS_CS_SMPTE240M;
    case AVCOL_SPC_FCC:
      return SWS_CS_FCC;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      return SWS_CS_BT2020;
    default:
      return frame.height >= kHighDefinitionRows ? SWS_CS_ITU709 : SWS_CS_ITU601;
  }
}

/// The formats that have their full range in their name go without saying it.
bool isFullRange(const AVFrame& frame) {
  switch (static_cast<AVPixelFormat>(frame.format)) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
      return true;
    default:
      break;
  }
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool isRgb = format != nullptr && (format->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  return isRgb || frame.color_range == AVCOL_RANGE_JPEG;
}

/// Absent for the colours of sRGB, and others that are taken for them.
std::optional<TransferFunction> wideLightOf(const AVFrame& frame) {
  if (frame.color_trc == AVCOL_TRC_ARIB_STD_B67) {
    return TransferFunction::hlg;
  }
  if (frame.color_trc == AVCOL_TRC_SMPTE2084) {
    return TransferFunction::pq;
  }
  return frame.color_primaries == AVCOL_PRI_BT2020 ? std::optional(TransferFunction::standard)
                                                   : std::nullopt;
}

Scaler scalerFor(const AVFrame& frame, int width, int height, AVPixelFormat to) {
  const auto from = static_cast<AVPixelFormat>(frame.format);
  // Where an average can't be taken over so many pixels, one of them must do.
  for (const int method : {SWS_AREA, SWS_POINT}) {
    Scaler scaler(sws_getContext(frame.width, frame.height, from, width, height, to,
                                 method | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr,
                                 nullptr));
    if (scaler) {
      constexpr int kUnchanged = 1 << 16;
      sws_setColorspaceDetails(scaler.get(), sws_getCoefficients(matrixOf(frame)),
                               isFullRange(frame) ? 1 : 0, sws_getCoefficients(SWS_CS_DEFAULT), 1,
                               0, kUnchanged, kUnchanged);
      return scaler;
    }
  }
  return nullptr;
}

/// Red, green and blue of each pixel, scaled, without padding; empty when that
/// fails. The channels have 8 or 16 bits.
template <typename Channel>
std::vector<Channel> scaled(const AVFrame& frame, int width, int height) {
  constexpr bool kWide = sizeof(Channel) == 2;
  const Scaler scaler =
      scalerFor(frame, width, height, kWide ? AV_PIX_FMT_RGB48 : AV_PIX_FMT_RGB24);
  if (!scaler) {
    return {};
  }
  constexpr std::size_t kAlignment = 64;  // of a row, as the scaler's fast ways want it
  const std::size_t row = 3 * static_cast<std::size_t>(width);
  const std::size_t stride = (row + kAlignment - 1) / kAlignment * kAlignment;
  const auto rows = static_cast<std::size_t>(height);
  std::vector<Channel> padded(stride * rows + kAlignment);
  const std::array<std::uint8_t*, 4> planes{reinterpret_cast<std::uint8_t*>(padded.data())};
  const std::array<int, 4> strides{static_cast<int>(stride * sizeof(Channel))};
  if (sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes.data(),
                strides.data()) != height) {
    return {};
  }
  for (std::size_t line = 1; line < rows; ++line) {
    std::copy_n(padded.data() + line * stride, row, padded.data() + line * row);
  }
  padded.resize(row * rows);
  return padded;
}

}  // namespace

std::optional<Bitmap> bitmapOfFrame(const AVFrame& frame, int width, int height, int orientation) {
  const auto light = wideLightOf(frame);
  const std::vector<std::uint8_t> pixels =
      light ? srgbOfWideColours(scaled<std::uint16_t>(frame, width, height), *light)
            : scaled<std::uint8_t>(frame, width, height);
  const VipsImageHandle image = pixels.empty() ? nullptr : imageOver(pixels, width, height, 3);
  return image ? render(image, fitted({width, height}, std::max(width, height), orientation),
                        orientation, Deadline())
               : std::nullopt;
}

}  // namespace vaultmere
