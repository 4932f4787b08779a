// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Text.h"

#include <utf8proc.h>

namespace vaultmere {

std::string validUtf8(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    utf8proc_int32_t codePoint = -1;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()),
                                         static_cast<utf8proc_ssize_t>(bytes.size()), &codePoint);
    if (length > 0) {
      text.append(bytes.substr(0, static_cast<std::size_t>(length)));
      bytes.remove_prefix(static_cast<std::size_t>(length));
    } else {
      text.append("\xEF\xBF\xBD");
      bytes.remove_prefix(1);
    }
  }
  return text;
}

std::string displayPath(const std::filesystem::path& path) { return validUtf8(path.native()); }

std::string displayName(const std::filesystem::path& path) {
  return validUtf8(path.filename().native());
}

std::string oneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else {
      line += c;
    }
  }
  return line;
}

std::string asciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return lower;
}

std::string_view trimmed(std::string_view text, std::string_view set) {
  const auto first = text.find_first_not_of(set);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(set) - first + 1);
}

std::string lowerExtension(const std::filesystem::path& path) {
  const std::string extension = path.extension().native();
  return extension.empty() ? extension : asciiLower(std::string_view(extension).substr(1));
}

}  // namespace vaultmere
