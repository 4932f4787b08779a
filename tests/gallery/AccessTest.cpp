// SPDX-License-Identifier: GPL-3.0-or-later
// Who is served: hosts, addresses and passwords.
#include "gallery/http/Authentication.h"
#include "gallery/http/HostFilter.h"
#include "gallery/http/PasswordGuesses.h"
#include "tests/gallery/GalleryFixture.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

using namespace std::chrono_literals;

TEST(HostFilter, AllowsAddressesAndNamesOfLocalNetworksOnly) {
  const HostFilter filter({"Photos.example.org", ""});
  for (const char* host :
       {"", "192.168.1.2", "192.168.1.2:2525", "8.8.8.8", "[fe80::1]", "[::1]:2525", "localhost",
        "LOCALHOST:80", "nas", "nas:1", "nas.local", "a.b.local", "nas.Lan.", "nas.home:2525",
        "nas.home.arpa", "nas.internal", "nas.fritz.box", "photos.EXAMPLE.org:80", "local."}) {
    EXPECT_TRUE(filter.allows(host)) << host;
  }
  for (const char* host : {"example.org", "www.photos.example.org", "localhost.example.org",
                           "192.168.1.2.example.org", "nas.local.example.org", "nas.locale",
                           ".local", "fritz.box", "[::1", "[]", ":80", "1.2.3.4.5", "a.b:c:d"}) {
    EXPECT_FALSE(filter.allows(host)) << host;
  }
  EXPECT_FALSE(filter.allows(std::string(300, 'a')));
}

TEST(PeerAddress, ServesLocalNetworksOnly) {
  const auto networks = [] {
    return std::vector<Network>{{*PeerAddress::parse("203.0.113.64"), 96 + 26},
                                {*PeerAddress::parse("2001:db8:1::"), 64}};
  };
  for (const char* peer : {"127.0.0.1", "127.9.9.9", "10.1.2.3", "172.16.0.1", "172.31.255.255",
                           "192.168.255.1", "169.254.1.1", "::1", "fe80::1", "febf::1", "fd00::1",
                           "203.0.113.64", "203.0.113.127", "2001:db8:1::ffff"}) {
    EXPECT_TRUE(isServedPeer(*PeerAddress::parse(peer), networks)) << peer;
  }
  for (const char* peer : {"8.8.8.8", "172.32.0.1", "172.15.255.255", "192.169.0.1", "11.0.0.1",
                           "128.0.0.1", "203.0.113.63", "203.0.113.128", "::2", "fec0::1",
                           "2001:db8:2::1", "2001:db8:1:1::1", "::"}) {
    EXPECT_FALSE(isServedPeer(*PeerAddress::parse(peer), networks)) << peer;
  }
  EXPECT_EQ(PeerAddress::parse("2001:db8:1:2:3::4")->client().text(), "2001:db8:1:2::");
  EXPECT_EQ(PeerAddress::parse("192.168.1.2")->client().text(), "192.168.1.2");
  EXPECT_FALSE(PeerAddress::parse("1.2.3"));
  const auto own = ownNetworks();
  const auto loopback = Network{*PeerAddress::parse("127.0.0.1"), 96 + 8};
  EXPECT_NE(std::find(own.begin(), own.end(), loopback), own.end());
}

