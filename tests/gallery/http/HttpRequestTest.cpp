// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "gallery/http/HttpRequest.h"

namespace vaultmere {
namespace {

using Request = std::optional<HttpRequest>;
using Target = std::optional<std::pair<std::string, std::string>>;  // path and query
constexpr auto kDropped = std::nullopt;

TEST(HttpRequest, ReadsPathAndQueryOfTheFirstLine) {
  const struct {
    const char* head;
    Target expected;
  } cases[] = {
      {"GET /\r\nHost: a", {{"/", ""}}},
      {"\r\n\r\nGET / HTTP/1.1\r\nHost: a", {{"/", ""}}},
      {"DELETE  /a  HTTP/9 and so on", {{"/a", ""}}},
      {"  GET /a", {{"/a", ""}}},
      {"GET /A%2fb/../c", {{"/A%2fb/../c", ""}}},
      {"GET http://host/a", {{"http://host/a", ""}}},
      {"GET /caf\xc3\xa9", {{"/caf\xc3\xa9", ""}}},
      {"GET /caf\xe9!", {{"/caf\xef\xbf\xbd!", ""}}},
      {"GET /a\tb\nc", {{"/a\tb\nc", ""}}},
      {"GET ?a?b=c", {{"a", "b=c"}}},
      {"GET /a??b=c", {{"/a", "?b=c"}}},
      {"GET /a?b=c?d", {{"/a", "b=c?d"}}},
      {"", kDropped},
      {"GET ", kDropped},
      {"   ", kDropped},
      {"GET\r\n/a HTTP/1.1", kDropped},
      {"GET\t/a", kDropped},
      {"GET /api/photos?", kDropped},
      {"GET ??", kDropped},
      {"GET ?a=b", kDropped},
      {"GET ?\?/a", kDropped},
  };
  for (const auto& c : cases) {
    const Request request = parseRequest(c.head);
    EXPECT_EQ(request ? Target({request->path, request->query}) : kDropped, c.expected) << c.head;
  }
}

TEST(HttpRequest, ReadsKeysAndValuesOfQueries) {
  struct {
    const char* query;
    HttpQuery expected;
  } const cases[] = {
      {"&&a=1&&b=2&", {{"a", "1"}, {"b", "2"}}},
      {"a=1&a=2&A=3", {{"a", "2"}, {"A", "3"}}},
      {"a=1&a", {{"a", ""}}},
      {"a", {{"a", ""}}},
      {"==a", {{"a", ""}}},
      {"=a=b", {{"a", "b"}}},
      {"a=b=c=", {{"a", "b=c="}}},
      {"==&=", {}},
      {"a=b+c", {{"a", "b+c"}}},
      {"a=b%20c%2B%26%3d", {{"a", "b c+&="}}},
      {"a%20b=1", {{"a%20b", "1"}}},
      {"q=%C3%A9t\xc3\xa9", {{"q", "\xc3\xa9t\xc3\xa9"}}},
      {"q=%E9", {{"q", "%E9"}}},
      {"q=\xe9%20", {{"q", "\xef\xbf\xbd "}}},
      {"q=a%20b%2", {{"q", "a%20b%2"}}},
      {"q=%zz%20", {{"q", "%zz%20"}}},
      {"q=%+1", {{"q", "%+1"}}},
      {"q=%00", {{"q", std::string(1, '\0')}}},
  };
  for (const auto& c : cases) {
    const Request request = parseRequest("GET /?" + std::string(c.query) + " HTTP/1.1");
    ASSERT_TRUE(request) << c.query;
    EXPECT_EQ(parseQuery(request->query), c.expected) << c.query;
  }
}

TEST(HttpRequest, FindsHeadersByName) {
  struct {
    const char* head;
    std::optional<std::string> expected;
  } const cases[] = {
      {"GET /\r\nAuthorization: Basic x", "Basic x"},
      {"GET /\r\naUTHORIZATION: \t x y \t ", "x y"},
      {"GET /\r\nAuthorization:", ""},
      {"GET /\r\nAuthorization: first\r\nauthorization: second", "first"},
      {"\r\n\r\nGET /\r\n\r\nHost: a\r\nAuthorization: x", "x"},
      {"GET /\r\nAuthorization: caf\xe9", "caf\xef\xbf\xbd"},
      {"Authorization: x", std::nullopt},
      {"GET /\r\nAuthorization x", std::nullopt},
      {"GET /\r\nAuthorization : x", std::nullopt},
      {"GET /\r\n Authorization: x", std::nullopt},
      {"GET /\r\nX-Authorization: x", std::nullopt},
      {"GET /\nAuthorization: x", std::nullopt},
      {"GET /\r\nAuthorizatio", std::nullopt},
      {"GET /\r\nHost: x", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parseRequest(c.head)->authorization, c.expected) << c.head;
  }
}

TEST(HttpRequest, ExpectsBodiesByMethodAndHeaders) {
  struct {
    const char* head;
    bool expected;
  } const cases[] = {
      {"GET / HTTP/1.1\r\nHost: a", false},
      {"POST / HTTP/1.1\r\nHost: a", true},
      {"GET / HTTP/1.1\r\ncontent-LENGTH: 5", true},
      {"GET / HTTP/1.1\r\nTransfer-Encoding: chunked", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parseRequest(c.head)->expectsBody, c.expected) << c.head;
  }
}

}  // namespace
}  // namespace vaultmere
