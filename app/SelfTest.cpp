// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/SelfTest.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "catalog/CatalogError.h"
#include "intake/Ingestor.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr std::size_t kShownHashDigits = 12;
constexpr std::size_t kShownLabels = 3;

std::string photoLine(const AnalyzedPhoto& photo) {
  const auto labels = std::min(photo.labels.size(), kShownLabels);
  return fmt::format(
      "SELFTEST_PHOTO {} hash={} wxh={}x{} date={}({}) color={} bw={} target={} labels={} "
      "aesthetic={}",
      photo.originalFilename, photo.id.substr(0, kShownHashDigits), photo.width.value_or(0),
      photo.height.value_or(0), photo.captureDate.value_or("nil"),
      photo.captureDateSource.value_or("none"), photo.colorFamily.value_or("nil"), photo.isBW,
      photo.targetPath,
      fmt::join(photo.labels.begin(), photo.labels.begin() + static_cast<std::ptrdiff_t>(labels),
                "|"),
      photo.aestheticScore ? fmt::format("{:.2f}", *photo.aestheticScore) : "nil");
}

/// The path as rows keep it: absolute, without "." and "..", and without a slash
/// at its end. As it stands for an empty path, or when the working folder is gone.
std::filesystem::path absolute(const std::filesystem::path& path) {
  std::error_code error;
  const auto whole = std::filesystem::absolute(path, error);
  // ".." behind a link leads elsewhere than it reads.
  const bool goesUp = std::find(whole.begin(), whole.end(), "..") != whole.end();
  const auto normal =
      goesUp && !error ? std::filesystem::weakly_canonical(whole, error) : whole.lexically_normal();
  if (error) {
    return path;
  }
  return normal.has_filename() ? normal : normal.parent_path();
}

/// Makes the root and says which device it lies on. When it can't be made, each
/// file's own failure tells.
std::optional<dev_t> makeRoot(const std::filesystem::path& root) {
  try {
    makeDirectories(root);
  } catch (const FileError& error) {
    logLine(fmt::format("Vaultmere: archive not made — {}", error.what()));
  }
  const auto status = fileStatus(root);
  return status ? std::optional(status->stamp.device) : std::nullopt;
}

}  // namespace

void SelfTest::tryHooks(const DiagnosticEnvironment& variables, ThreadPool& pool) const {
  if (variables.selfTestFolder && variables.selfTestArchive) {
    pool.post([self = *this, folder = *variables.selfTestFolder,
               archive = *variables.selfTestArchive] { self.run(folder, archive); });
  }
}

void SelfTest::run(const std::string& folder, const std::string& archive) const {
  std::shared_ptr<CatalogContext> context;
  try {
    context = catalog->newBackgroundContext();
  } catch (const CatalogError& error) {
    logLine(fmt::format("Vaultmere: self-test without a catalog — {}", error.what()));
    return;
  }
  const std::filesystem::path root = absolute(archive);
  const auto device = makeRoot(root);
  const Ingestor ingestor =
      Ingestor::Factory({.root = {root, [device](dev_t current) { return device == current; }},
                         .media = media,
                         .gate = nullptr,
                         .neverScanned = protectedFolders,
                         .neverRemoved = protectedFolders,
                         .vision = vision,
                         .stop = stop})
          .make(CatalogWriter(context));
  if (const auto problem = ingestor.problem()) {
    logLine(fmt::format("Vaultmere: self-test not begun — {}", *problem));
    return;
  }
  logLine(fmt::format("SELFTEST_BEGIN dir={} archive={}", folder, archive));
  const auto first = ingestor.ingestFolder(folder, false);
  if (stop.stop_requested()) {
    return;
  }
  for (const Ingestor::Result& result : first) {
    logLine(fmt::format("SELFTEST_RESULT {} -> {} {}", result.filename, outcomeText(result.outcome),
                        result.error.value_or("")));
  }
  for (const Ingestor::Result& result : first) {
    if (result.photo) {
      logLine(photoLine(*result.photo));
    }
  }
  const auto second = ingestor.ingestFolder(folder, false);
  if (stop.stop_requested()) {
    return;
  }
  const auto again = std::count_if(second.begin(), second.end(), [](const Ingestor::Result& r) {
    return r.outcome == IngestOutcome::duplicate;
  });
  logLine(fmt::format("SELFTEST_END count={} redup={}/{}", first.size(), again, second.size()));
}

}  // namespace vaultmere
