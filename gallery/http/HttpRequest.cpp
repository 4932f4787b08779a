// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/HttpRequest.h"

#include <algorithm>

#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

/// Cuts the next piece that isn't empty off the front of `rest`, with the
/// separator behind it. Empty at the end.
std::string_view nextPiece(std::string_view& rest, std::string_view separator) {
  while (rest.starts_with(separator)) {
    rest.remove_prefix(separator.size());
  }
  const auto end = rest.find(separator);
  const std::string_view piece = rest.substr(0, end);
  rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + separator.size());
  return piece;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

/// The value of a header line with that name, which is given in lower case.
std::optional<std::string_view> valueIn(std::string_view line, std::string_view name) {
  const auto sameLetter = [](char a, char b) {
    return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
  };
  const bool hasName = line.size() > name.size() && line[name.size()] == ':' &&
                       std::equal(name.begin(), name.end(), line.begin(),
                                  [&](char b, char a) { return sameLetter(a, b); });
  return hasName ? std::optional(trimmed(line.substr(name.size() + 1), kWhiteSpace)) : std::nullopt;
}

/// Keeps the line's value if it is the first header of that name.
void takeHeader(std::optional<std::string>& value, std::string_view line, std::string_view name) {
  if (const auto found = value ? std::nullopt : valueIn(line, name)) {
    value = validUtf8(*found);
  }
}

/// Reads path and query. False when the target is to be dropped.
bool takeTarget(HttpRequest& request, std::string_view sent) {
  const std::string target = validUtf8(sent);
  std::string_view rest = target;
  request.path = nextPiece(rest, "?");
  request.query = rest;
  const bool hasQuery = target.find('?') != std::string::npos;
  return !target.empty() && !(hasQuery && rest.empty());
}

}  // namespace

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes.push_back(text[i]);
      continue;
    }
    const int high = i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hexValue(text[i + 2]) : -1;
    if (high < 0 || low < 0) {
      return std::nullopt;
    }
    bytes.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return validUtf8(bytes) == bytes ? std::optional(std::move(bytes)) : std::nullopt;
}

std::size_t HttpRequest::size() const {
  const auto sizeOf = [](const std::optional<std::string>& text) {
    return text ? text->capacity() : 0;
  };
  return sizeof *this + path.capacity() + query.capacity() + sizeOf(host) + sizeOf(authorization);
}

std::optional<HttpRequest> parseRequest(std::string_view head) {
  std::string_view line = nextPiece(head, kLineEnd);
  const std::string_view method = nextPiece(line, " ");
  HttpRequest request;
  if (!takeTarget(request, nextPiece(line, " "))) {
    return std::nullopt;
  }
  request.expectsBody = method != "GET" && method != "HEAD";
  while (!head.empty()) {
    line = nextPiece(head, kLineEnd);
    takeHeader(request.host, line, "host");
    takeHeader(request.authorization, line, "authorization");
    request.expectsBody = request.expectsBody || valueIn(line, "content-length") ||
                          valueIn(line, "transfer-encoding");
  }
  return request;
}

HttpQuery parseQuery(std::string_view text) {
  HttpQuery query;
  while (!text.empty()) {
    std::string_view value = nextPiece(text, "&");
    const std::string_view key = nextPiece(value, "=");
    if (!key.empty()) {
      query.insert_or_assign(std::string(key), percentDecoded(value).value_or(std::string(value)));
    }
  }
  return query;
}

}  // namespace vaultmere
