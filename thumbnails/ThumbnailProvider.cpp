// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/ThumbnailProvider.h"

#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/Files.h"
#include "thumbnails/BitmapCache.h"
#include "thumbnails/RenditionCache.h"

namespace vaultmere {
namespace {

/// 600 thumbnails come to a little more than this; display images, forty times
/// as large, would come to many gigabytes.
constexpr BitmapCache::Limits kMemoryLimits{600, std::size_t{256} << 20};

constexpr int kFullSize = std::numeric_limits<int>::max();

struct BrowserFormat {
  std::string_view ext;
  std::string_view mimeType;
};

/// What a browser shows as it is.
constexpr std::array kBrowserFormats{
    BrowserFormat{"jpg", "image/jpeg"},  BrowserFormat{"jpeg", "image/jpeg"},
    BrowserFormat{"png", "image/png"},   BrowserFormat{"gif", "image/gif"},
    BrowserFormat{"webp", "image/webp"},
};

/// Null for other extensions.
const BrowserFormat* browserFormat(std::string_view ext) {
  for (const BrowserFormat& format : kBrowserFormats) {
    if (format.ext == ext) {
      return &format;
    }
  }
  return nullptr;
}

}  // namespace

std::string_view browserMimeType(std::string_view ext) {
  const BrowserFormat* const format = browserFormat(ext);
  return format == nullptr ? std::string_view() : format->mimeType;
}

struct ThumbnailProvider::Core : std::enable_shared_from_this<Core> {
  Core(fs::path cacheFolder, MediaService& theMedia, Pools thePools,
       std::shared_ptr<AsyncSemaphore> theSlots)
      : media(theMedia),
        pools(thePools),
        slots(std::move(theSlots)),
        files(std::move(cacheFolder), theMedia) {}

  using Made = std::function<void(RenditionState)>;

  /// A thumbnail on its way.
  struct Job {
    std::vector<Made> waiting;
    Priority priority = Priority::background;
    bool isTaken = false;  ///< it is being made, or has been
  };

  /// Answers `callback` on a pool thread, with nothing if the provider has gone.
  template <typename Value>
  void answer(std::function<void(Value)> callback, Value (Core::*find)(const PhotoRef&),
              const PhotoRef& ref) {
    ThreadPool& pool = isArchiveOnline ? pools.originals : pools.cached;
    pool.post([self = shared_from_this(), callback = std::move(callback), find, ref] {
      callback(self->isShutDown ? Value{} : (self.get()->*find)(ref));
    });
  }

  void ensureThumb(const PhotoRef& ref, Made callback, Priority priority) {
    std::shared_ptr<Job> job;
    {
      const std::lock_guard lock(mutex);
      std::shared_ptr<Job>& entry = making[ref];
      const bool isNew = entry == nullptr;
      if (isNew) {
        entry = std::make_shared<Job>();
      }
      entry->waiting.push_back(std::move(callback));
      const bool isPromoted =
          priority == Priority::foreground && entry->priority == Priority::background;
      if (!isNew && !isPromoted) {
        return;
      }
      entry->priority = priority;
      job = entry;
    }
    // A promoted job waits in both lines, and whichever permit comes first makes it.
    pools.cached.post([self = shared_from_this(), ref, job, priority] {
      const bool isCached = self->files.existing(Rendering::thumbnail, ref.id).has_value();
      if (!isCached && self->isArchiveOnline) {
        self->slots->wait([self, ref, job, priority] { self->makeThumb(ref, *job, priority); },
                          priority);
      } else if (self->take(*job)) {
        self->finish(ref, *job, self->ensureFile(Rendering::thumbnail, ref, priority));
      }
    });
  }

  bool take(Job& job) {
    const std::lock_guard lock(mutex);
    return !std::exchange(job.isTaken, true);
  }

  /// With a permit.
  void makeThumb(const PhotoRef& ref, Job& job, Priority priority) {
    const bool isMine = take(job);
    const RenditionState state = isMine && !isShutDown
                                     ? ensureFile(Rendering::thumbnail, ref, priority)
                                     : RenditionState::unavailable;
    slots->signal();
    if (isMine) {
      finish(ref, job, state);
    }
  }

  /// Tells all who have asked for this one meanwhile.
  void finish(const PhotoRef& ref, Job& job, RenditionState state) {
    std::vector<Made> waiting;
    {
      const std::lock_guard lock(mutex);
      waiting = std::move(job.waiting);
      making.erase(ref);
    }
    for (const Made& callback : waiting) {
      callback(state);
    }
  }

  RenditionState ensureFile(Rendering rendering, const PhotoRef& ref,
                            Priority priority = Priority::foreground) {
    return files.existing(rendering, ref.id) ? RenditionState::made
                                             : files.make(rendering, ref, original(ref), priority);
  }

  /// A still at its full size; null when it can't be decoded.
  Image load(const MediaFile& file) {
    try {
      auto bitmap = media.scaled(file, kFullSize);
      return bitmap ? std::make_shared<const Bitmap>(std::move(*bitmap)) : nullptr;
    } catch (const MediaError&) {
      return nullptr;
    }
  }

  Image loadMade(Rendering rendering, const std::string& id) {
    const auto path = files.file(rendering, id);
    try {
      return path ? load({File::openForReading(*path)}) : nullptr;
    } catch (const FileError&) {
      return nullptr;
    }
  }

