// SPDX-License-Identifier: GPL-3.0-or-later
//
// The library's list over a million rows: pages, counts, facets and search,
// each next to one read of the whole table on the same connection.
#include <fmt/format.h>

#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench/Benchmark.h"
#include "bench/CatalogMaker.h"
#include "bench/Measurement.h"
#include "bench/Scan.h"
#include "catalog/FacetSet.h"
#include "catalog/PhotoFilter.h"
#include "catalog/PhotoQueries.h"
#include "catalog/VaultmereCatalog.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 3;
constexpr int kPageSize = 80;
constexpr std::array kSorts{SortOrder::added, SortOrder::newest, SortOrder::oldest};

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct FirstPage {
  std::string filter;
  Rounds rounds;
};

class ListBench {
 public:
  explicit ListBench(const fs::path& store) : connection_(store) {}

  void run() {
    facets("facets, unfiltered", {}, 12);
    PhotoFilter tenth;
    tenth.mediaType = "live_photo";
    facets("facets of a tenth", tenth, 6);
    for (const char* word : {"child", "quebe", "album", "label", "qwxyz"}) {
      search(word);
    }
    compare("count, unfiltered", 1,
            [&] { (void)countPhotos(connection_, PhotoFilter{}.predicate()); });
    compare("media breakdown", 1, [&] { (void)mediaTotals(connection_); });
    firstPages();
    for (const SortOrder sort : kSorts) {
      deepPage(sort);
    }
  }

 private:
  static std::vector<std::pair<std::string, PhotoFilter>> singleFilters() {
    std::vector<std::pair<std::string, PhotoFilter>> filters;
    const auto add = [&](const char* name, auto field, auto value) {
      PhotoFilter filter;
      filter.*field = value;
      filters.emplace_back(name, filter);
    };
    add("year 2003", &PhotoFilter::year, 2003);
    add("year 2022", &PhotoFilter::year, 2022);
    add("images", &PhotoFilter::mediaType, "image");
    add("live photos", &PhotoFilter::mediaType, "live_photo");
    add(".heic", &PhotoFilter::ext, ".heic");
    add(".gif", &PhotoFilter::ext, ".gif");
    add("gray", &PhotoFilter::color, "Gray");
    add("purple", &PhotoFilter::color, "Purple");
    add("Switzerland", &PhotoFilter::country, "Switzerland");
    add("Peru", &PhotoFilter::country, "Peru");
    add("<500 KB", &PhotoFilter::size, "<500 KB");
    add("2–5 MB", &PhotoFilter::size, "2–5 MB");
    add("50 MB+", &PhotoFilter::size, "50 MB+");
    add("favourites", &PhotoFilter::favorite, true);
    add("no favourites", &PhotoFilter::favorite, false);
    add("a large album", &PhotoFilter::tag, "Album 1");
    add("a small album", &PhotoFilter::tag, "Album 700");
    add("a frequent label", &PhotoFilter::label, "label 1");
    add("a middling label", &PhotoFilter::label, "label 20");
    add("a rare label", &PhotoFilter::label, "label 900");
    add("an early camera", &PhotoFilter::camera, "Halden H5");
    add("a late camera", &PhotoFilter::camera, "Halden H50");
    add("no camera", &PhotoFilter::noCamera, true);
    add("nothing", &PhotoFilter::camera, "none such");
    return filters;
  }

  /// Reports the slowest of all filters under each sort.
  void firstPages() {
    std::array<FirstPage, kSorts.size()> slowest;
    auto filters = singleFilters();
    filters.emplace_back("no filter", PhotoFilter{});
    for (const auto& [name, filter] : filters) {
      const auto pages = firstPagesOf(name, filter);
      for (std::size_t i = 0; i < kSorts.size(); ++i) {
        if (slowest.at(i).rounds.count() == 0 ||
            pages.at(i).rounds.speedRatio().median < slowest.at(i).rounds.speedRatio().median) {
          slowest.at(i) = pages.at(i);
        }
      }
    }
    for (std::size_t i = 0; i < kSorts.size(); ++i) {
      const FirstPage& page = slowest.at(i);
      report({fmt::format("first page by {}, {} filters, slowest: {}", sortOrderName(kSorts.at(i)),
                          filters.size(), page.filter),
              "one scan", Wanted::atLeast, 20},
             milliseconds(page.rounds.ours()), milliseconds(page.rounds.reference()),
             page.rounds.speedRatio());
    }
  }

  /// One scan a round serves all sorts: it takes far longer than the pages.
  std::array<FirstPage, kSorts.size()> firstPagesOf(const std::string& name,
                                                    const PhotoFilter& filter) {
    const Predicate predicate = filter.predicate();
    const std::int64_t matches = countPhotos(connection_, predicate);
    std::array<FirstPage, kSorts.size()> pages;
    for (int round = -1; round < kRounds; ++round) {  // the first one warms up
      const double reference = secondsOf([&] { scanPhotos(connection_); });
      for (std::size_t i = 0; i < kSorts.size(); ++i) {
        pages.at(i).filter = name;
        const double ours = secondsOf([&] {
          (void)fetchPage(connection_, predicate, {kSorts.at(i), 0, kPageSize, matches});
        });
        if (round >= 0) {
          pages.at(i).rounds.add(ours, reference);
        }
      }
    }
    return pages;
  }

  void deepPage(SortOrder sort) {
    const Predicate predicate = PhotoFilter{}.predicate();
    const std::int64_t matches = countPhotos(connection_, predicate);
    const auto page = [&](int number) {
      return Contender{nullptr, [&, number] {
                         (void)fetchPage(
                             connection_, predicate,
                             {sort, std::int64_t{number} * kPageSize, kPageSize, matches});
                       }};
    };
    const Rounds rounds = measure(kRounds * 10, page(100), page(0));
    report({fmt::format("page 100 by {}", sortOrderName(sort)), "page 0", Wanted::atMost, 3},
           milliseconds(rounds.ours()), milliseconds(rounds.reference()), rounds.timeRatio());
  }

  void facets(const char* name, const PhotoFilter& filter, double bound) {
    compare(name, bound, [&] { (void)computeFacets(connection_, filter.predicate()); });
  }

  void search(const char* word) {
    PhotoFilter filter;
    filter.q = word;
    compare(fmt::format("search for \"{}\", count and first page", word), 3, [&] {
      const Predicate predicate = filter.predicate();
      const std::int64_t matches = countPhotos(connection_, predicate);
      (void)fetchPage(connection_, predicate, {SortOrder::added, 0, kPageSize, matches});
    });
  }

  void compare(const std::string& name, double bound, const std::function<void()>& ours) {
    compareWithScan(connection_, name, bound, ours);
  }

  Connection connection_;
};

void listPhotos(const fs::path& folder) { ListBench(sharedCatalog(folder)).run(); }

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::listPhotos);
}
