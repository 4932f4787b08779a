// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/PhotoBrowserModel.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "catalog/CatalogError.h"
#include "platform/Log.h"

namespace vaultmere {

struct PhotoBrowserModel::Count {
  std::int64_t state = 0;  ///< of the store: another number after each commit
  std::int64_t total = 0;
};

struct PhotoBrowserModel::Page {
  std::optional<Count> count;  ///< with the first page
  std::vector<Photo> photos;
  std::string error;  ///< empty: it was read
};

namespace {

std::int64_t stateOf(Connection& connection) {
  auto version = connection.prepare("PRAGMA data_version");
  version.step();
  return version.integer(0);
}

}  // namespace

PhotoBrowserModel::PhotoBrowserModel(const VaultmereCatalog& catalog, Contexts contexts,
                                     MainThread& main)
    : main_(main), contexts_(std::move(contexts)) {
  rowsChanged_ =
      catalog.rowsChanged().connect([this](const std::vector<std::string>& ids) { refresh(ids); });
  reset();
  pollTimer_ = main_.every(kPollInterval, [this] { poll(); });
}

PhotoBrowserModel::~PhotoBrowserModel() {
  rowsChanged_.disconnect();
  listStop_.request_stop();
  facetStop_.request_stop();
}

void PhotoBrowserModel::setFilter(const PhotoFilter& filter) {
  if (filter != filter_) {
    filter_ = filter;
    reset();
  }
}

void PhotoBrowserModel::setSort(SortOrder sort) {
  if (sort != sort_) {
    sort_ = sort;
    reset();
  }
}

void PhotoBrowserModel::reset() {
  items_.clear();
  listed_.clear();
  listStop_.request_stop();
  listStop_ = std::stop_source();
  page_ = 0;
  nextOffset_ = 0;
  reachedEnd_ = false;
  loading_ = false;
  countedState_ = 0;  // it was another list's
  loadNextPage();
  reloadFacets();
}

void PhotoBrowserModel::loadNextPage() {
  if (loading_ || reachedEnd_) {
    return;
  }
  loading_ = true;
  ++revision_;
  auto show = onMain_([this, load = ++load_](const Page& page) {
    if (load == load_) {
      showPage(page);
    }
  });
  PageRequest request{sort_, nextOffset_, kPageSize, total_};
  contexts_.list->performAsync([predicate = filter_.predicate(), request, isFirst = page_ == 0,
                                stop = listStop_.get_token(),
                                show = std::move(show)](Connection& connection) mutable {
    Page page;
    try {
      const Interruptible interruptible(connection, stop);
      const Snapshot snapshot(connection);
      if (isFirst) {
        request.matches = countPhotos(connection, predicate);
        page.count = Count{stateOf(connection), request.matches};
      }
      page.photos = fetchPage(connection, predicate, request);
    } catch (const CatalogError& error) {
      page.error = error.what();
    }
    show(std::move(page));
  });
  changed_.emit();
}

void PhotoBrowserModel::showPage(const Page& page) {
  loading_ = false;
  if (!page.error.empty()) {
    logLine(fmt::format("Vaultmere: gallery fetch failed — {}", page.error));
    changed_.emit();
    return;
  }
  if (page.count) {
    total_ = page.count->total;
    countedState_ = page.count->state;
  }
  reachedEnd_ = page.photos.size() < std::size_t{kPageSize};
  ++page_;
  nextOffset_ += static_cast<std::int64_t>(page.photos.size());
  for (const Photo& photo : page.photos) {
    // A row that new ones have moved back is there already.
    if (listed_.insert(photo.id).second) {
      items_.push_back(photo);
    }
  }
  changed_.emit();
}

void PhotoBrowserModel::reloadFacets() {
  facetStop_.request_stop();
  facetStop_ = std::stop_source();
  auto show = onMain_([this, stop = facetStop_.get_token()](const FacetSet& facets) {
    if (!stop.stop_requested()) {
      facets_ = facets;
      changed_.emit();
    }
  });
  contexts_.facets->performAsync([predicate = filter_.predicate(), stop = facetStop_.get_token(),
                                  show = std::move(show)](Connection& connection) {
    if (stop.stop_requested()) {
      return;
    }
    try {
      const Interruptible interruptible(connection, stop);
      show(computeFacets(connection, predicate));
    } catch (const CatalogError&) {
      // The facets stay as they were.
    }
  });
}

void PhotoBrowserModel::poll() {
  if (loading_ || polling_) {
    return;
  }
  polling_ = true;
  auto show = onMain_([this, revision = revision_](const std::optional<Count>& count) {
    polling_ = false;
    if (count && revision == revision_) {
      showCount(*count);
    }
  });
  contexts_.list->performAsync([predicate = filter_.predicate(), stop = listStop_.get_token(),
                                known = countedState_,
                                show = std::move(show)](Connection& connection) {
    std::optional<Count> count;
    try {
      const Interruptible interruptible(connection, stop);
      const Snapshot snapshot(connection);
      // A store that nobody has written to has no other count.
      if (const std::int64_t state = stateOf(connection); state != known) {
        count = Count{state, countPhotos(connection, predicate)};
      }
    } catch (const CatalogError&) {
      // The next tick tries again.
    }
    show(count);
  });
}

void PhotoBrowserModel::showCount(const Count& count) {
  countedState_ = count.state;
  const bool isLoaded = page_ > 0;  // the first page could be read
  if (count.total == total_ && isLoaded) {
    return;
  }
  total_ = count.total;
  if (page_ < 2) {
    reset();
  } else {
    changed_.emit();
  }
}

void PhotoBrowserModel::remove(const std::string& id) {
  dropRows({id});
  changed_.emit();
}

void PhotoBrowserModel::dropRows(const std::vector<std::string>& ids) {
  ++revision_;
  countedState_ = 0;  // a poll may have counted without these rows already
  total_ = std::max<std::int64_t>(total_ - static_cast<std::int64_t>(ids.size()), 0);
  const std::unordered_set<std::string> gone(ids.begin(), ids.end());
  std::erase_if(items_, [&](const Photo& photo) { return gone.contains(photo.id); });
  for (const std::string& id : gone) {
    if (listed_.erase(id) > 0 && nextOffset_ > 0) {
      --nextOffset_;
    }
  }
  if (loading_) {
    // The page may have been read before they left: it is read again.
    loading_ = false;
    loadNextPage();
  }
}

void PhotoBrowserModel::refresh(const std::vector<std::string>& ids) {
  auto show = onMain_([this, ids](const std::optional<std::vector<Photo>>& rows) {
    if (rows) {
      showRefreshed(ids, *rows);
    }
  });
  // In the queue of the pages: a row that was read before never overwrites one
  // that was read later.
  contexts_.list->performAsync([ids, show = std::move(show)](Connection& connection) {
    std::optional<std::vector<Photo>> rows;
    try {
      rows = fetchPhotos(connection, ids);
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: gallery fetch failed — {}", error.what()));
    }
    show(std::move(rows));
  });
}

void PhotoBrowserModel::showRefreshed(const std::vector<std::string>& ids,
                                      const std::vector<Photo>& rows) {
  std::map<std::string_view, const Photo*> shown;
  for (const Photo& photo : rows) {
    if (!photo.trashedAt && !photo.stackedUnder) {
      shown.emplace(photo.id, &photo);
    }
  }
  for (Photo& item : items_) {
    if (const auto found = shown.find(item.id); found != shown.end()) {
      item = *found->second;
    }
  }
  std::vector<std::string> gone;
  std::copy_if(ids.begin(), ids.end(), std::back_inserter(gone),
               [&](const std::string& id) { return listed_.contains(id) && !shown.contains(id); });
  if (!gone.empty()) {
    dropRows(gone);
  }
  changed_.emit();
}

}  // namespace vaultmere
