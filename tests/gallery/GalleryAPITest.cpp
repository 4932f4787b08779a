// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "catalog/CatalogError.h"
#include "catalog/PhotoSchema.h"
#include "gallery/GalleryAPI.h"
#include "gallery/PhotoDTOs.h"
#include "platform/Calendar.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using nlohmann::json;
using Strings = std::vector<std::string>;

CatalogDate at(int year, int month, int day, int hour) {
  return CatalogDate::of(*secondsOfLocalTime({year, month, day, hour, 0, 0}));
}

Photo photo(const std::string& id) {
  Photo photo;
  photo.id = id;
  photo.originalFilename = id + ".jpg";
  photo.ext = ".jpg";
  return photo;
}

/// A store, the queries of it, and another connection that writes to it.
class GalleryAPITest : public testing::Test {
 protected:
  GalleryAPITest() { prepareSchema(writer_); }

  void add(const Photo& photo, const Strings& tags = {}, const Strings& labels = {}) {
    const std::int64_t key = insertPhoto(writer_, photo);
    for (const std::string& tag : tags) {
      link("INSERT OR IGNORE INTO Tag (name) VALUES (?)", tag, 0);
      link("INSERT INTO Photo_tags SELECT ?2, pk FROM Tag WHERE name = ?1", tag, key);
    }
    for (const std::string& label : labels) {
      link("INSERT OR IGNORE INTO Label (name) VALUES (?)", label, 0);
      link("INSERT INTO Photo_labels SELECT ?2, pk FROM Label WHERE name = ?1", label, key);
    }
  }

  template <typename Change>
  void addWith(const std::string& id, Change&& change, const Strings& tags = {},
               const Strings& labels = {}) {
    Photo changed = photo(id);
    change(changed);
    add(changed, tags, labels);
  }

  json list(const std::string& query) {
    const auto text = api_.photos(parseQuery("page=1&" + query));
    return text ? json::parse(*text) : json("dropped");
  }

  Strings ids(const std::string& query) {
    Strings found;
    const json page = list(query);
    for (const json& item : page.at("items")) {
      found.push_back(item.at("id"));
    }
    EXPECT_EQ(page.at("total"), found.size()) << query;
    return found;
  }

  TemporaryFolder folder_;
  Connection writer_{folder_ / "store.sqlite"};
  Connection connection_{folder_ / "store.sqlite"};
  CountCache counts_;
  GalleryAPI api_{[this](const GalleryAPI::Query& query) {
    try {
      CatalogReader reader{connection_, counts_};
      query(reader);
      return true;
    } catch (const CatalogError&) {
      return false;
    }
  }};

 private:
  void link(const char* sql, const std::string& name, std::int64_t key) {
    auto statement = writer_.prepare(sql);
    statement.bind(1, std::string_view(name));
    if (key != 0) {
      statement.bind(2, key);
    }
    statement.step();
  }
};

TEST_F(GalleryAPITest, WritesWholeRecords) {
  Photo full = photo("full");
  full.mediaType = "live_photo";
  full.originalFilename = "quote\" \xc3\xa9 \xff.jpg";
  full.captureDate = CatalogDate{at(2021, 3, 4, 12).seconds + 0.9};
  full.processedAt = at(2022, 1, 2, 3);
  full.width = 4000;
  full.height = 3000;
  full.favorite = full.edited = true;
  full.placeName = "Mole";
  full.placeCity = "Turin";
  full.placeCountry = "Italy";
  full.cameraMake = "Make";
  full.cameraModel = "Model";
  full.aestheticScore = 0.1;
  full.avgHex = "#0a141e";
  full.avgR = 10;
  full.avgG = 20;
  full.avgB = 30;
  full.sizeBytes = 5'000'000'000;
  full.gpsLat = -45.0703000000000031;
  full.gpsLon = 7.6868999999999996;
  full.targetPath = "2021/03/full.jpg";
  add(full, {"b", "a", "\xc3\xa9", "Z"}, {"sky", "dog"});
  EXPECT_EQ(*api_.photos({}),
            R"({"total":1,"page":1,"page_size":60,"items":[{"id":"full",)"
            "\"original_filename\":\"quote\\\" \xc3\xa9 \xef\xbf\xbd.jpg\","
            R"("media_type":"live_photo","capture_date":"2021-03-04T12:00:00",)"
            R"("dimensions":{"width":4000,"height":3000},"favorite":true,"edited":true,)"
            R"("place":{"name":"Mole","city":"Turin","country":"Italy"},)"
            R"("camera":{"make":"Make","model":"Model"},)"
            "\"tags\":[\"Z\",\"a\",\"b\",\"\xc3\xa9\"],"
            R"("ml_labels":["dog","sky"],"aesthetic_score":0.1,)"
            R"("average_color":{"hex":"#0a141e","rgb":[10,20,30]},"size_bytes":5000000000,)"
            R"("gps":{"lat":-45.0703,"lon":7.6869},"extension":".jpg",)"
            R"("target_path":"2021/03/full.jpg","processed_at":"2022-01-02T03:00:00"}]})");
}

