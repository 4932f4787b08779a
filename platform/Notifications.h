// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

namespace vaultmere {

/// Shows a message to the user; never fails and never blocks for long.
using Notify = std::function<void(const std::string& title, const std::string& body)>;

/// Posts to `org.freedesktop.Notifications` on the session bus, waiting at
/// most a second; silent where there is no bus or no service. Call it off the
/// main thread.
void postDesktopNotification(const std::string& title, const std::string& body);

}  // namespace vaultmere
