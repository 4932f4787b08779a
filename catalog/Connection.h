// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace vaultmere {

class Connection;

/// One run of a prepared statement: bind, step through the rows, read columns.
/// Indexes of parameters count from 1, those of columns from 0, as in SQLite.
/// The statement is ready for its next run when this goes out of scope.
class Statement {
 public:
  Statement(Statement&&) noexcept;
  ~Statement();

  Statement& bind(int index, std::nullptr_t);
  Statement& bind(int index, bool value) { return bind(index, std::int64_t{value}); }
  Statement& bind(int index, int value) { return bind(index, std::int64_t{value}); }
  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, double value);
  /// The text is copied.
  Statement& bind(int index, std::string_view text);

  /// Moves to the next row; false behind the last one. Throws CatalogError.
  bool step();

  [[nodiscard]] bool isNull(int column) const;
  [[nodiscard]] std::int64_t integer(int column) const;
  [[nodiscard]] double real(int column) const;
  [[nodiscard]] std::string text(int column) const;

 private:
  friend class Connection;
  struct Impl;
  explicit Statement(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

/// One connection to the store. One thread at a time: its context sees to it.
class Connection {
 public:
  /// Opens or makes the file, with a write-ahead log, foreign keys, a full
  /// flush at each commit, and a busy timeout of 8 seconds. Throws CatalogError.
  explicit Connection(const std::filesystem::path& file);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Runs statements without results. Throws CatalogError.
  void execute(const char* sql);

  /// Takes the statement from the connection's own list of prepared ones, or
  /// prepares it. `sql` must be a fixed text or one that few values occur of.
  /// The same text must not be running already. Throws CatalogError.
  [[nodiscard]] Statement prepare(std::string_view sql);

  /// Prepares a statement for one run, for texts of many shapes: a user's
  /// filter. Throws CatalogError.
  [[nodiscard]] Statement prepareOnce(std::string_view sql);

  /// The primary key of the row that was inserted last. Costs nothing; RETURNING
  /// would have the store copy every page that the row touches.
  [[nodiscard]] std::int64_t lastInsertedKey() const;

  /// Copies the store into a new file, which is then complete by itself (no
  /// write-ahead log) and flushed. It has the state of one moment, whatever
  /// others write meanwhile: inside a `Snapshot` the state of that. Not inside a
  /// `Transaction`. Throws CatalogError, also after `stop` was requested or when the file exists;
  /// nothing is left of an unfinished copy.
  void backUpTo(const std::filesystem::path& file, const std::stop_token& stop);

 private:
  friend class Interruptible;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A scope whose statements fail with CatalogError soon after `stop` was
/// requested, also in the middle of a long search. Scopes don't nest.
class Interruptible {
 public:
  Interruptible(Connection& connection, std::stop_token stop);
  ~Interruptible();
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;

 private:
  Connection& connection_;
  std::stop_token stop_;
};

/// A scope that reads: all of its statements see one state of the store,
/// whatever others write meanwhile. One inside another sees the state of that.
/// Not inside a `Transaction`.
class Snapshot {
 public:
  explicit Snapshot(Connection& connection);
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

 private:
  Connection& connection_;
};

/// A scope that writes: takes the store's one write lock at once (BEGIN
/// IMMEDIATE), and rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Durable when this returns. Throws CatalogError, and then rolls back.
  void commit();

 private:
  Connection& connection_;
  bool isOpen_ = true;
};

}  // namespace vaultmere