TEST_F(GalleryAPITest, LeavesOutAbsentValues) {
  Photo bare = photo("bare");
  bare.avgHex = "#0a141e";
  bare.avgR = bare.avgG = 10;
  bare.gpsLat = 45;
  add(bare);
  EXPECT_EQ(*api_.photos({}),
            R"({"total":1,"page":1,"page_size":60,"items":[{"id":"bare",)"
            R"("original_filename":"bare.jpg","media_type":"image","dimensions":{},)"
            R"("favorite":false,"edited":false,"place":{},"camera":{},"tags":[],"ml_labels":[],)"
            R"("size_bytes":0,"extension":".jpg","target_path":""}]})");
}

TEST_F(GalleryAPITest, FiltersByEachKey) {
  add(photo("plain"));
  add(photo("linked"), {"Rome", "x"}, {"dog"});
  addWith("noon", [](Photo& p) {
    p.captureDate = at(2021, 3, 4, 12);
    p.year = 2021;
  });
  addWith("midnight", [](Photo& p) {
    p.captureDate = at(2021, 3, 4, 0);
    p.year = 2021;
  });
  addWith("camera", [](Photo& p) { p.cameraModel = "X"; });
  addWith("video", [](Photo& p) {
    p.mediaType = "video";
    p.ext = ".mov";
    p.sizeBytes = 600'000;
  });
  addWith("fine", [](Photo& p) {
    p.favorite = true;
    p.colorFamily = "Red";
    p.placeCountry = "Italy";
    p.caption =
        "\xc3\x89"
        "cole at night";
  });
  addWith("trashed", [](Photo& p) { p.trashedAt = CatalogDate{1}; });
  addWith("stacked", [](Photo& p) { p.stackedUnder = "plain"; });
  const Strings all{"camera", "fine", "linked", "midnight", "noon", "plain", "video"};
  const Strings dated{"midnight", "noon"};
  const Strings others{"camera", "linked", "midnight", "noon", "plain", "video"};
  struct {
    const char* query;
    Strings expected;
  } const cases[] = {
      {"", all},
      {"Year=2021&unknown=1", all},
      {"year=2021", dated},
      {"year=%2B2021", dated},
      {"year=2021x", all},
      {"year=99999999999", {}},
      {"year=99999999999999999999", all},
      {"year=1999&date_from=bad", all},
      {"date_from=2021-03-04", dated},
      {"date_from=2021-3-4", dated},
      {"date_from=2021-03-05", {}},
      {"date_from=2021-02-30", all},
      {"date_from=2021-03", all},
      {"date_from= 2021-03-04", all},
      {"date_to=2021-03-05", dated},
      {"date_from=2021-03-04&date_to=2021-03-04", {"midnight"}},
      {"date_before=2021-03-04", {}},
      {"date_before=2021-03-05&year=1999", dated},
      {"tag=Rome", {"linked"}},
      {"tag=rome", {}},
      {"tag=", {}},
      {"label=dog", {"linked"}},
      {"place=Italy", {"fine"}},
      {"media_type=video", {"video"}},
      {"ext=.mov", {"video"}},
      {"ext=mov", {}},
      {"camera=X", {"camera"}},
      {"no_camera=true&camera=X", {"fine", "linked", "midnight", "noon", "plain", "video"}},
      {"no_camera=yes&camera=X", {"camera"}},
      {"favorite=1", {"fine"}},
      {"favorite=TRUE", others},
      {"favorite=", others},
      {"color=Red", {"fine"}},
      {"size=500%20KB%E2%80%931%20MB", {"video"}},
      {"size=huge", all},
      {"q=ecole", {"fine"}},
      {"q=.JPG&media_type=video", {"video"}},
      {"q=", all},
      {"q=%20", {"fine"}},
      {"q=Rome&label=dog&tag=x", {"linked"}},
  };
  for (const auto& c : cases) {
    Strings found = ids(c.query);
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, c.expected) << c.query;
  }
}

