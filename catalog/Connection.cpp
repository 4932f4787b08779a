// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/Connection.h"

#include <SQLiteCpp/Backup.h>
#include <SQLiteCpp/SQLiteCpp.h>
#include <fmt/format.h>
#include <sqlite3.h>

#include <map>

#include "catalog/CatalogError.h"
#include "catalog/LinkedNames.h"
#include "catalog/SqlFunctions.h"
#include "platform/FaultPoint.h"
#include "platform/Files.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr int kBusyMilliseconds = 8000;
constexpr int kPagesPerBackupStep = 256;  // 1 MiB between two looks at the stop token

/// Runs a piece of work on the store and says what was tried when it fails.
template <typename Work>
auto attempt(std::string_view what, Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const SQLite::Exception& error) {
    throw CatalogError(fmt::format("{}: {}", what, error.what()));
  }
}

using StatementCache = std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>>;

}  // namespace

// MARK: Statement

struct Statement::Impl {
  SQLite::Statement& statement;
  std::unique_ptr<SQLite::Statement> owned;  ///< null: the connection's list has it

  explicit Impl(SQLite::Statement& listed) : statement(listed) {}
  explicit Impl(std::unique_ptr<SQLite::Statement> own) : statement(*own), owned(std::move(own)) {}
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  ~Impl() {
    statement.tryReset();
    statement.clearBindings();
  }
};

Statement::Statement(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Statement::Statement(Statement&&) noexcept = default;
Statement::~Statement() = default;

Statement& Statement::bind(int index, std::nullptr_t) {
  attempt("bind", [&] { impl_->statement.bind(index); });
  return *this;
}

Statement& Statement::bind(int index, std::int64_t value) {
  attempt("bind", [&] { impl_->statement.bind(index, value); });
  return *this;
}

Statement& Statement::bind(int index, double value) {
  attempt("bind", [&] { impl_->statement.bind(index, value); });
  return *this;
}

Statement& Statement::bind(int index, std::string_view text) {
  attempt("bind", [&] { impl_->statement.bind(index, std::string(text)); });
  return *this;
}

bool Statement::step() {
  return attempt("catalog", [&] { return impl_->statement.executeStep(); });
}

bool Statement::isNull(int column) const { return impl_->statement.isColumnNull(column); }

std::int64_t Statement::integer(int column) const {
  return impl_->statement.getColumn(column).getInt64();
}

double Statement::real(int column) const { return impl_->statement.getColumn(column).getDouble(); }

std::string Statement::text(int column) const {
  return impl_->statement.getColumn(column).getString();
}

// MARK: Connection

struct Connection::Impl {
  explicit Impl(const std::filesystem::path& file)
      // No lock inside the store: there is one thread at a time.
      : database(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                 kBusyMilliseconds) {}
  SQLite::Database database;
  StatementCache statements;
};

Connection::Connection(const std::filesystem::path& file)
    : impl_(attempt(fmt::format("open “{}”", file.string()),
                    [&] { return std::make_unique<Impl>(file); })) {
  addSqlFunctions(impl_->database.getHandle());
  addLinkedNameFunction(impl_->database.getHandle());
  execute(
      "PRAGMA journal_mode = WAL;"
      "PRAGMA synchronous = FULL;"
      "PRAGMA foreign_keys = ON;"
      "PRAGMA trusted_schema = OFF;");  // a restored store may have been made by anyone
}

Connection::~Connection() = default;

void Connection::execute(const char* sql) {
  attempt("catalog", [&] { impl_->database.exec(sql); });
}

Statement Connection::prepare(std::string_view sql) {
  auto found = impl_->statements.find(sql);
  if (found == impl_->statements.end()) {
    auto statement = attempt("catalog", [&] {
      return std::make_unique<SQLite::Statement>(impl_->database, std::string(sql));
    });
    found = impl_->statements.emplace(sql, std::move(statement)).first;
  }
  return Statement(std::unique_ptr<Statement::Impl>(new Statement::Impl(*found->second)));
}

Statement Connection::prepareOnce(std::string_view sql) {
  auto statement = attempt("catalog", [&] {
    return std::make_unique<SQLite::Statement>(impl_->database, std::string(sql));
  });
  return Statement(std::unique_ptr<Statement::Impl>(new Statement::Impl(std::move(statement))));
}

std::int64_t Connection::lastInsertedKey() const { return impl_->database.getLastInsertRowid(); }

void Connection::backUpTo(const std::filesystem::path& file, const std::stop_token& stop) {
  const std::string what = fmt::format("back up to “{}”", file.string());
  if (fileStatus(file)) {
    throw CatalogError(fmt::format("{}: the file exists", what));
  }
  try {
    attempt(what, [&] {
      const Snapshot snapshot(*this);
      prepareOnce("SELECT 1 FROM sqlite_master").step();  // the snapshot begins with its first read
      SQLite::Database copy(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
      SQLite::Backup backup(copy, impl_->database);
      do {
        if (stop.stop_requested()) {
          throw CatalogError(fmt::format("{}: stopped", what));
        }
      } while (backup.executeStep(kPagesPerBackupStep) != SQLITE_DONE);
    });
    attempt(what, [&] {
      SQLite::Database copy(file.string(), SQLite::OPEN_READWRITE);
      copy.execAndGet("PRAGMA journal_mode = DELETE");
    });
  } catch (const CatalogError&) {
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
      std::error_code ignored;
      std::filesystem::remove(file.string() + suffix, ignored);
    }
    throw;
  }
}

// MARK: Interruptible

Interruptible::Interruptible(Connection& connection, std::stop_token stop)
    : connection_(connection), stop_(std::move(stop)) {
  constexpr int kSteps = 1000;  // of the store's machine: far below a millisecond
  sqlite3_progress_handler(
      connection_.impl_->database.getHandle(), kSteps,
      [](void* token) { return static_cast<std::stop_token*>(token)->stop_requested() ? 1 : 0; },
      &stop_);
}

Interruptible::~Interruptible() {
  sqlite3_progress_handler(connection_.impl_->database.getHandle(), 0, nullptr, nullptr);
}

// MARK: Snapshot

Snapshot::Snapshot(Connection& connection) : connection_(connection) {
  connection_.execute("SAVEPOINT snapshot");  // inside another one, a part of that
}

Snapshot::~Snapshot() {
  try {
    connection_.execute("RELEASE snapshot");
  } catch (const CatalogError&) {
    // Nothing was written; a failed statement may have ended it already.
  }
}

// MARK: Transaction

Transaction::Transaction(Connection& connection) : connection_(connection) {
  connection_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!isOpen_) {
    return;
  }
  try {
    connection_.execute("ROLLBACK");
  } catch (const CatalogError& error) {
    // SQLite rolls back by itself after a full disk or an I/O error.
    logLine(fmt::format("Vaultmere: catalog roll-back: {}", error.what()));
  }
}

void Transaction::commit() {
  if (const int fault = faultAt("commit", {}); fault != 0) {
    throw CatalogError(fmt::format("save: {}", std::generic_category().message(fault)));
  }
  connection_.execute("COMMIT");
  isOpen_ = false;
  [[maybe_unused]] const int unused = faultAt("committed", {});
}

}  // namespace vaultmere
