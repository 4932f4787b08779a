// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "gallery/http/RequestHeadReader.h"

namespace vaultmere {
namespace {

using Result = RequestHeadReader::Result;

struct Outcome {
  Result result = Result::needMore;
  std::string head;
  bool operator==(const Outcome&) const = default;
};

/// What becomes of the bytes when they come in these pieces.
Outcome feedIn(std::string_view bytes, const std::vector<std::size_t>& sizes) {
  RequestHeadReader parser;
  Outcome outcome;
  for (std::size_t i = 0; !bytes.empty() && outcome.result == Result::needMore; ++i) {
    const std::string_view piece =
        bytes.substr(0, std::max<std::size_t>(1, sizes[i % sizes.size()]));
    bytes.remove_prefix(piece.size());
    outcome.result = parser.feed(piece);
  }
  if (outcome.result == Result::complete) {
    outcome.head = parser.takeHead();
  }
  return outcome;
}

TEST(RequestHeadReader, EndsAtTheBlankLineHoweverTheBytesAreCut) {
  struct {
    const char* bytes;
    Outcome expected;
  } const cases[] = {
      {"GET / HTTP/1.1\r\nHost: a\r\n\r\n", {Result::complete, "GET / HTTP/1.1\r\nHost: a"}},
      {"GET /\r\n\r\nbody\r\n\r\n", {Result::complete, "GET /"}},
      {"\r\n\r\nGET /\r\n\r\n", {Result::complete, ""}},
      {"a\r\r\n\r\n", {Result::complete, "a\r"}},
      {"a\r\n\r\r\n\r\n", {Result::complete, "a\r\n\r"}},
      {"a\n\nb\r\nc\r\n", {Result::needMore, ""}},
      {"a\r\n\r", {Result::needMore, ""}},
  };
  for (const auto& c : cases) {
    const std::string_view bytes = c.bytes;
    EXPECT_EQ(feedIn(bytes, {bytes.size()}), c.expected) << bytes;
    EXPECT_EQ(feedIn(bytes, {1}), c.expected) << bytes;
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
      EXPECT_EQ(feedIn(bytes, {cut, bytes.size()}), c.expected) << bytes << " cut at " << cut;
    }
  }
}

TEST(RequestHeadReader, ALongHeadMayJustReachTheLimit) {
  constexpr std::size_t limit = RequestHeadReader::kHeadLimit;
  EXPECT_EQ(limit, 1'048'576U);
  const std::string fits = std::string(limit - 4, 'a') + "\r\n\r\n";
  const std::string tooLong = std::string(limit - 3, 'a') + "\r\n\r\n";
  for (const std::size_t piece : {limit * 2, std::size_t{65536}, std::size_t{65537}}) {
    EXPECT_EQ(feedIn(fits, {piece}).result, Result::complete) << piece;
    EXPECT_EQ(feedIn(fits, {piece}).head.size(), limit - 4) << piece;
    EXPECT_EQ(feedIn(tooLong, {piece}).result, Result::drop) << piece;
    EXPECT_EQ(feedIn(std::string(limit - 1, 'a'), {piece}).result, Result::needMore) << piece;
    EXPECT_EQ(feedIn(std::string(limit, 'a'), {piece}).result, Result::drop) << piece;
  }
}

TEST(RequestHeadReader, RandomBytesCutAtRandomGiveTheSame) {
  std::mt19937 random(20240607);
  const std::string_view letters = "\r\n\r\n\r\na:";
  for (int round = 0; round < 5000; ++round) {
    std::string bytes(random() % 40, ' ');
    std::generate(bytes.begin(), bytes.end(), [&] { return letters[random() % letters.size()]; });
    const std::vector<std::size_t> sizes{random() % 5, random() % 5, random() % 5};
    const auto end = bytes.find("\r\n\r\n");
    const Outcome expected =
        end == std::string::npos ? Outcome{} : Outcome{Result::complete, bytes.substr(0, end)};
    ASSERT_EQ(feedIn(bytes, sizes), expected) << testing::PrintToString(bytes);
  }
}

TEST(RequestHeadReader, ManySmallPiecesCostNoMoreThanTheirBytes) {
  // One byte at a time, a megabyte would take hours if each were to look at
  // all that came before.
  EXPECT_EQ(feedIn(std::string(RequestHeadReader::kHeadLimit, '\r'), {1}).result, Result::drop);
}

TEST(RequestHeadReader, HoldsNothingBeforeAndAfter) {
  RequestHeadReader parser;
  EXPECT_EQ(parser.held(), 0U);
  EXPECT_EQ(parser.feed(std::string(5000, 'a')), Result::needMore);
  EXPECT_GE(parser.held(), 5000U);
  EXPECT_EQ(parser.feed("\r\n\r\n"), Result::complete);
  EXPECT_EQ(parser.takeHead().size(), 5000U);
  EXPECT_EQ(parser.held(), 0U);
}

}  // namespace
}  // namespace vaultmere
