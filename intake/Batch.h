// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include "intake/IngestCoordinator.h"
#include "platform/SerialQueue.h"

namespace vaultmere {

/// One batch under way: keeps up to `width` groups in work until all are done,
/// and takes their results one at a time. Lives until its last group has ended,
/// and holds the coordinator's turn for as long.
class Batch : public std::enable_shared_from_this<Batch> {
 public:
  struct Options {
    std::shared_ptr<const IngestCoordinator> coordinator;  ///< kept alive
    const Ingestor& ingestor;
    ImportLog& log;
    std::function<TimePoint()> now;
    ThreadPool& pool;
    std::vector<AssetGroup> groups;
    bool deleteSource = false;
    std::string source;  ///< the log's word for where the groups come from
    std::stop_token stop;
    BatchProgress progress;
    std::function<void(const BatchProgress&)> observer;
    std::function<void(std::vector<Ingestor::Result>)> done;
    std::shared_ptr<TurnQueue::Turn> turn;
  };

  explicit Batch(Options options);

  /// Reports the first progress and starts the first groups.
  void start();

 private:
  void workOnNext();
  void take(const AssetGroup& group, Ingestor::Result result);
  void count(IngestOutcome outcome);
  void logOutcome(const AssetGroup& group, const Ingestor::Result& result);
  void finishIfIdle();

  Options options_;
  SerialQueue turns_;  // guards the rest
  std::size_t next_ = 0;
  std::size_t inWork_ = 0;
  std::vector<Ingestor::Result> results_;
};

}  // namespace vaultmere
