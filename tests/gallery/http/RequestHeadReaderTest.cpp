// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "gallery/http/RequestHeadReader.h"

namespace vaultmere {
namespace {

using Result = RequestHeadReader::Result;

struct Outcome {
  Result result = Result::needMore;
  std::string head;
  bool operator==(const Outcome&) const = default;
};

// That the head ends at the blank line however the bytes are cut is checked over
// the cases in fuzz/corpus/request-head.

/// What becomes of the bytes when they come in pieces of this size.
Outcome feedIn(std::string_view bytes, std::size_t size) {
  RequestHeadReader reader;
  Outcome outcome;
  while (!bytes.empty() && outcome.result == Result::needMore) {
    outcome.result = reader.feed(bytes.substr(0, size));
    bytes.remove_prefix(std::min(size, bytes.size()));
  }
  if (outcome.result == Result::complete) {
    outcome.head = reader.takeHead();
  }
  return outcome;
}

TEST(RequestHeadReader, RejectsHeadsAboveTheLimit) {
  constexpr std::size_t limit = RequestHeadReader::kHeadLimit;
  EXPECT_EQ(limit, 1'048'576U);
  const std::string fits = std::string(limit - 4, 'a') + "\r\n\r\n";
  const std::string tooLong = std::string(limit - 3, 'a') + "\r\n\r\n";
  for (const std::size_t piece : {limit * 2, std::size_t{65536}, std::size_t{65537}}) {
    EXPECT_EQ(feedIn(fits, piece).result, Result::complete) << piece;
    EXPECT_EQ(feedIn(fits, piece).head.size(), limit - 4) << piece;
    EXPECT_EQ(feedIn(tooLong, piece).result, Result::drop) << piece;
    EXPECT_EQ(feedIn(std::string(limit - 1, 'a'), piece).result, Result::needMore) << piece;
    EXPECT_EQ(feedIn(std::string(limit, 'a'), piece).result, Result::drop) << piece;
  }
}

TEST(RequestHeadReader, LooksAtEachByteOnce) {
  // One byte at a time, a megabyte would take hours if each were to look at
  // all that came before.
  EXPECT_EQ(feedIn(std::string(RequestHeadReader::kHeadLimit, '\r'), 1).result, Result::drop);
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
