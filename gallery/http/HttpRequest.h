// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vaultmere {

/// The keys and values of a request's query text.
using HttpQuery = std::map<std::string, std::string, std::less<>>;

/// What the gallery reads of a request, all of it text: bytes that aren't UTF-8
/// stand as U+FFFD. The method is not part of it; every method reads.
struct HttpRequest {
  std::string path;   ///< neither decoded nor normalised
  std::string query;  ///< as sent: `parseQuery` takes many times its memory
  // The first header of each name, without the white space around its value.
  std::optional<std::string> host;
  std::optional<std::string> authorization;
  /// The head announces a body, by its method, a length or a transfer coding. A
  /// body is never used, but has to be read before the connection is closed.
  bool expectsBody = false;

  bool operator==(const HttpRequest&) const = default;

  /// The bytes of memory that it takes.
  [[nodiscard]] std::size_t size() const;
};

/// Reads a head, which is all before its blank line, in one pass. Absent when
/// the connection is to be dropped without a response: no line, no target, or a
/// "?" with nothing on one side.
[[nodiscard]] std::optional<HttpRequest> parseRequest(std::string_view head);

/// The keys as sent, the values percent-decoded; the last of a key wins. Takes
/// many times the text's memory: a head may hold a million keys.
[[nodiscard]] HttpQuery parseQuery(std::string_view text);

/// The text with its %XX sequences as bytes. Absent when a sequence is broken
/// or the result isn't UTF-8.
[[nodiscard]] std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace vaultmere
