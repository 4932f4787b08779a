// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "care/Scrub.h"
#include "tests/intake/Archive.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {

/// An archive whose files are scrubbed, with a clock that only moves while the
/// scrub waits for its rate.
struct ScrubbedArchive : Archive {
  ScrubbedArchive() { open(); }

  /// Freezes a file, with a motion file where one is named; gives its id. Each is
  /// one second younger than the one before.
  std::string freeze(const std::string& name, const std::string& bytes,
                     const std::string& motion = {}) {
    const fs::path still = source(name, bytes);
    std::optional<fs::path> motionFile;
    if (!motion.empty()) {
      motionFile = source(fs::path(name).stem().string() + ".mov", motion);
    }
    EXPECT_NE(ingestor().process({still, motionFile, false, {}}, false).outcome,
              IngestOutcome::failed);
    execute("UPDATE Photo SET processedAt = " + std::to_string(++frozen_) + " WHERE id = '" +
            hashOf(bytes) + "'");
    return hashOf(bytes);
  }
  void execute(const std::string& sql) {
    catalog->viewContext().perform(
        [&](Connection& connection) { connection.execute(sql.c_str()); });
  }
  [[nodiscard]] fs::path fileOf(const std::string& id, const std::string& ext = ".jpg") const {
    return root() / "2020/2020-02" / (id + ext);
  }

  /// For a run of its own, a second after the last one.
  [[nodiscard]] Scrub::Options scrubOptions() {
    now += std::chrono::seconds(1);
    return {.context = catalog->newBackgroundContext(),
            .store = catalog->store(),
            .root = {root(), nullptr},
            .since = now,
            .now = [this] { return now; },
            .clock = [this] { return ticks; },
            .pause =
                [this](std::chrono::nanoseconds time, const std::stop_token&) {
                  ticks += std::chrono::duration_cast<std::chrono::steady_clock::duration>(time);
                },
            .progress = nullptr,
            .found = [this](const ScrubFinding& finding) { findings.push_back(textOf(finding)); },
            .stop = {}};
  }
  ScrubResult scrub(Scrub::Options options) {
    findings.clear();
    return Scrub(std::move(options)).run();
  }
  ScrubResult scrub() { return scrub(scrubOptions()); }

  /// "missing a.jpg": with the first six digits of the id.
  static std::string textOf(const ScrubFinding& finding) {
    constexpr const char* kinds[] = {"other bytes ", "unreadable ", "missing "};
    const fs::path path = finding.path;
    return kinds[static_cast<int>(finding.kind)] + path.stem().string().substr(0, 6) +
           path.extension().string();
  }
  [[nodiscard]] std::vector<VerifiableItem> marked() {
    return catalog->viewContext().perform(fetchMarkedItems);
  }

  TimePoint now = CatalogDate{1'000'000}.moment();
  std::chrono::steady_clock::time_point ticks{};
  Strings findings;
  const LogCapture log;

 private:
  int frozen_ = 0;
};

}  // namespace vaultmere
