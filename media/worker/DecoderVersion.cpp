// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/DecoderVersion.h"

#include <fmt/format.h>
#include <libheif/heif.h>
#include <libraw/libraw.h>
#include <vips/vips.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vaultmere {

std::string decoderVersion() {
  return fmt::format("vaultmere-{},vips-{}.{}.{},heif-{},raw-{},avformat-{},avcodec-{}",
                     VAULTMERE_VERSION, vips_version(0), vips_version(1), vips_version(2),
                     heif_get_version(), LibRaw::version(), avformat_version(), avcodec_version());
}

}  // namespace vaultmere
