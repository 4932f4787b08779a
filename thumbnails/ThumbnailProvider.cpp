// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/ThumbnailProvider.h"

#include <array>
#include <atomic>
#include <limits>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "media/ImageDecoder.h"
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

bool canBeRead(const fs::path& path) {
  try {
    (void)File::openForReading(path);
    return true;
  } catch (const FileError&) {
    return false;
  }
}

ThumbnailProvider::Image load(const std::optional<fs::path>& file) {
  auto bitmap = file ? decodeScaled(*file, kFullSize) : std::nullopt;
  return bitmap ? std::make_shared<const Bitmap>(std::move(*bitmap)) : nullptr;
}

}  // namespace

std::string_view browserMimeType(std::string_view ext) {
  const BrowserFormat* const format = browserFormat(ext);
  return format == nullptr ? std::string_view() : format->mimeType;
}

struct ThumbnailProvider::Core : std::enable_shared_from_this<Core> {
  Core(fs::path cacheFolder, ThreadPool& thePool, std::shared_ptr<AsyncSemaphore> theSlots)
      : pool(thePool), slots(std::move(theSlots)), files(std::move(cacheFolder)) {}

  using Made = std::function<void(bool)>;

  /// Answers `callback` on a pool thread, with nothing if the provider has gone.
  template <typename HttpResponse>
  void answer(std::function<void(HttpResponse)> callback,
              HttpResponse (Core::*find)(const PhotoRef&), const PhotoRef& ref) {
    pool.post([self = shared_from_this(), callback = std::move(callback), find, ref] {
      callback(self->isShutDown ? HttpResponse{} : (self.get()->*find)(ref));
    });
  }

  void ensureThumb(const PhotoRef& ref, Made callback) {
    {
      const std::lock_guard lock(mutex);
      std::vector<Made>& waiting = making[ref];
      waiting.push_back(std::move(callback));
      if (waiting.size() > 1) {
        return;
      }
    }
    pool.post([self = shared_from_this(), ref] {
      if (self->files.existing(Rendering::thumbnail, ref.id)) {
        self->finish(ref, true);
      } else {
        self->slots->wait([self, ref] { self->makeThumb(ref); });
      }
    });
  }

  /// With a permit.
  void makeThumb(const PhotoRef& ref) {
    const bool isThere = !isShutDown && ensureFile(Rendering::thumbnail, ref);
    slots->signal();
    finish(ref, isThere);
  }

  /// Tells all who have asked for this one meanwhile.
  void finish(const PhotoRef& ref, bool isThere) {
    std::vector<Made> waiting;
    {
      const std::lock_guard lock(mutex);
      const auto found = making.find(ref);
      waiting = std::move(found->second);
      making.erase(found);
    }
    for (const Made& callback : waiting) {
      callback(isThere);
    }
  }

  bool ensureFile(Rendering rendering, const PhotoRef& ref) {
    return files.existing(rendering, ref.id) || files.make(rendering, ref, root());
  }

  Image loadThumb(const PhotoRef& ref) {
    return remember(ref.id + "-t", load(files.file(Rendering::thumbnail, ref.id)));
  }

  Image findDisplay(const PhotoRef& ref) {
    if (browserFormat(ref.ext) != nullptr) {
      if (Image original = load(originalOf(ref, root()))) {
        return original;
      }
    }
    const std::string name = ref.id + "-d";
    if (Image remembered = memory.find(name)) {
      return remembered;
    }
    if (!ensureFile(Rendering::display, ref)) {
      return nullptr;
    }
    return remember(name, load(files.file(Rendering::display, ref.id)));
  }

  std::optional<DisplayFile> findDisplayFile(const PhotoRef& ref) {
    if (const BrowserFormat* format = browserFormat(ref.ext)) {
      const auto original = originalOf(ref, root());
      if (original && canBeRead(*original)) {
        return DisplayFile{*original, format->mimeType};
      }
    }
    if (!ensureFile(Rendering::display, ref)) {
      return std::nullopt;
    }
    return DisplayFile{*files.file(Rendering::display, ref.id), "image/jpeg"};
  }

  bool ensureDisplay(const PhotoRef& ref) { return ensureFile(Rendering::display, ref); }

  Image remember(const std::string& name, Image image) {
    if (image) {
      memory.insert(name, image);
    }
    return image;
  }

  std::optional<fs::path> root() {
    const std::lock_guard lock(mutex);
    return archiveRoot;
  }

  ThreadPool& pool;
  const std::shared_ptr<AsyncSemaphore> slots;
  const RenditionCache files;
  BitmapCache memory{kMemoryLimits};
  std::atomic<bool> isShutDown{false};
  std::mutex mutex;  // guards the rest
  std::optional<fs::path> archiveRoot;
  /// Thumbnails on their way, and who waits for them.
  std::unordered_map<PhotoRef, std::vector<Made>> making;
};

ThumbnailProvider::ThumbnailProvider(fs::path cacheFolder, ThreadPool& pool,
                                     std::shared_ptr<AsyncSemaphore> slots)
    : core_(std::make_shared<Core>(std::move(cacheFolder), pool, std::move(slots))) {}

ThumbnailProvider::~ThumbnailProvider() { core_->isShutDown = true; }

void ThumbnailProvider::setArchiveRoot(std::optional<fs::path> root) {
  const std::lock_guard lock(core_->mutex);
  core_->archiveRoot = std::move(root);
}

void ThumbnailProvider::thumbnail(const PhotoRef& ref, std::function<void(Image)> callback) {
  if (Image remembered = core_->memory.find(ref.id + "-t")) {
    core_->pool.post([callback = std::move(callback), remembered = std::move(remembered)] {
      callback(remembered);
    });
    return;
  }
  core_->ensureThumb(ref, [core = core_, ref, callback = std::move(callback)](bool isThere) {
    callback(isThere && !core->isShutDown ? core->loadThumb(ref) : nullptr);
  });
}

void ThumbnailProvider::display(const PhotoRef& ref, std::function<void(Image)> callback) {
  core_->answer(std::move(callback), &Core::findDisplay, ref);
}

void ThumbnailProvider::ensureThumb(const PhotoRef& ref, std::function<void(bool)> callback) {
  core_->ensureThumb(ref, std::move(callback));
}

void ThumbnailProvider::displayData(const PhotoRef& ref,
                                    std::function<void(std::optional<DisplayFile>)> callback) {
  core_->answer(std::move(callback), &Core::findDisplayFile, ref);
}

void ThumbnailProvider::ensureDisplay(const PhotoRef& ref, std::function<void(bool)> callback) {
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
}

}  // namespace vaultmere
