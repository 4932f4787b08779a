// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string_view>

namespace vaultmere {

/// A step in the pipeline of a file at which tests make something go wrong.
///
/// `step` is the name of the system call ("open", "write", "fsync", "rename",
/// …) or of a moment between two of them ("commit"). The hook returns the
/// errno with which the step shall fail, 0 to let it happen, or doesn't return
/// at all. It may be called from any thread.
using FaultHook = int (*)(std::string_view step, const std::filesystem::path& path);

/// Installs the hook; null, as in a program that nobody tests, removes it.
void setFaultHook(FaultHook hook);

/// Asks the hook, if there is one. Without one this costs a relaxed load.
[[nodiscard]] int faultAt(std::string_view step, const std::filesystem::path& path);

}  // namespace vaultmere
