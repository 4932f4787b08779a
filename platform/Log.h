// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string_view>

namespace vaultmere {

/// Writes one line to standard error, in one write: local date and time,
/// "Vaultmere[pid:thread]", a blank, and the text. Line breaks in the text
/// stand as "\n", so that a record never spans two lines. Any thread; never
/// fails, not even when nobody reads standard error any more.
void logLine(std::string_view text);

/// Diverts the texts (without their prefix) to `sink`; an empty function
/// restores standard error. For tests.
void setLogSink(std::function<void(std::string_view)> sink);

}  // namespace vaultmere
