// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/VideoProperties.h"

#include <cmath>

namespace vaultmere {

int VideoTrack::orientation() const {
  if (std::abs(a) + std::abs(d) >= std::abs(b) + std::abs(c)) {
    return a >= 0 ? (d >= 0 ? 1 : 4) : (d >= 0 ? 2 : 3);
  }
  return b >= 0 ? (c >= 0 ? 5 : 6) : (c >= 0 ? 8 : 7);
}

}  // namespace vaultmere
