// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/VerificationTimes.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "catalog/CatalogError.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr int kVersion = 1;

/// A row that claims more for one file counts as this much: 1 PiB.
constexpr std::int64_t kMaxBytes = std::int64_t{1} << 50;

void prepareStore(Connection& connection) {
  {
    auto check = connection.prepareOnce("PRAGMA quick_check(1)");
    if (!check.step() || check.text(0) != "ok") {
      throw CatalogError("the store is damaged");
    }
  }
  std::int64_t version = 0;
  {
    auto row = connection.prepareOnce("PRAGMA user_version");
    version = row.step() ? row.integer(0) : 0;
  }
  if (version == kVersion) {
    return;
  }
  if (version != 0) {
    throw CatalogError("the store is another version's");
  }
  connection.execute(
      "BEGIN IMMEDIATE;"
      "CREATE TABLE IF NOT EXISTS Verified ("
      "  id TEXT PRIMARY KEY, verifiedAt REAL, triedAt REAL NOT NULL) WITHOUT ROWID;"
      "PRAGMA user_version = 1;"
      "COMMIT");
}

std::unique_ptr<Connection> openStore(const std::filesystem::path& store) {
  auto connection = std::make_unique<Connection>(store);
  prepareStore(*connection);
  return connection;
}

/// The catalog's rows within the connection to the times, for a scope that reads.
/// Not for longer: a transaction takes the write locks of all attached stores.
class AttachedCatalog {
 public:
  AttachedCatalog(Connection& connection, const std::filesystem::path& store)
      : connection_(connection) {
    auto attach = connection_.prepareOnce("ATTACH DATABASE ? AS catalog");
    attach.bind(1, std::string_view(store.native())).step();
  }
  ~AttachedCatalog() {
    try {
      connection_.execute("DETACH DATABASE catalog");
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: times of verification: {}", error.what()));
    }
  }
  AttachedCatalog(const AttachedCatalog&) = delete;
  AttachedCatalog& operator=(const AttachedCatalog&) = delete;

 private:
  Connection& connection_;
};

}  // namespace

VerificationTimes::VerificationTimes(const std::filesystem::path& store) : catalog_(store) {
  const std::filesystem::path file = store.parent_path() / "Verification.sqlite";
  try {
    connection_ = openStore(file);
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: times of verification begin anew — {}", error.what()));
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::error_code ignored;
      std::filesystem::remove(file.string() + suffix, ignored);
    }
    connection_ = openStore(file);
  }
}

VerificationTimes::Plan VerificationTimes::plan(CatalogDate since, CatalogDate now) {
  Plan plan;
  const AttachedCatalog attached(*connection_, catalog_);
  auto rows = connection_->prepareOnce(
      "SELECT p.pk, coalesce(v.triedAt, p.processedAt), p.sizeBytes, p.liveMotionSize,"
      " v.triedAt IS NOT NULL FROM catalog.Photo p LEFT JOIN Verified v ON v.id = p.id");
  while (rows.step()) {
    const auto bytes = [&](int column) {
      return std::clamp<std::int64_t>(rows.integer(column), 0, kMaxBytes);
    };
    const bool isKnown = !rows.isNull(1) && rows.real(1) <= now.seconds;
    const CatalogDate triedAt{isKnown ? rows.real(1) : -std::numeric_limits<double>::infinity()};
    const Planned item{rows.integer(0), triedAt, bytes(2) + bytes(3)};
    plan.bytes += static_cast<double>(item.bytes);
    if (triedAt < since) {
      plan.items.push_back(item);
    } else if (rows.integer(4) != 0) {
      plan.triedBytes += static_cast<double>(item.bytes);
    }
  }
  std::sort(plan.items.begin(), plan.items.end(), [](const Planned& a, const Planned& b) {
    return std::pair(a.triedAt.seconds, a.row) < std::pair(b.triedAt.seconds, b.row);
  });
  return plan;
}

std::optional<CatalogDate> VerificationTimes::oldest(CatalogDate now) {
  const AttachedCatalog attached(*connection_, catalog_);
  auto row = connection_->prepareOnce(
      "SELECT count(*), min(iif(t <= ?1, t, NULL)), count(iif(t <= ?1, 1, NULL)) FROM"
      " (SELECT coalesce(v.verifiedAt, p.processedAt) AS t FROM catalog.Photo p"
      "  LEFT JOIN Verified v ON v.id = p.id WHERE p.trashedAt IS NULL)");
  row.bind(1, now.seconds).step();
  if (row.integer(0) == 0) {
    return now;
  }
  const bool wereAllVerified = row.integer(0) == row.integer(2);
  return wereAllVerified ? std::optional(CatalogDate{row.real(1)}) : std::nullopt;
}

void VerificationTimes::write(std::span<const Entry> entries) {
  if (entries.empty()) {
    return;
  }
  Transaction transaction(*connection_);
  for (const Entry& entry : entries) {
    connection_
        ->prepare(
            "INSERT INTO Verified (id, verifiedAt, triedAt) VALUES (?1, iif(?3, ?2, NULL), ?2)"
            " ON CONFLICT (id) DO UPDATE SET triedAt = excluded.triedAt,"
            " verifiedAt = coalesce(excluded.verifiedAt, verifiedAt)")
        .bind(1, std::string_view(entry.id))
        .bind(2, entry.triedAt.seconds)
        .bind(3, entry.isVerified)
        .step();
  }
  transaction.commit();
}

}  // namespace vaultmere
