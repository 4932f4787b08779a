// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "tests/support/Painter.h"

namespace vaultmere::bench {

/// Pictures of one kind, each of which is to be told from all others.
struct SampleKind {
  std::string name;
  std::vector<Painter> pictures;
};

/// Some 500 pictures: those that a difference hash is good at, and those that look alike to
/// it. The same in each run.
[[nodiscard]] std::vector<SampleKind> visualSamples();

}  // namespace vaultmere::bench
