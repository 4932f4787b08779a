// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/SqlFunctions.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <unordered_map>

#include "catalog/CatalogError.h"
#include "catalog/TextFolding.h"

namespace vaultmere {
namespace {

/// Runs a function's body: what it throws becomes the statement's error.
template <typename Body>
void guarded(sqlite3_context* context, Body&& body) {
  try {
    body();
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  } catch (const std::exception& error) {
    sqlite3_result_error(context, error.what(), -1);
  }
}

std::string_view textOf(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr
             ? std::string_view()
             : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

/// The last text that took time to fold. The index that a search reads has
/// equal texts in a row.
struct LastFolded {
  std::string text;
  std::string folded;
};

/// Belongs to the statement, and is made at its first row.
LastFolded& lastFolded(sqlite3_context* context) {
  constexpr int kTerm = 0;  // the store keeps it as long as the term stays
  if (void* kept = sqlite3_get_auxdata(context, kTerm)) {
    return *static_cast<LastFolded*>(kept);
  }
  auto* const fresh = new LastFolded;
  sqlite3_set_auxdata(context, kTerm, fresh,
                      [](void* last) { delete static_cast<LastFolded*>(last); });
  if (sqlite3_get_auxdata(context, kTerm) != fresh) {  // deleted: no memory
    throw std::bad_alloc();
  }
  return *fresh;
}

bool containsFolded(sqlite3_context* context, std::string_view text, std::string_view term) {
  if (isAscii(text)) {
    return foldedContains(text, term);
  }
  LastFolded& last = lastFolded(context);
  if (last.text != text) {
    last = {std::string(text), foldedText(text)};
  }
  return last.folded.find(term) != std::string::npos;
}

void containsFolded(sqlite3_context* context, int count, sqlite3_value** arguments) {
  guarded(context, [&] {
    const std::string_view term = textOf(arguments[0]);
    const bool found = std::any_of(arguments + 1, arguments + count, [&](sqlite3_value* text) {
      return sqlite3_value_type(text) != SQLITE_NULL && containsFolded(context, textOf(text), term);
    });
    sqlite3_result_int(context, found ? 1 : 0);
  });
}

// MARK: tally

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>{}(text);
  }
};

class ValueCounter {
 public:
  void add(sqlite3_value* value) {
    switch (sqlite3_value_type(value)) {
      case SQLITE_NULL:
        return;
      case SQLITE_INTEGER:
        ++numbers_[sqlite3_value_int64(value)];
        return;
      default:
        addText(textOf(value));
    }
  }

  [[nodiscard]] std::string json() const {
    auto pairs = nlohmann::json::array();
    for (const auto& [value, count] : std::map(numbers_.begin(), numbers_.end())) {
      pairs.push_back({value, count});
    }
    for (const auto& [value, count] :
         std::map<std::string_view, std::int64_t>(texts_.begin(), texts_.end())) {
      pairs.push_back({value, count});
    }
    return pairs.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }

 private:
  void addText(std::string_view text) {
    const auto found = texts_.find(text);
    if (found != texts_.end()) {
      ++found->second;
    } else {
      texts_.emplace(text, 1);
    }
  }

  std::unordered_map<std::int64_t, std::int64_t> numbers_;
  std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> texts_;
};

/// What the library keeps for one aggregate, zeroed before the first row.
struct Tally {
  ValueCounter* counter;
};

Tally* tallyOf(sqlite3_context* context, int bytes) {
  return static_cast<Tally*>(sqlite3_aggregate_context(context, bytes));
}

void tallyStep(sqlite3_context* context, int, sqlite3_value** arguments) {
  guarded(context, [&] {
    Tally* const tally = tallyOf(context, sizeof(Tally));
    if (tally == nullptr) {
      throw std::bad_alloc();
    }
    if (tally->counter == nullptr) {
      tally->counter = new ValueCounter;
    }
    tally->counter->add(arguments[0]);
  });
}

/// Also called for a statement that ends before its last row.
void tallyFinal(sqlite3_context* context) {
  const Tally* const tally = tallyOf(context, 0);
  const std::unique_ptr<ValueCounter> counter(tally == nullptr ? nullptr : tally->counter);
  guarded(context, [&] {
    const std::string json = counter ? counter->json() : "[]";
    sqlite3_result_text64(context, json.data(), json.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  });
}

}  // namespace

void addSqlFunctions(sqlite3* database) {
  constexpr int kPure = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  if (sqlite3_create_function_v2(database, "contains_folded", -1, kPure, nullptr, containsFolded,
                                 nullptr, nullptr, nullptr) != SQLITE_OK ||
      sqlite3_create_function_v2(database, "tally", 1, kPure, nullptr, nullptr, tallyStep,
                                 tallyFinal, nullptr) != SQLITE_OK) {
    throw CatalogError(std::string("catalog functions: ") + sqlite3_errmsg(database));
  }
}

}  // namespace vaultmere
