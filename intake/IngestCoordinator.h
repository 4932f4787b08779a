// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "intake/ImportLog.h"
#include "intake/Ingestor.h"
#include "platform/TurnQueue.h"

namespace vaultmere {

/// The counters of a batch.
struct BatchProgress {
  std::size_t done = 0;   ///< groups finished, whatever their outcome
  std::size_t total = 0;  ///< groups in the batch
  std::size_t added = 0;
  std::size_t duplicate = 0;
  std::size_t skipped = 0;
  std::size_t failed = 0;
  std::size_t junk = 0;  ///< found while the batch was put together
  bool operator==(const BatchProgress&) const = default;
};

/// The groups that a batch works on at once: the active processors less 1, at
/// least 2 and at most 8.
[[nodiscard]] unsigned batchWidth(unsigned processors);

/// Turns files into batches: decides what goes in, runs the groups several at a
/// time, logs each outcome and reports progress.
///
/// A serial worker: its operations queue up on the queue that it is given, so
/// that two coordinators on one queue never work at once; only the groups of
/// one batch run side by side. Callbacks come on pool threads, in one order:
/// start, progress, done; they must not block. A stop keeps further groups from
/// starting, and those in flight run to their end. Groups that the ingestor's own
/// stop cancels are neither counted nor logged.
class IngestCoordinator : public std::enable_shared_from_this<IngestCoordinator> {
 public:
  struct Options {
    Ingestor ingestor;
    std::shared_ptr<ImportLog> log;
    std::function<TimePoint()> now;  ///< the wall clock of the settle test
    ThreadPool& pool;
    TurnQueue& queue;
    /// A watched file is left alone for so long after its last change, and while
    /// it is open for writing, as far as the system tells.
    std::chrono::seconds settleSeconds{5};
  };

  struct Observer {
    std::function<void()> started;  ///< its turn has come; may be null
    std::function<void(const BatchProgress&)> progress;
  };

  /// What a look at the watched folder has found.
  struct InboxScan {
    std::vector<AssetGroup> groups;  ///< those that have settled
    std::size_t unsettled = 0;       ///< groups that still change
    std::uint64_t listing = 0;       ///< the folder's fingerprint if there are such
    std::int64_t leastBytes = 0;     ///< the size of the smallest of `groups`
  };

  using InboxScanner = std::function<InboxScan(const std::filesystem::path& folder)>;

  /// The results in the order of completion. They carry no `photo`: a batch may
  /// be a whole library.
  struct BatchResult {
    std::vector<Ingestor::Result> results{};
    std::size_t junk = 0;       ///< of a drop
    std::size_t unsettled = 0;  ///< of a pass: groups that still change
    /// Of a pass whose scan found such: see `FolderListing::fingerprint`.
    std::uint64_t listing = 0;
    /// Why nothing was begun, in words for the user; see `Ingestor::problem`.
    std::optional<std::string> refusal{};
  };
  using Done = std::function<void(BatchResult)>;

  explicit IngestCoordinator(Options options);

  // What is stopped before its turn comes gives no callback but an empty `done`;
  // nothing is looked at or logged.

  /// Takes dropped files and folders. Loose files group with one another,
  /// a folder's files within their folder; junk is logged before work starts.
  /// One that was stopped before its turn ends without a start, and logs nothing.
  void ingestDropped(std::vector<std::filesystem::path> locations, bool deleteSource,
                     std::stop_token stop, Observer observer, Done done);

  /// Gives what looks for groups among the watched folder's own files, with the
  /// present time for the settle test. It takes no turn, holds nothing of this
  /// object, which it may outlive, and blocks for as long as the folder's drive
  /// likes: not for the pool.
  [[nodiscard]] InboxScanner inboxScanner() const;

  /// Takes the groups of a scan that are still settled when its turn comes, and
  /// removes them after success. Reports no progress when there are none.
  void drainInbox(InboxScan scan, std::stop_token stop, Observer observer, Done done);

 private:
  void logJunk(const std::vector<std::filesystem::path>& junk) const;

  Options options_;
};

}  // namespace vaultmere
