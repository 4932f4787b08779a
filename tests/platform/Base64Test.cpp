// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "platform/Base64.h"

namespace vaultmere {
namespace {

TEST(Base64, ReadsWhatIsWellFormed) {
  using namespace std::string_literals;
  struct {
    const char* text;
    std::string bytes;
  } const cases[] = {
      {"", ""},
      {"Zg==", "f"},
      {"Zm8=", "fo"},
      {"Zm9v", "foo"},
      {"Zm9vYg==", "foob"},
      {"AAEC/f7/", "\x00\x01\x02\xfd\xfe\xff"s},
      {"+/+/", "\xfb\xff\xbf"},
      {"Zh==", "f"},  // unused bits are set
  };
  for (const auto& c : cases) {
    EXPECT_EQ(decodeBase64(c.text), c.bytes) << c.text;
  }
}

TEST(Base64, RefusesTheRest) {
  for (const char* text :
       {"Z", "Zg", "Zg=", "Zg===", "=", "====", "Zm9v=", "Z===", "Zg==Zg==", "Zm9=v", "Zm9 v",
        " Zm9v", "Zm9v\n", "Zm9v\r\n", "Zm-_", "Zm9.", "Zm\xc3\xa9"}) {
    EXPECT_EQ(decodeBase64(text), std::nullopt) << text;
  }
  EXPECT_EQ(decodeBase64(std::string_view("Zm\0v", 4)), std::nullopt);
}

}  // namespace
}  // namespace vaultmere
