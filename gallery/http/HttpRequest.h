// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

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
  std::string query;  ///< as sent

  bool operator==(const HttpRequest&) const = default;
};

/// Reads the first line of a head. Absent when the connection is to be dropped
/// without an answer: no line, no target, or a "?" with nothing on one side.
[[nodiscard]] std::optional<HttpRequest> parseRequest(std::string_view head);

/// The keys as sent, the values percent-decoded; the last of a key wins. Takes
/// many times the text's memory: a head may hold a million keys.
[[nodiscard]] HttpQuery parseQuery(std::string_view text);

/// The value of the first header of that name, which is given in lower case,
/// without the white space around it. Absent when there is none.
[[nodiscard]] std::optional<std::string> headerValue(std::string_view head, std::string_view name);

/// Whether the head lets expect a body: by its method, or by a length or a
/// transfer coding. A body is never read, but its sender has to be borne with.
[[nodiscard]] bool announcesBody(std::string_view head);

/// The text with its %XX sequences as bytes. Absent when a sequence is broken
/// or the result isn't UTF-8.
[[nodiscard]] std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace vaultmere