  /// What `ensureFile` has made, from memory or from its file.
  Picture pictureOf(Rendering rendering, const PhotoRef& ref, RenditionState state) {
    const std::string name = nameOf(rendering, ref);
    Image image = state == RenditionState::made ? memory.find(name) : nullptr;
    if (state == RenditionState::made && !image) {
      image = loadMade(rendering, ref.id);
      if (!image) {
        return {};
      }
      memory.insert(name, image);
    }
    return {state, std::move(image)};
  }

  Picture findDisplay(const PhotoRef& ref) {
    if (browserFormat(ref.ext) != nullptr) {
      const auto file = original(ref);
      if (file && !files.isUndecodable(Rendering::display, ref.id, *file)) {
        if (Image image = load({*file, ref.id})) {
          return {RenditionState::made, std::move(image)};
        }
      }
    }
    if (Image image = memory.find(nameOf(Rendering::display, ref))) {
      return {RenditionState::made, std::move(image)};
    }
    return pictureOf(Rendering::display, ref, ensureFile(Rendering::display, ref));
  }

  std::optional<DisplayFile> findDisplayFile(const PhotoRef& ref) {
    if (const BrowserFormat* format = browserFormat(ref.ext)) {
      if (const auto file = original(ref)) {
        return DisplayFile{file->path(), format->mimeType};
      }
    }
    if (ensureFile(Rendering::display, ref) != RenditionState::made) {
      return std::nullopt;
    }
    return DisplayFile{*files.file(Rendering::display, ref.id), "image/jpeg"};
  }

  RenditionState ensureDisplay(const PhotoRef& ref) { return ensureFile(Rendering::display, ref); }

  static std::string nameOf(Rendering rendering, const PhotoRef& ref) {
    return ref.id + (rendering == Rendering::thumbnail ? "-t" : "-d");
  }

  std::optional<File> original(const PhotoRef& ref) {
    std::unique_lock lock(mutex);
    const auto root = archiveRoot;
    lock.unlock();
    return isArchiveOnline ? openOriginal(ref, root) : std::nullopt;
  }

  MediaService& media;
  const Pools pools;
  const std::shared_ptr<AsyncSemaphore> slots;
  RenditionCache files;
  BitmapCache memory{kMemoryLimits};
  WarmUpMark warmUpMark;
  std::atomic<bool> isShutDown{false};
  std::atomic<bool> isArchiveOnline{true};
  std::mutex mutex;  // guards the rest
  std::optional<fs::path> archiveRoot;
  std::unordered_map<PhotoRef, std::shared_ptr<Job>> making;
};

ThumbnailProvider::ThumbnailProvider(fs::path cacheFolder, MediaService& media, Pools pools,
                                     std::shared_ptr<AsyncSemaphore> slots)
    : core_(std::make_shared<Core>(
          std::move(cacheFolder), media, pools,
          slots ? std::move(slots)
                : std::make_shared<AsyncSemaphore>(pools.originals, kThumbnailSlots,
                                                   kForegroundSlots))) {}

ThumbnailProvider::~ThumbnailProvider() { core_->isShutDown = true; }

void ThumbnailProvider::setArchiveRoot(std::optional<fs::path> root) {
  const std::lock_guard lock(core_->mutex);
  core_->archiveRoot = std::move(root);
}

void ThumbnailProvider::setArchiveOnline(bool isOnline) { core_->isArchiveOnline = isOnline; }

ThumbnailProvider::Image ThumbnailProvider::cached(const PhotoRef& ref) const {
  return core_->memory.find(Core::nameOf(Rendering::thumbnail, ref));
}

void ThumbnailProvider::thumbnail(const PhotoRef& ref, std::function<void(Picture)> callback) {
  if (Image image = cached(ref)) {
    core_->pools.cached.post([callback = std::move(callback), image = std::move(image)] {
      callback({RenditionState::made, image});
    });
    return;
  }
  core_->ensureThumb(
      ref,
      [core = core_, ref, callback = std::move(callback)](RenditionState state) {
        callback(core->isShutDown ? Picture{} : core->pictureOf(Rendering::thumbnail, ref, state));
      },
      Priority::foreground);
}

void ThumbnailProvider::display(const PhotoRef& ref, std::function<void(Picture)> callback) {
  core_->answer(std::move(callback), &Core::findDisplay, ref);
}

void ThumbnailProvider::ensureThumb(const PhotoRef& ref,
                                    std::function<void(RenditionState)> callback,
                                    Priority priority) {
  core_->ensureThumb(ref, std::move(callback), priority);
}

bool ThumbnailProvider::isSettled(const std::string& id) const {
  return core_->files.isSettled(Rendering::thumbnail, id);
}

void ThumbnailProvider::displayData(const PhotoRef& ref,
                                    std::function<void(std::optional<DisplayFile>)> callback) {
  core_->answer(std::move(callback), &Core::findDisplayFile, ref);
}

void ThumbnailProvider::ensureDisplay(const PhotoRef& ref,
                                      std::function<void(RenditionState)> callback) {
  core_->answer(std::move(callback), &Core::ensureDisplay, ref);
}

std::optional<fs::path> ThumbnailProvider::displayFile(std::string_view id) const {
  return core_->files.file(Rendering::display, id);
}

std::optional<fs::path> ThumbnailProvider::thumbnailFile(std::string_view id) const {
  return core_->files.file(Rendering::thumbnail, id);
}

std::uint64_t ThumbnailProvider::cacheSize() const { return core_->files.size(); }

void ThumbnailProvider::clearCache() {
  core_->memory.clear();
  core_->files.clear();
  core_->warmUpMark.reset();
}

WarmUpMark& ThumbnailProvider::warmUpMark() const { return core_->warmUpMark; }

}  // namespace vaultmere