TEST_F(GalleryAPITest, ClampsPagesAndCoversTheList) {
  for (int i = 0; i < 205; ++i) {
    addWith(std::to_string(1000 + i), [&](Photo& p) {
      p.processedAt = CatalogDate{double(i / 10)};
      p.captureDate = CatalogDate{double(-i / 20)};
    });
  }
  struct {
    const char* query;
    std::int64_t page;
    std::int64_t size;
    std::size_t items;
  } const cases[] = {
      {"", 1, 60, 60},
      {"page=4", 4, 60, 25},
      {"page=5", 5, 60, 0},
      {"page=%2B2&page_size=100", 2, 100, 100},
      {"page_size=1000", 1, 200, 200},
      {"page_size=0", 1, 1, 1},
      {"page_size=abc", 1, 60, 60},
      {"page=0", 1, 60, 60},
      {"page=2.5", 1, 60, 60},
      {"page=%202", 1, 60, 60},
      {"page=99999999999999999999", 1, 60, 60},
      {"page=9223372036854775807&page_size=1", 9223372036854775807, 1, 0},
      {"page=153722867280912931", 153722867280912931, 60, 0},
  };
  for (const auto& c : cases) {
    const json page = list(c.query);
    EXPECT_EQ(page.at("total"), 205) << c.query;
    EXPECT_EQ(page.at("page"), c.page) << c.query;
    EXPECT_EQ(page.at("page_size"), c.size) << c.query;
    EXPECT_EQ(page.at("items").size(), c.items) << c.query;
  }
  EXPECT_EQ(list("page=153722867280912932"), "dropped");
  EXPECT_EQ(list("page=9223372036854775807&page_size=2"), "dropped");
  for (const char* sort : {"added", "oldest", "newest", "whatever"}) {
    Strings seen;
    for (int number = 1; number <= 5; ++number) {
      const json page =
          list("page_size=50&sort=" + std::string(sort) + "&page=" + std::to_string(number));
      for (const json& item : page.at("items")) {
        seen.push_back(item.at("id"));
      }
    }
    const bool startsOld = std::string_view(sort) != "added";
    EXPECT_EQ(seen.front() < seen.back(), startsOld == (std::string_view(sort) != "oldest"))
        << sort;
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end()) << sort;
    EXPECT_EQ(seen.size(), 205U) << sort;
  }
}

TEST_F(GalleryAPITest, CountsAgainAfterEveryCommit) {
  EXPECT_EQ(list("").at("total"), 0);
  for (int i = 1; i <= 5; ++i) {
    add(photo(std::to_string(i)));
    EXPECT_EQ(list("").at("total"), i);
    EXPECT_EQ(list("").at("total"), i);
    EXPECT_EQ(list("favorite=1").at("total"), 0);
  }
}

TEST_F(GalleryAPITest, ListsKnownColoursAndPlaces) {
  addWith("a", [](Photo& p) {
    p.avgHex = "#000001";
    p.gpsLat = 45.1;
    p.gpsLon = -7.25;
  });
  addWith("b\"", [](Photo& p) {
    p.avgHex = "#000002";
    p.favorite = true;
    p.gpsLat = 0.1 + 0.2;
    p.gpsLon = 1e-7;
  });
  addWith("half", [](Photo& p) { p.gpsLat = 1; });
  addWith("trashed", [](Photo& p) {
    p.avgHex = "#000003";
    p.trashedAt = CatalogDate{1};
  });
  EXPECT_EQ(api_.colours({{"favorite", "1"}}), R"([{"id":"b\"","hex":"#000002"}])");
  EXPECT_EQ(json::parse(api_.colours({})).size(), 2U);
  EXPECT_EQ(api_.geo({{"favorite", "0"}}),
            R"({"type":"FeatureCollection","features":[{"type":"Feature","geometry":)"
            R"({"type":"Point","coordinates":[-7.25,45.1]},"properties":{"id":"a"}}]})");
  const json both = json::parse(api_.geo({})).at("features");
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(both[1].at("geometry").at("coordinates"), (json{1e-7, 0.1 + 0.2}));
  EXPECT_EQ(both[1].at("properties").at("id"), "b\"");
}

