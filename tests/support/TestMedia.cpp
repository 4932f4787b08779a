// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/TestMedia.h"

#include <stdexcept>

namespace vaultmere {

MediaPool::Options testMediaOptions() {
  return {.process = {.program = VAULTMERE_MEDIA_PROGRAM}, .idleTimeout = std::chrono::hours(1)};
}

MediaService& testMedia() {
  static MediaService service(testMediaOptions());
  static const auto problem = service.problem();
  return problem ? throw std::runtime_error(*problem) : service;
}

}  // namespace vaultmere
