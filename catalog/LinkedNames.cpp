// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/LinkedNames.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>

#include "catalog/CatalogError.h"

namespace vaultmere {
namespace {

constexpr int kMaxLookups = 2000;  // from here on collecting all photos costs less

struct InnerError {
  int code;  ///< SQLite's
};

/// A statement that runs inside of another one; throws InnerError.
class InnerStatement {
 public:
  InnerStatement(sqlite3* database, const char* sql) {
    check(sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr));
  }
  ~InnerStatement() { sqlite3_finalize(statement_); }
  InnerStatement(const InnerStatement&) = delete;
  InnerStatement& operator=(const InnerStatement&) = delete;

  void bind(sqlite3_value* value) { check(sqlite3_bind_value(statement_, 1, value)); }
  void bind(std::int64_t value) { check(sqlite3_bind_int64(statement_, 1, value)); }
  bool step() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
      throw InnerError{result};
    }
    return result == SQLITE_ROW;
  }
  void reset() { sqlite3_reset(statement_); }
  [[nodiscard]] std::int64_t integer(int column) const {
    return sqlite3_column_int64(statement_, column);
  }

 private:
  static void check(int result) {
    if (result != SQLITE_OK) {
      throw InnerError{result};
    }
  }
  sqlite3_stmt* statement_ = nullptr;
};

/// Primary keys as a bitmap without its empty words.
class KeySet {
 public:
  void add(std::int64_t key) { words_[key >> kShift] |= bitOf(key); }
  [[nodiscard]] bool contains(std::int64_t key) const {
    const auto found = words_.find(key >> kShift);
    return found != words_.end() && (found->second & bitOf(key)) != 0;
  }

 private:
  static constexpr int kShift = 6;
  static std::uint64_t bitOf(std::int64_t key) {
    return std::uint64_t{1} << (static_cast<std::uint64_t>(key) & 63U);
  }
  std::unordered_map<std::int64_t, std::uint64_t> words_;
};

KeySet keysOf(sqlite3* database, const char* sql, sqlite3_value* term) {
  InnerStatement rows(database, sql);
  rows.bind(term);
  KeySet keys;
  while (rows.step()) {
    keys.add(rows.integer(0));
  }
  return keys;
}

/// The names that contain one term, and the photos that are linked with them.
class LinkedNames {
 public:
  LinkedNames(sqlite3* database, sqlite3_value* term)
      : database_(database),
        tags_(keysOf(database, "SELECT pk FROM Tag WHERE contains_folded(?, name)", term)),
        labels_(keysOf(database, "SELECT pk FROM Label WHERE contains_folded(?, name)", term)),
        links_(database,
               "SELECT tag, 1 FROM Photo_tags WHERE photo = ?1"
               " UNION ALL SELECT label, 0 FROM Photo_labels WHERE photo = ?1") {}

  bool haveLinkTo(std::int64_t photo, sqlite3_value* term) {
    if (lookups_ < kMaxLookups) {
      ++lookups_;
      return isFound(photo);
    }
    if (!photos_) {
      photos_ = keysOf(database_,
                       "SELECT photo FROM Photo_tags WHERE tag IN"
                       " (SELECT pk FROM Tag WHERE contains_folded(?1, name))"
                       " UNION ALL SELECT photo FROM Photo_labels WHERE label IN"
                       " (SELECT pk FROM Label WHERE contains_folded(?1, name))",
                       term);
    }
    return photos_->contains(photo);
  }

 private:
  bool isFound(std::int64_t photo) {
    links_.bind(photo);
    bool isFound = false;
    while (!isFound && links_.step()) {
      isFound = (links_.integer(1) != 0 ? tags_ : labels_).contains(links_.integer(0));
    }
    links_.reset();
    return isFound;
  }

  sqlite3* const database_;
  const KeySet tags_;
  const KeySet labels_;
  InnerStatement links_;
  int lookups_ = 0;
  std::optional<KeySet> photos_;
};

/// Belongs to the outer statement, and is made at its first row.
LinkedNames& linkedNames(sqlite3_context* context, sqlite3_value* term) {
  constexpr int kTerm = 0;  // the store keeps it as long as the term stays
  if (void* kept = sqlite3_get_auxdata(context, kTerm)) {
    return *static_cast<LinkedNames*>(kept);
  }
  auto* const fresh = new LinkedNames(sqlite3_context_db_handle(context), term);
  sqlite3_set_auxdata(context, kTerm, fresh,
                      [](void* names) { delete static_cast<LinkedNames*>(names); });
  if (sqlite3_get_auxdata(context, kTerm) != fresh) {  // deleted: no memory
    throw std::bad_alloc();
  }
  return *fresh;
}

void linkedNameContains(sqlite3_context* context, int, sqlite3_value** arguments) {
  try {
    const bool isFound = linkedNames(context, arguments[0])
                             .haveLinkTo(sqlite3_value_int64(arguments[1]), arguments[0]);
    sqlite3_result_int(context, isFound ? 1 : 0);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  } catch (const InnerError& error) {
    sqlite3_result_error(context, sqlite3_errmsg(sqlite3_context_db_handle(context)), -1);
    sqlite3_result_error_code(context, error.code);
  }
}

}  // namespace

void addLinkedNameFunction(sqlite3* database) {
  if (sqlite3_create_function_v2(database, "linked_name_contains", 2,
                                 SQLITE_UTF8 | SQLITE_DIRECTONLY, nullptr, linkedNameContains,
                                 nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw CatalogError(std::string("catalog functions: ") + sqlite3_errmsg(database));
  }
}

}  // namespace vaultmere
