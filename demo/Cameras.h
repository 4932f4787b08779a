// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "demo/Album.h"

// Invented cameras.
namespace vaultmere::demo {

inline constexpr Camera kReflex{"Halden", "Halden H1", "Halden 24-70mm F2.8", "H1 Firmware 1.20"};
inline constexpr Camera kMirrorless{"Norrland", "Norrland N7", "Norrland 50mm F1.8", "N7 v2.00"};
inline constexpr Camera kPhone{"Aurel", "Aurel Phone 12", "Aurel Phone 12 back camera 26mm F1.6",
                               "15.4"};
inline constexpr Camera kCompact{"Kestrel", "Kestrel C100", nullptr, "Ver.1.0"};

}  // namespace vaultmere::demo
