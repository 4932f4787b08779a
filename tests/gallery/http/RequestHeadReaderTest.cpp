// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "gallery/http/RequestHeadReader.h"

namespace vaultmere {
namespace {

using Result = RequestHeadReader::Result;

// That the head ends at the blank line however the bytes are cut is checked over
// the cases in fuzz/corpus/request-head.

TEST(RequestHeadReader, RejectsHeadsAboveTheLimit) {
  constexpr std::size_t limit = RequestHeadReader::kHeadLimit;
  EXPECT_EQ(limit, 1'048'576U);
  const struct {
    const char* name;
    std::string bytes;
    Result expected;
  } rows[] = {
      {"as long as allowed", std::string(limit - 4, '\r') + "\r\n\r\n", Result::complete},
      {"one byte more", std::string(limit - 3, '\r') + "\r\n\r\n", Result::drop},
      {"unfinished below the limit", std::string(limit - 1, '\r'), Result::needMore},
      {"unfinished at the limit", std::string(limit, '\r'), Result::drop},
  };
  // One byte at a time, a megabyte would take hours if each were to look at
  // all that came before.
  for (const std::size_t piece :
       {limit * 2, std::size_t{65536}, std::size_t{65537}, std::size_t{1}}) {
    for (const auto& row : rows) {
      RequestHeadReader reader;
      Result result = Result::needMore;
      for (std::size_t at = 0; at < row.bytes.size() && result == Result::needMore; at += piece) {
        result = reader.feed(std::string_view(row.bytes).substr(at, piece));
      }
      EXPECT_EQ(result, row.expected) << row.name << " in pieces of " << piece;
    }
  }
}

TEST(RequestHeadReader, CountsWhatItHolds) {
  RequestHeadReader reader;
  EXPECT_EQ(reader.held(), 0U);
  EXPECT_EQ(reader.feed(std::string(5000, 'a')), Result::needMore);
  EXPECT_GE(reader.held(), 5000U);
  EXPECT_EQ(reader.feed("\r\n\r\n"), Result::complete);
  EXPECT_EQ(reader.takeHead().size(), 5000U);
  EXPECT_EQ(reader.held(), 0U);
}

}  // namespace
}  // namespace vaultmere
