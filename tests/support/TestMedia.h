// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "media/MediaService.h"

namespace vaultmere {

/// The program that was built with these tests; its processes stay.
[[nodiscard]] MediaPool::Options testMediaOptions();

/// One service for all tests of a process, and for the processes that a test forks,
/// one at a time: they use the media process that runs already.
[[nodiscard]] MediaService& testMedia();

}  // namespace vaultmere
