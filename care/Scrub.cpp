// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/Scrub.h"

#include <fmt/format.h>

#include <cerrno>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <mutex>

#include "intake/ArchivedPlace.h"
#include "intake/FileHash.h"
#include "platform/IoPriority.h"
#include "platform/Log.h"
#include "platform/Sha256.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::chrono::milliseconds kProgressInterval{200};
constexpr std::int64_t kMaxLogged = 100;  // lines of one kind of finding

/// A drive that is being lost may still have its folders in memory, and answers
/// every read with an error.
constexpr unsigned kMaxFailuresInARow = 50;

/// The archive has gone away: what can't be found then isn't missing.
class OutOfReach : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

void pauseInRealTime(std::chrono::nanoseconds time, const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any wakes;
  std::unique_lock lock(mutex);
  (void)wakes.wait_for(lock, stop, time, [] { return false; });
}

const char* textOf(ScrubFinding::Kind kind) {
  switch (kind) {
    case ScrubFinding::Kind::otherBytes:
      return "has other bytes than were frozen";
    case ScrubFinding::Kind::unreadable:
      return "can't be read";
    case ScrubFinding::Kind::missing:
      break;
  }
  return "is missing";
}

std::int64_t& countOf(ScrubResult& result, ScrubFinding::Kind kind) {
  switch (kind) {
    case ScrubFinding::Kind::otherBytes:
      return result.otherBytes;
    case ScrubFinding::Kind::unreadable:
      return result.unreadable;
    case ScrubFinding::Kind::missing:
      break;
  }
  return result.missing;
}

}  // namespace

Scrub::Scrub(Options options)
    : options_(std::move(options)),
      times_(options_.store),
      bucket_(options_.bytesPerSecond, options_.clock),
      timesKeptAt_(options_.clock()),
      hashesKeptAt_(timesKeptAt_) {}

ScrubResult Scrub::run() {
  const IdleIoPriority idle;
  const auto plan = times_.plan(CatalogDate::of(options_.since), CatalogDate::of(options_.now()));
  double left = options_.sharePercent >= 100
                    ? std::numeric_limits<double>::infinity()
                    : plan.bytes * options_.sharePercent / 100 - plan.triedBytes;
  plannedBytes_ = static_cast<std::int64_t>(std::max(0.0, std::min(left, plan.bytes)));
  try {
    for (const VerificationTimes::Planned& planned : plan.items) {
      if (left <= 0) {
        break;
      }
      if (options_.stop.stop_requested()) {
        result_.end = ScrubResult::End::stopped;
        break;
      }
      lookAt(planned);
      left -= static_cast<double>(planned.bytes);
      keepWhenDue();
    }
  } catch (const OutOfReach& error) {
    result_.end = ScrubResult::End::outOfReach;
    result_.error = error.what();
  } catch (const FileError& error) {
    if (error.code() != ECANCELED) {
      throw;
    }
    result_.end = ScrubResult::End::stopped;
  }
  keepHashes();
  keepTimes();
  result_.oldest = times_.oldest(CatalogDate::of(options_.now()));
  endLog();
  return result_;
}

void Scrub::lookAt(const VerificationTimes::Planned& planned) {
  const auto item = options_.context->perform(
      [&](Connection& connection) { return fetchVerifiableItem(connection, planned.row); });
  if (!item) {
    return;  // gone since the plan was made
  }
  learntHash_.reset();
  bool isVerified = verify(*item, ArchivedPart::primary) == Verdict::sound;
  if (item->hasMotion) {
    const Verdict motion = verify(*item, ArchivedPart::motion);
    isVerified = isVerified && (motion == Verdict::sound || motion == Verdict::learnt);
  }
  if (result_.items++ == 0 && std::isfinite(planned.triedAt.seconds)) {
    result_.since = planned.triedAt;
  }
  VerificationTimes::Entry entry{item->id, CatalogDate::of(options_.now()), isVerified};
  if (learntHash_) {
    learnt_.push_back({item->row, std::move(*learntHash_), std::move(entry)});
  } else {
    entries_.push_back(std::move(entry));
  }
}

/// What came of one file. A failure is a finding, unless the archive has gone.
Scrub::Verdict Scrub::verify(const VerifiableItem& item, ArchivedPart part) {
  Verdict verdict = Verdict::failed;
  try {
    verdict = compare(item, part);
  } catch (const FileError& error) {
    if (error.code() == ECANCELED) {
      throw;
    }
    requireRoot();
    report({ScrubFinding::Kind::unreadable, item.id, part,
            displayPath(options_.root.path / placeOf(item, part)), error.what()});
    if (++failuresInARow_ >= kMaxFailuresInARow) {
      throw OutOfReach(error.what());
    }
    return verdict;
  }
  failuresInARow_ = 0;
  result_.files += verdict == Verdict::sound || verdict == Verdict::learnt ? 1 : 0;
  return verdict;
}

