// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace vaultmere {

[[nodiscard]] bool isAscii(std::string_view text);

/// The text as a search sees it: case, diacritics and compatibility forms make
/// no difference, in any script. "École" gives "ecole", "ﬁ" gives "fi".
/// Invalid UTF-8 counts as U+FFFD; a text of diacritics alone gives "".
[[nodiscard]] std::string foldedText(std::string_view text);

/// Whether `foldedText(text)` contains `foldedTerm`, itself a folded text. An
/// empty term is contained in everything.
[[nodiscard]] bool foldedContains(std::string_view text, std::string_view foldedTerm);

}  // namespace vaultmere
