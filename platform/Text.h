// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vaultmere {

/// The text as valid UTF-8: each byte that belongs to no code point becomes
/// U+FFFD. File names are bytes; rows, logs and screens hold text.
std::string validUtf8(std::string_view bytes);

/// A whole path as text, see `validUtf8`.
std::string displayPath(const std::filesystem::path& path);

/// The last path component as text, see `validUtf8`.
std::string displayName(const std::filesystem::path& path);

/// The text on one line: a line break stands as "\n", a carriage return as "\r".
std::string oneLine(std::string_view text);

/// ASCII letters in lower case, all other bytes as they are.
std::string asciiLower(std::string_view text);

inline constexpr std::string_view kWhiteSpace = " \t\r\n\v\f";

/// Without leading and trailing characters of `set`.
std::string_view trimmed(std::string_view text, std::string_view set);

/// The lower-cased extension without its dot; empty when there is none.
/// "a.JPG" gives "jpg"; ".hidden" and "plain" give "".
std::string lowerExtension(const std::filesystem::path& path);

}  // namespace vaultmere
