// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/CountText.h"

#include <langinfo.h>
#include <locale.h>

#include <string_view>

namespace vaultmere {
namespace {

std::string separatorOfLocale() {
  std::string separator;
  const locale_t locale = ::newlocale(LC_CTYPE_MASK | LC_NUMERIC_MASK, "", nullptr);
  if (locale != nullptr) {
    if (std::string_view(::nl_langinfo_l(CODESET, locale)) == "UTF-8") {
      separator = ::nl_langinfo_l(THOUSEP, locale);
    }
    ::freelocale(locale);
  }
  return separator.empty() ? "," : separator;
}

}  // namespace

std::string groupedCount(std::int64_t count) {
  static const std::string separator = separatorOfLocale();
  return groupedCount(count, separator);
}

std::string groupedCount(std::int64_t count, std::string_view separator) {
  constexpr std::size_t group = 3;
  const std::string digits = std::to_string(count);
  const std::size_t sign = count < 0 ? 1 : 0;
  std::string text = digits.substr(0, sign);
  for (std::size_t i = sign; i < digits.size(); ++i) {
    if (i > sign && (digits.size() - i) % group == 0) {
      text += separator;
    }
    text += digits[i];
  }
  return text;
}

}  // namespace vaultmere
