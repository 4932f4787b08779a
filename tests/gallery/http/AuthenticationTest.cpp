// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "gallery/http/Authentication.h"

namespace vaultmere {
namespace {

TEST(Authentication, LetsInWhoeverKnowsThePassword) {
  struct {
    const char* what;
    const char* password;
    const char* header;  ///< below the first line
    bool expected;
  } const cases[] = {
      {"no password", "", "", true},
      {"no password, any header", "", "Authorization: Digest 1", true},
      {"a user and the password", "secret", "Authorization: Basic YW5uOnNlY3JldA==", true},
      {"no user", "secret", "Authorization: Basic OnNlY3JldA==", true},
      {"no colon", "secret", "Authorization: Basic c2VjcmV0", true},
      {"scheme in capitals", "secret", "AUTHORIZATION: BASIC c2VjcmV0", true},
      {"blanks behind the scheme", "secret", "Authorization: Basic  \t c2VjcmV0 ", true},
      {"the first of two", "secret",
       "Authorization: Basic c2VjcmV0\r\nAuthorization: Basic d3Jvbmc=", true},
      {"a colon in the password", "a:b", "Authorization: Basic YW5uOmE6Yg==", true},
      {"composed and decomposed", "caf\xc3\xa9", "Authorization: Basic OmNhZmXMgQ==", true},
      {"nothing", "secret", "", false},
      {"another header", "secret", "Cookie: Basic c2VjcmV0", false},
      {"an empty header", "secret", "Authorization:", false},
      {"the scheme alone", "secret", "Authorization: Basic", false},
      {"no credentials", "secret", "Authorization: Basic ", false},
      {"empty credentials", "secret", "Authorization: Basic Og==", false},
      {"a tab for the blank", "secret", "Authorization: Basic\tc2VjcmV0", false},
      {"another scheme", "secret", "Authorization: Bearer c2VjcmV0", false},
      {"another password", "secret", "Authorization: Basic d3Jvbmc=", false},
      {"a part of it", "secret", "Authorization: Basic OnNlY3Jl", false},
      {"more than it", "secret", "Authorization: Basic OnNlY3JldHM=", false},
      {"other case", "secret", "Authorization: Basic OlNlY3JldA==", false},
      {"the user's name", "secret", "Authorization: Basic c2VjcmV0Og==", false},
      {"a colon in the password, sent alone", "a:b", "Authorization: Basic YTpi", false},
      {"not padded", "secret", "Authorization: Basic YW5uOnNlY3JldA", false},
      {"unknown characters", "secret", "Authorization: Basic c2Vj cmV0", false},
      {"not UTF-8, but before the colon", "secret", "Authorization: Basic /zpzZWNyZXQ=", false},
      {"only the second of two", "secret",
       "Authorization: Basic d3Jvbmc=\r\nAuthorization: Basic c2VjcmV0", false},
  };
  for (const auto& c : cases) {
    const std::string head = "GET / HTTP/1.1\r\nHost: a\r\n" + std::string(c.header);
    EXPECT_EQ(isAuthorised(head, c.password), c.expected) << c.what;
  }
}

TEST(Authentication, AMegabyteOfCombiningMarksIsRefusedInNoTime) {
  // U+0315 and U+0327 in turn, which sorting by the square would take minutes.
  std::string marks = "GET /\r\nAuthorization: Basic ";
  for (int i = 0; i < 120'000; ++i) {
    marks += "zJXMp8yV";
  }
  EXPECT_FALSE(isAuthorised(marks, "secret"));
}

}  // namespace
}  // namespace vaultmere
