// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vaultmere {

/// The bytes of a base64 text (RFC 4648, section 4). Absent when the text holds
/// any other character, line breaks and blanks included, or isn't padded to a
/// multiple of four. Unused bits before the padding are passed over. An empty
/// text is no bytes.
[[nodiscard]] std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace vaultmere
