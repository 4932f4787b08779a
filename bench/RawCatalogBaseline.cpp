// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/BareCatalog.h"

#include "catalog/PhotoSchema.h"

namespace vaultmere::bench {
namespace {

constexpr const char* kTagNames =
    "SELECT name FROM Photo_tags JOIN Tag ON Tag.pk = tag WHERE photo = ? ORDER BY "
    "Photo_tags.rowid";
constexpr const char* kLabelNames =
    "SELECT name FROM Photo_labels JOIN Label ON Label.pk = label WHERE photo = ? "
    "ORDER BY Photo_labels.rowid";

SQLite::Database opened(const std::filesystem::path& store) {
  SQLite::Database database(store.string(), SQLite::OPEN_READWRITE);
  database.exec(
      "PRAGMA journal_mode = WAL;"
      "PRAGMA synchronous = FULL;"
      "PRAGMA foreign_keys = ON;");
  return database;
}

std::string insertText() {
  std::string marks = "?";
  for (std::size_t i = 1; i < photoAttributes().size(); ++i) {
    marks += ", ?";
  }
  return "INSERT INTO Photo (" + photoColumns() + ") VALUES (" + marks + ")";
}

BareRow::Value valueOf(const SQLite::Column& column) {
  if (column.isNull()) {
    return {};
  }
  if (column.isInteger()) {
    return column.getInt64();
  }
  if (column.isFloat()) {
    return column.getDouble();
  }
  return column.getString();
}

std::vector<std::string> namesOf(SQLite::Statement& query, std::int64_t photo) {
  query.reset();
  query.bind(1, photo);
  std::vector<std::string> names;
  while (query.executeStep()) {
    names.push_back(query.getColumn(0).getString());
  }
  return names;
}

void bindValue(SQLite::Statement& statement, int index, const BareRow::Value& value) {
  struct Binder {
    SQLite::Statement& statement;
    int index;
    void operator()(std::monostate) const { statement.bind(index); }
    void operator()(std::int64_t number) const { statement.bind(index, number); }
    void operator()(double number) const { statement.bind(index, number); }
    void operator()(const std::string& text) const { statement.bindNoCopy(index, text); }
  };
  std::visit(Binder{statement, index}, value);
}

}  // namespace

std::vector<BareRow> bareRows(const std::filesystem::path& store) {
  const SQLite::Database database = opened(store);
  SQLite::Statement photos(database, "SELECT pk, " + photoColumns() + " FROM Photo ORDER BY pk");
  SQLite::Statement tags(database, kTagNames);
  SQLite::Statement labels(database, kLabelNames);
  std::vector<BareRow> rows;
  while (photos.executeStep()) {
    const std::int64_t photo = photos.getColumn(0).getInt64();
    BareRow row{{}, namesOf(tags, photo), namesOf(labels, photo)};
    for (int column = 1; column < photos.getColumnCount(); ++column) {
      row.values.push_back(valueOf(photos.getColumn(column)));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

BareCatalog::BareCatalog(const std::filesystem::path& store)
    : database_(opened(store)),
      insert_(database_, insertText()),
      tag_(database_, "INSERT INTO Photo_tags (photo, tag) SELECT ?, pk FROM Tag WHERE name = ?"),
      label_(database_,
             "INSERT INTO Photo_labels (photo, label) SELECT ?, pk FROM Label WHERE name = ?") {}

void BareCatalog::write(const BareRow& row) {
  SQLite::Transaction transaction(database_, SQLite::TransactionBehavior::IMMEDIATE);
  int index = 0;
  for (const BareRow::Value& value : row.values) {
    bindValue(insert_, ++index, value);
  }
  insert_.exec();
  insert_.reset();
  const std::int64_t photo = database_.getLastInsertRowid();
  link(tag_, photo, row.tags);
  link(label_, photo, row.labels);
  transaction.commit();
}

void BareCatalog::link(SQLite::Statement& statement, std::int64_t photo,
                       const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    statement.bind(1, photo);
    statement.bindNoCopy(2, name);
    statement.exec();
    statement.reset();
  }
}

}  // namespace vaultmere::bench
