// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/connection.h>
#include <sigc++/signal.h>

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <vector>

#include "catalog/FacetSet.h"
#include "catalog/PhotoFilter.h"
#include "catalog/PhotoQueries.h"
#include "catalog/VaultmereCatalog.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"

namespace vaultmere {

/// The library's list: a filter, a sort, the pages loaded so far, their total
/// and the facets. Asks the store every three seconds whether the total has
/// changed.
///
/// Main thread only; the store is read on pool threads, in two contexts of the
/// model's own, and results come back posted. What was asked for under an
/// earlier filter or sort is interrupted, and dropped if it comes all the same.
/// Rows that the catalog announces as changed are read again. May be destroyed
/// while work runs. `changed` is emitted when anything that a getter shows has
/// changed.
class PhotoBrowserModel {
 public:
  static constexpr int kPageSize = 80;
  static constexpr std::chrono::seconds kPollInterval{3};

  /// The model's own, so that neither a list nor its facets wait for the other.
  struct Contexts {
    std::shared_ptr<CatalogContext> list;
    std::shared_ptr<CatalogContext> facets;

    /// Any thread; opens files. Throws CatalogError.
    [[nodiscard]] static Contexts open(const VaultmereCatalog& catalog) {
      return {catalog.newBackgroundContext(), catalog.newBackgroundContext()};
    }
  };

  /// Loads the first page and the facets.
  PhotoBrowserModel(const VaultmereCatalog& catalog, Contexts contexts, MainThread& main);
  ~PhotoBrowserModel();
  PhotoBrowserModel(const PhotoBrowserModel&) = delete;
  PhotoBrowserModel& operator=(const PhotoBrowserModel&) = delete;

  [[nodiscard]] sigc::signal<void()>& changed() { return changed_; }

  [[nodiscard]] const PhotoFilter& filter() const { return filter_; }
  [[nodiscard]] SortOrder sort() const { return sort_; }
  [[nodiscard]] const std::vector<Photo>& items() const { return items_; }
  /// The rows that fulfil the filter, as of the last count.
  [[nodiscard]] std::int64_t total() const { return total_; }
  [[nodiscard]] const FacetSet& facets() const { return facets_; }
  /// A page is on its way.
  [[nodiscard]] bool loading() const { return loading_; }
  /// There are no more pages.
  [[nodiscard]] bool reachedEnd() const { return reachedEnd_; }

  /// Empties the list and loads anew; an equal value does nothing.
  void setFilter(const PhotoFilter& filter);
  void setSort(SortOrder sort);
  /// Back to the first page, with an empty list until it is there.
  void reset();
  /// Does nothing while a page is on its way, or behind the last one. A failure
  /// is logged, and the same page can be asked for again.
  void loadNextPage();

  /// Takes a photo out of the list that has left it in the store: it went to
  /// the trash or below a stack.
  void remove(const std::string& id);
  /// Reads the rows with these ids again, as far as they are listed. One that
  /// doesn't fulfil the filter any more stays until the next reset; one that
  /// was trashed, stacked or deleted goes.
  void refresh(const std::vector<std::string>& ids);

 private:
  struct Page;
  struct Count;
  void showPage(const Page& page);
  void reloadFacets();
  void poll();
  void showCount(const Count& count);
  void showRefreshed(const std::vector<std::string>& ids, const std::vector<Photo>& rows);
  void dropRows(const std::vector<std::string>& ids);

  MainThread& main_;
  const Contexts contexts_;
  const MainThreadCallback onMain_{main_};
  sigc::signal<void()> changed_;
  sigc::connection rowsChanged_;

  PhotoFilter filter_;
  SortOrder sort_ = SortOrder::added;
  std::vector<Photo> items_;
  std::unordered_set<std::string> listed_;  ///< the ids of `items_`
  std::int64_t total_ = 0;
  FacetSet facets_;
  bool loading_ = false;
  bool reachedEnd_ = false;
  int page_ = 0;                 ///< the next to load
  std::int64_t nextOffset_ = 0;  ///< where it begins: what left the list moves it forward

  std::uint64_t load_ = 0;  ///< the number of page loads so far; results of older ones are stale
  std::uint64_t revision_ = 0;  ///< changes with whatever makes a count that runs worthless
  bool polling_ = false;
  /// The state of the store that `total_` was counted in; 0 when it wasn't counted.
  std::int64_t countedState_ = 0;
  std::stop_source listStop_;
  std::stop_source facetStop_;
  Timer pollTimer_;
};

}  // namespace vaultmere
