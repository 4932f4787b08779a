// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/DecoderVersion.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <libraw/libraw.h>
#include <vips/vips.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vaultmere {
namespace {

/// libvips loads this library itself, from a module, and doesn't tell its version.
std::string heifVersion() {
  void* const library = ::dlopen("libheif.so.1", RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) {
    return "none";
  }
  using Version = const char* (*)();
  const auto version = reinterpret_cast<Version>(::dlsym(library, "heif_get_version"));
  std::string text = version == nullptr ? "unknown" : version();
  ::dlclose(library);
  return text;
}

}  // namespace

std::string decoderVersion() {
  return fmt::format("vaultmere-{},vips-{}.{}.{},heif-{},raw-{},avformat-{},avcodec-{}",
                     VAULTMERE_VERSION, vips_version(0), vips_version(1), vips_version(2),
                     heifVersion(), LibRaw::version(), avformat_version(), avcodec_version());
}

}  // namespace vaultmere
