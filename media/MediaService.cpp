// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaService.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>

#include "platform/FaultPoint.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

/// Files that a decoder fails at are few; a folder full of them isn't remembered
/// whole.
constexpr std::size_t kMaxFailures = 20'000;

/// How many processes are tried when one ends before it is asked.
constexpr int kMaxAttempts = 2;

/// What a file is recognised by: what identifies it on its disk, and its content
/// where that is known.
std::vector<std::string> identitiesOf(const MediaFile& file) {
  const FileStamp stamp = file.file.status().stamp;
  std::vector<std::string> identities{
      fmt::format("{}:{}:{}:{}", stamp.device, stamp.inode, stamp.size, stamp.modifiedNanoseconds)};
  if (!file.contentHash.empty()) {
    identities.emplace_back(file.contentHash);
  }
  return identities;
}

MediaAnswer failedAnswer(const MediaRequest& request, MediaFailure failure) {
  MediaAnswer answer;
  answer.pictures.resize(request.pictures.size());
  answer.failure = failure;
  return answer;
}

}  // namespace

std::optional<std::string> MediaService::problem() {
  try {
    static_cast<void>(lease(Priority::foreground));
    return std::nullopt;
  } catch (const MediaError& error) {
    return fmt::format(
        "Photos and videos can't be read ({}). If that lasts, install Vaultmere again.",
        error.what());
  }
}

std::string MediaService::decoderVersion() {
  {
    const std::lock_guard lock(mutex_);
    if (!decoders_.empty()) {
      return decoders_;
    }
  }
  return lease(Priority::foreground)->ready().decoders;
}

MediaAnswer MediaService::read(const MediaFile& file, const MediaRequest& request,
                               Priority priority) {
  const auto identities = identitiesOf(file);
  if (const auto failure = knownFailure(identities)) {
    return failedAnswer(request, *failure);
  }
  if (const int fault = faultAt("decode", file.file.path()); fault != 0) {
    throw MediaError(std::generic_category().message(fault));
  }
  for (int attempt = 1;; ++attempt) {
    MediaPool::Lease process = lease(priority);
    if (const auto failure = knownFailure(identities)) {  // since this waits
      return failedAnswer(request, *failure);
    }
    try {
      MediaProcess::Outcome outcome = process->ask(file.file, request, request.timeout);
      if (outcome.answer.failure) {
        remember(identities, *outcome.answer.failure);
        process.discard();
        logLine(fmt::format("Vaultmere: {} — {}", outcome.failure, displayPath(file.file.path())));
      }
      return std::move(outcome.answer);
    } catch (const MediaError& error) {
      process.discard();
      if (attempt == kMaxAttempts) {
        logProblem(error.what());
        throw;
      }
    }
  }
}

std::optional<Bitmap> MediaService::scaled(const MediaFile& file, int maxPixels) {
  auto answer = read(file, {.pictures = {{.maxPixels = maxPixels}}});
  auto& picture = answer.pictures.front();
  return picture ? std::optional(Bitmap{picture->width, picture->height, picture->bytes})
                 : std::nullopt;
}

std::optional<MediaFailure> MediaService::knownFailure(const std::vector<std::string>& identities) {
  const std::lock_guard lock(mutex_);
  for (const std::string& identity : identities) {
    if (const auto found = failures_.find(identity); found != failures_.end()) {
      return found->second;
    }
  }
  return std::nullopt;
}

void MediaService::remember(const std::vector<std::string>& identities, MediaFailure failure) {
  const std::lock_guard lock(mutex_);
  for (const std::string& identity : identities) {
    if (failures_.size() < kMaxFailures) {
      failures_.emplace(identity, failure);
    }
  }
}

void MediaService::logProblem(const std::string& problem) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(loggedProblem_, problem) != problem) {
    logLine(fmt::format("Vaultmere: media process: {}", problem));
  }
}

MediaPool::Lease MediaService::lease(Priority priority) {
  try {
    MediaPool::Lease process = pool_.take(priority);
    const std::lock_guard lock(mutex_);
    loggedProblem_.clear();
    if (decoders_.empty()) {
      decoders_ = process->ready().decoders;
      for (const std::string& protection : process->ready().lacking) {
        logLine(fmt::format("Vaultmere: media processes run without {}", protection));
      }
    }
    return process;
  } catch (const MediaError& error) {
    logProblem(error.what());
    throw;
  }
}

}  // namespace vaultmere
