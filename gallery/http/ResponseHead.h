// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The heads of all responses, with their blank line. The order of the lines, and
// that there are no others, is part of the gallery's interface: never change.
namespace vaultmere {

/// 200 for files of the page, and for JSON.
[[nodiscard]] std::string okHead(std::string_view type, std::uint64_t length);

/// 200 for pictures: a browser may keep them for a day.
[[nodiscard]] std::string pictureHead(std::string_view type, std::uint64_t length);

/// 404, whole: it has no body.
[[nodiscard]] std::string notFoundResponse();

/// 401, whole.
[[nodiscard]] std::string unauthorisedResponse();

}  // namespace vaultmere