TEST_F(GalleryAPITest, GivesEmptyDocumentsForEmptyAndFailingStores) {
  for (const bool isFailing : {false, true}) {
    if (isFailing) {
      add(photo("a"));
      writer_.execute("DROP TABLE Photo");
    }
    EXPECT_EQ(*api_.photos({}), R"({"total":0,"page":1,"page_size":60,"items":[]})");
    EXPECT_EQ(api_.colours({}), "[]");
    EXPECT_EQ(api_.geo({}), R"({"type":"FeatureCollection","features":[]})");
    const auto stats = api_.stats();
    EXPECT_EQ(stats.isComplete, !isFailing) << "or it would be kept";
    EXPECT_EQ(stats.json,
              R"({"totals":{"total":0,"favorites":0,"edited":0},"by_year":[],"by_media":[],)"
              R"("by_format":[],"top_albums":[],"top_labels":[],"top_places":[],"cameras":[],)"
              R"("no_camera":0,"by_size":[],"colors":[],"color_split":{"color":0,"bw":0}})");
  }
}

TEST_F(GalleryAPITest, CountsTheShownPhotos) {
  const auto coloured = [](Photo& p, const char* family, int red, int year) {
    p.avgHex = "#000000";
    p.avgR = red;
    p.avgG = p.avgB = 255;
    p.colorFamily = family;
    p.year = year;
  };
  addWith("a", [&](Photo& p) {
    coloured(p, "Blue", 0, 2020);
    p.favorite = p.edited = true;
    p.cameraModel = "X";
    p.placeCountry = "Italy";
    p.sizeBytes = 60'000'000;
  });
  const auto video = [&](Photo& p) {
    coloured(p, "Red", 1, 999);
    p.mediaType = "video";
    p.ext = ".mov";
  };
  addWith("b", video, {"one", "two"}, {"dog"});
  const auto otherVideo = [&](Photo& p) {
    coloured(p, "Blue", 1, 2020);
    p.mediaType = "video";
  };
  addWith("c", otherVideo, {"two"});
  addWith("grey", [](Photo& p) {
    p.avgHex = "#808080";
    p.isBW = true;
    p.edited = true;
  });
  const auto trashed = [](Photo& p) {
    p.trashedAt = CatalogDate{1};
    p.processedAt = at(2024, 5, 6, 7);
    p.favorite = true;
  };
  addWith("trashed", trashed, {"one", "three"});
  const auto facet = [](const char* id, int n) { return json{{"id", id}, {"n", n}}; };
  EXPECT_EQ(json::parse(api_.stats().json),
            (json{{"totals", {{"total", 4}, {"favorites", 1}, {"edited", 2}}},
                  {"by_year", {facet("2020", 2), facet("999", 1)}},
                  {"by_media", {facet("image", 2), facet("video", 2)}},
                  {"by_format", {facet(".jpg", 3), facet(".mov", 1)}},
                  {"top_albums", {facet("two", 2), facet("one", 1)}},
                  {"top_labels", json::array({facet("dog", 1)})},
                  {"top_places", json::array({facet("Italy", 1)})},
                  {"cameras", json::array({facet("X", 1)})},
                  {"no_camera", 3},
                  {"by_size", {facet("<500 KB", 3), facet("50 MB+", 1)}},
                  {"last_import", "2024-05-06T07:00:00"},
                  {"colors",
                   {{{"name", "Red"}, {"hex", "#e23b3b"}, {"n", 1}},
                    {{"name", "Blue"}, {"hex", "#3b6fe2"}, {"n", 2}}}},
                  {"avg_color", "#01ffff"},
                  {"color_split", {{"color", 3}, {"bw", 1}}}}));
}

TEST_F(GalleryAPITest, TakesStatisticsFromOneStateOfTheStore) {
  std::atomic<bool> isDone = false;
  std::thread import([&] {
    for (int i = 0; i < 300; ++i) {
      addWith(std::to_string(i), [](Photo& p) { p.favorite = p.edited = true; });
    }
    isDone = true;
  });
  while (!isDone) {
    const json totals = json::parse(api_.stats().json).at("totals");
    ASSERT_EQ(totals.at("edited"), totals.at("total"));
  }
  import.join();
}

}  // namespace
}  // namespace vaultmere
