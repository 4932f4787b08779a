// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaService.h"

#include <fmt/format.h>

#include <system_error>

#include "platform/FaultPoint.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

/// Files that a decoder fails at are few; a folder full of them isn't remembered
/// whole.
constexpr std::size_t kMaxFailures = 10'000;

/// What a file is recognised by: its content, else what identifies it on its disk.
std::string identityOf(const MediaFile& file) {
  if (!file.contentHash.empty()) {
    return std::string(file.contentHash);
  }
  const FileStamp stamp = file.file.status().stamp;
  return fmt::format("{}:{}:{}:{}", stamp.device, stamp.inode, stamp.size,
                     stamp.modifiedNanoseconds);
}

}  // namespace

std::optional<std::string> MediaService::problem() {
  try {
    static_cast<void>(lease(Priority::foreground));
    return std::nullopt;
  } catch (const MediaError& error) {
    return fmt::format("Photos and videos can't be read ({}). Install Vaultmere again.",
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
  const std::string identity = identityOf(file);
  if (const auto failure = knownFailure(identity)) {
    MediaAnswer answer;
    answer.pictures.resize(request.pictures.size());
    answer.failure = failure;
    return answer;
  }
  if (const int fault = faultAt("decode", file.file.path()); fault != 0) {
    throw MediaError(std::generic_category().message(fault));
  }
  MediaPool::Lease process = lease(priority);
  MediaProcess::Outcome outcome = process->ask(file.file, request, request.timeout);
  if (outcome.answer.failure) {
    process.discard();
    remember(identity, *outcome.answer.failure);
    logLine(fmt::format("Vaultmere: {} — {}", displayName(file.file.path()), outcome.failure));
  }
  return std::move(outcome.answer);
}

std::optional<Bitmap> MediaService::scaled(const MediaFile& file, int maxPixels) {
  auto answer = read(file, {.pictures = {{.maxPixels = maxPixels}}});
  auto& picture = answer.pictures.front();
  return picture ? std::optional(Bitmap{picture->width, picture->height, picture->bytes})
                 : std::nullopt;
}

std::optional<MediaFailure> MediaService::knownFailure(const std::string& file) {
  const std::lock_guard lock(mutex_);
  const auto found = failures_.find(file);
  return found == failures_.end() ? std::nullopt : std::optional(found->second);
}

void MediaService::remember(const std::string& file, MediaFailure failure) {
  const std::lock_guard lock(mutex_);
  if (failures_.size() < kMaxFailures) {
    failures_.emplace(file, failure);
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
    const std::lock_guard lock(mutex_);
    if (loggedProblem_ != error.what()) {
      loggedProblem_ = error.what();
      logLine(fmt::format("Vaultmere: media process: {}", error.what()));
    }
    throw;
  }
}

}  // namespace vaultmere
