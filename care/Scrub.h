// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "care/ScrubResult.h"
#include "care/TokenBucket.h"
#include "catalog/CatalogContext.h"
#include "catalog/VerificationTimes.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// Reads archived files again, those in the trash included, from the medium, and
/// compares them with what was frozen: each file with its row's `id`, a motion file
/// with the hash that the catalog has, or gets now. What was read longest ago comes
/// first.
///
/// A file with other bytes is read again; after two equal wrong readings it is
/// marked in the catalog, and nothing else happens to it. A right reading takes a
/// mark off. Missing and unreadable files are named, and don't count as verified. A
/// trashed file that is missing is none of them: the user may empty the trash.
///
/// Times of reading are kept every half minute and at the end, so the next run goes
/// on where one was stopped or killed. Runs on one thread, with idle I/O priority,
/// for hours: not on a thread that others wait for.
class Scrub {
 public:
  struct Options {
    std::shared_ptr<CatalogContext> context;  ///< of its own
    std::filesystem::path store;              ///< the catalog's
    ArchiveRoot root;
    /// What was read since then is done: it isn't read again, and counts as part of
    /// the share. The present moment for a run of its own.
    TimePoint since;
    double sharePercent = 100;        ///< of the archive's bytes; at least one item is read
    std::int64_t bytesPerSecond = 0;  ///< 0: as fast as it goes
    std::function<TimePoint()> now = std::chrono::system_clock::now;
    TokenBucket::Clock clock = std::chrono::steady_clock::now;
    /// Waits, to keep the rate, until the time is over or a stop is requested. Null
    /// waits in real time.
    std::function<void(std::chrono::nanoseconds, const std::stop_token&)> pause;
    /// Called on the scrub's thread, a few times a second; may be null.
    std::function<void(const ScrubProgress&)> progress;
    /// Called on the scrub's thread for each finding; may be null. The log has the
    /// first hundred of each kind besides.
    std::function<void(const ScrubFinding&)> found;
    std::stop_token stop;
  };

  /// How often times are kept.
  static constexpr std::chrono::seconds kTimesInterval{30};
  /// How often hashes of motion files are, that had none: they go into the catalog,
  /// whose readers drop their totals then.
  static constexpr std::chrono::minutes kHashesInterval{10};

  explicit Scrub(Options options);

  /// Once. Throws CatalogError; then what hasn't been kept will be read again.
  [[nodiscard]] ScrubResult run();

 private:
  enum class Verdict { sound, learnt, bad, failed };
  struct Reading {
    std::string path;
    std::string hash;
  };

  void lookAt(const VerificationTimes::Planned& planned);
  [[nodiscard]] Verdict verify(const VerifiableItem& item, ArchivedPart part);
  [[nodiscard]] Verdict compare(const VerifiableItem& item, ArchivedPart part);
  [[nodiscard]] std::optional<Reading> read(const VerifiableItem& item, ArchivedPart part);
  void throttle(std::size_t bytes);
  void report(ScrubFinding finding);
  void requireRoot() const;
  void keepWhenDue();
  void keepTimes();
  void keepHashes();
  void endLog() const;

  const Options options_;
  VerificationTimes times_;
  TokenBucket bucket_;
  ScrubResult result_;
  std::int64_t plannedBytes_ = 0;
  unsigned failuresInARow_ = 0;
  std::vector<VerificationTimes::Entry> entries_;

  /// A motion file's hash that isn't in the catalog yet; its item's time waits.
  struct Learnt {
    std::int64_t row;
    std::string hash;
    VerificationTimes::Entry entry;
  };
  std::vector<Learnt> learnt_;
  std::optional<std::string> learntHash_;  ///< of the item that is looked at
  std::chrono::steady_clock::time_point timesKeptAt_;
  std::chrono::steady_clock::time_point hashesKeptAt_;
  std::chrono::steady_clock::time_point progressAt_;
};

}  // namespace vaultmere