Scrub::Verdict Scrub::compare(const VerifiableItem& item, ArchivedPart part) {
  const fs::path place = options_.root.path / placeOf(item, part);
  const auto first = read(item, part);
  if (!first) {
    requireRoot();
    if (!item.isTrashed) {
      report({ScrubFinding::Kind::missing, item.id, part, displayPath(place), {}});
    }
    return Verdict::failed;
  }
  const auto expected = part == ArchivedPart::primary ? std::optional(item.id) : item.motionHash;
  if (!expected) {
    learntHash_ = first->hash;
    return Verdict::learnt;
  }
  const auto again = first->hash == *expected ? first : read(item, part);
  if (again && again->hash == *expected) {
    if (item.mark(part)) {
      options_.context->perform(
          [&](Connection& connection) { clearMark(connection, item.row, part); });
      logLine("Vaultmere: scrub: sound again, and no longer marked — " + first->path);
    } else if (first->hash != *expected) {
      logLine("Vaultmere: scrub: read with other bytes, then with the right ones — " + first->path);
    }
    return Verdict::sound;
  }
  if (!again || again->hash != first->hash) {
    report({ScrubFinding::Kind::unreadable, item.id, part, first->path,
            "two readings gave two results"});
    return Verdict::failed;
  }
  if (!isHash(*expected)) {
    report({ScrubFinding::Kind::unreadable, item.id, part, first->path, "its row has no hash"});
    return Verdict::failed;
  }
  options_.context->perform(
      [&](Connection& connection) { markFile(connection, item.row, part, first->hash); });
  report({ScrubFinding::Kind::otherBytes, item.id, part, first->path, first->hash});
  return Verdict::bad;
}

/// Reads a file from the medium, within the rate; absent when there is none.
std::optional<Scrub::Reading> Scrub::read(const VerifiableItem& item, ArchivedPart part) {
  auto file = openArchived(options_.root, item, part);
  if (!file) {
    return std::nullopt;
  }
  file->dropCache();
  Sha256 hash;
  readInChunks(*file, options_.stop, [&](std::span<const std::byte> chunk) {
    hash.update(chunk);
    throttle(chunk.size());
  });
  file->dropCache();  // nobody else has asked for these pages
  return Reading{displayPath(file->path()), hash.hexDigest()};
}

void Scrub::throttle(std::size_t bytes) {
  result_.bytes += static_cast<std::int64_t>(bytes);
  const auto now = options_.clock();
  if (options_.progress && now - progressAt_ >= kProgressInterval) {
    progressAt_ = now;
    options_.progress({result_.files, result_.bytes, plannedBytes_});
  }
  const auto wait = bucket_.take(bytes);
  if (wait > wait.zero()) {
    (options_.pause ? options_.pause : pauseInRealTime)(wait, options_.stop);
  }
}

void Scrub::report(ScrubFinding finding) {
  if (++countOf(result_, finding.kind) <= kMaxLogged) {
    logLine(fmt::format("Vaultmere: scrub: {} — {}{}{}", textOf(finding.kind), finding.path,
                        finding.detail.empty() ? "" : ": ", finding.detail));
  }
  if (options_.found) {
    options_.found(finding);
  }
}

void Scrub::endLog() const {
  using Kind = ScrubFinding::Kind;
  for (const Kind kind : {Kind::otherBytes, Kind::unreadable, Kind::missing}) {
    ScrubResult counts = result_;
    if (const std::int64_t more = countOf(counts, kind) - kMaxLogged; more > 0) {
      logLine(fmt::format("Vaultmere: scrub: {} — {} more", textOf(kind), more));
    }
  }
}

void Scrub::requireRoot() const {
  try {
    (void)options_.root.open();
  } catch (const FileError& error) {
    throw OutOfReach(error.what());
  }
}

// MARK: What is kept

void Scrub::keepWhenDue() {
  const auto now = options_.clock();
  if (now - hashesKeptAt_ >= kHashesInterval) {
    keepHashes();
    hashesKeptAt_ = now;
  }
  if (now - timesKeptAt_ >= kTimesInterval) {
    keepTimes();
    timesKeptAt_ = now;
  }
}

void Scrub::keepTimes() {
  times_.write(entries_);
  entries_.clear();
}

void Scrub::keepHashes() {
  if (learnt_.empty()) {
    return;
  }
  options_.context->perform([&](Connection& connection) {
    Transaction transaction(connection);
    for (const Learnt& learnt : learnt_) {
      learnMotionHash(connection, learnt.row, learnt.hash);
    }
    transaction.commit();
  });
  for (Learnt& learnt : learnt_) {
    entries_.push_back(std::move(learnt.entry));
  }
  learnt_.clear();
}

}  // namespace vaultmere