TEST(Password, ReadsBasicCredentials) {
  const std::string umlaut = "p\xc3\xa4ss";  // composed
  const struct {
    const char* name;
    std::string password;
    std::string header;
    bool isAccepted;
  } rows[] = {
      {"with a user", "secret", "Basic bWU6c2VjcmV0", true},
      {"without a user", "secret", "basic OnNlY3JldA==", true},
      {"without a colon", "secret", "BASIC  c2VjcmV0 ", true},
      {"another password", "secret", "Basic bWU6b3RoZXI=", false},
      {"a prefix", "secret", "Basic c2VjcmU=", false},
      {"more than it", "secret", "Basic OnNlY3JldHM=", false},
      {"another case", "secret", "Basic OlNlY3JldA==", false},
      {"not padded", "secret", "Basic YW5uOnNlY3JldA", false},
      {"empty credentials", "secret", "Basic Og==", false},
      {"a user alone", "secret", "Basic c2VjcmV0Og==", false},
      {"with a colon inside", "a:b", "Basic bWU6YTpi", true},
      {"that alone", "a:b", "Basic YTpi", false},
      {"another scheme", "secret", "Bearer c2VjcmV0", false},
      {"no scheme", "secret", "c2VjcmV0", false},
      {"a tab behind the scheme", "secret", "Basic\tc2VjcmV0", false},
      {"no Base64", "secret", "Basic c2Vj*mV0", false},
      {"no UTF-8", "secret", "Basic /////w==", false},
      {"nothing", "secret", "", false},
      {"composed", umlaut, "Basic cMOkc3M=", true},
      {"decomposed", umlaut, "Basic cGHMiHNz", true},
      {"without the mark", umlaut, "Basic cGFzcw==", false},
      {"above the limit", "secret", "Basic bWU6" + std::string(20'000, 'A'), false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Password(row.password).accepts(row.header), row.isAccepted) << row.name;
  }
  EXPECT_TRUE(Password("").accepts("") && !Password("").isRequired());
}

TEST(Password, LeavesLongRunsOfMarksUnsorted) {
  // "a" with an acute accent (U+0301) and a dot below (U+0323): the canonical
  // order has the dot first. Longer runs of marks stay as they are.
  const auto password = [](int accents) {
    std::string text = "a\xcc\xa3";
    for (int i = 0; i < accents; ++i) {
      text += "\xcc\x81";
    }
    return Password(text);
  };
  EXPECT_TRUE(password(1).accepts("Basic YcyBzKM="));  // the dot last
  EXPECT_FALSE(password(32).accepts(
      "Basic YcyBzIHMgcyBzIHMgcyBzIHMgcyBzIHMgcyBzIHMgcyBzIHMgcyBzIHMgcyBzIHMgcyBzI"
      "HMgcyBzIHMgcyBzIHMow=="));
}

TEST(PasswordGuesses, DoublesTheDelayOfAGuessingClient) {
  PasswordGuesses guesses(1s);
  const PeerAddress client = *PeerAddress::parse("192.168.1.2");
  const PeerAddress other = *PeerAddress::parse("192.168.1.3");
  PasswordGuesses::Time now{1h};
  const auto delay = [&](bool isRight) {
    const auto given = guesses.record(client, isRight, now);
    if (given && given->count() > 0) {
      guesses.responded(client);
    }
    return given.value_or(-1ms) / 1s;
  };
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(delay(false), 0) << i;
    EXPECT_EQ(delay(true), i < 9 ? 0 : 1) << i;
  }
  for (const int expected : {1, 2, 4, 8, 16, 30, 30}) {
    EXPECT_EQ(delay(true), expected) << "a right one tells nothing";
    EXPECT_EQ(delay(false), expected);
  }
  EXPECT_EQ(guesses.record(other, false, now), 0ms);
  for (std::size_t i = 0; i < PasswordGuesses::kMaxDelayed; ++i) {
    EXPECT_EQ(guesses.record(client, false, now), 30s);
  }
  EXPECT_EQ(guesses.record(client, false, now), std::nullopt) << "too many wait";
  guesses.responded(client);
  EXPECT_EQ(guesses.record(client, false, now), 30s);
  now += 1min;
  EXPECT_EQ(delay(false), 0) << "a minute later";
  for (int i = 0; i < 30; ++i) {
    now += 7s;
    EXPECT_EQ(delay(false), 0) << "less than ten a minute";
  }
}

class AccessTest : public GalleryFixture {};

TEST_F(AccessTest, RefusesRequestsForForeignHosts) {
  const LogCapture log;
  serve({.hosts = {"photos.example.org"}});
  const auto askFor = [&](const std::string& host) {
    return send("GET /config.js HTTP/1.1\r\nhost:" + host + "\r\n\r\n").substr(9, 3);
  };
  EXPECT_EQ(askFor(" photos.example.org:2525 "), "200");
  EXPECT_EQ(send("GET /config.js HTTP/1.0\r\n\r\n").substr(9, 3), "200") << "without any";
  EXPECT_EQ(log.lines().size(), 0U);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(askFor("attacker.example.com"), "404");
  }
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_TRUE(log.contains("refused a request for the host “attacker.example.com”"));
}

TEST_F(AccessTest, DelaysClientsThatGuessPasswords) {
  const LogCapture log;
  serve({.guessDelay = 1ms}, "secret");
  for (int i = 0; i < 13; ++i) {
    EXPECT_EQ(ask("/config.js"), unauthorisedResponse()) << "without a password";
  }
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ask("/config.js", "Authorization: Basic eA==\r\n"), unauthorisedResponse());
  }
  EXPECT_EQ(log.lines().size(), 0U);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ask("/config.js", "Authorization: Basic eA==\r\n"), unauthorisedResponse());
  }
  EXPECT_TRUE(log.contains("too many wrong passwords from 127.0.0.1"));
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(ask("/config.js", "Authorization: Basic c2VjcmV0\r\n").substr(9, 3), "200");
}

}  // namespace
}  // namespace vaultmere
