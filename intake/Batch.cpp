// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/Batch.h"

#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {

Batch::Batch(Options options) : options_(std::move(options)), turns_(options_.pool) {
  options_.progress.total = options_.groups.size();
}

void Batch::start() {
  turns_.async([self = shared_from_this()] {
    self->options_.observer(self->options_.progress);
    const unsigned width = batchWidth(activeProcessors());
    for (unsigned i = 0; i < width; ++i) {
      self->workOnNext();
    }
    self->finishIfIdle();
  });
}

void Batch::workOnNext() {
  if (next_ == options_.groups.size() || options_.stop.stop_requested()) {
    return;
  }
  ++inWork_;
  options_.pool.post([self = shared_from_this(), &group = options_.groups[next_++]] {
    Ingestor::Result result = self->options_.ingestor.process(group, self->options_.deleteSource);
    self->turns_.async([self, &group, result = std::move(result)]() mutable {
      self->take(group, std::move(result));
    });
  });
}

void Batch::take(const AssetGroup& group, Ingestor::Result result) {
  if (result.outcome != IngestOutcome::cancelled) {
    logOutcome(group, result);
    count(result.outcome);
    result.photo.reset();
    results_.push_back(std::move(result));
    options_.observer(options_.progress);
  }
  --inWork_;
  workOnNext();
  finishIfIdle();
}

void Batch::count(IngestOutcome outcome) {
  BatchProgress& progress = options_.progress;
  ++progress.done;
  switch (outcome) {
    case IngestOutcome::inserted:
      ++progress.added;
      break;
    case IngestOutcome::duplicate:
      ++progress.duplicate;
      break;
    case IngestOutcome::skipped:
      ++progress.skipped;
      break;
    case IngestOutcome::failed:
      ++progress.failed;
      break;
    case IngestOutcome::cancelled:
      break;
  }
}

void Batch::logOutcome(const AssetGroup& group, const Ingestor::Result& result) {
  options_.log.append({{newUuid(), options_.now(), outcomeText(result.outcome), result.filename,
                        displayPath(group.primary), result.error, options_.source}});
}

void Batch::finishIfIdle() {
  if (inWork_ == 0) {
    options_.done(std::move(results_));
    options_.turn.reset();
  }
}

}  // namespace vaultmere
