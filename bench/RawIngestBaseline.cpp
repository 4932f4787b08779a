// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/RawIngestBaseline.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vips/vips.h>

#include <cstdio>
#include <future>
#include <memory>
#include <span>
#include <stdexcept>
#include <system_error>

#include "media/worker/VipsStill.h"

namespace vaultmere::bench {
namespace fs = std::filesystem;

namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr int kSamplePixels = 64;

/// A system call's value; throws when it failed.
ssize_t checked(ssize_t value, const fs::path& path) {
  if (value < 0) {
    throw std::system_error(errno, std::generic_category(), path.string());
  }
  return value;
}

class Descriptor {
 public:
  Descriptor(const fs::path& path, int flags)
      : value_(static_cast<int>(checked(::open(path.c_str(), flags | O_CLOEXEC, 0600), path))) {}
  ~Descriptor() { ::close(value_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int get() const { return value_; }

 private:
  int value_;
};

template <typename Use>
void forEachChunk(const Descriptor& in, const fs::path& path, Use&& use) {
  const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(kChunk);
  while (const ssize_t count = checked(::read(in.get(), buffer.get(), kChunk), path)) {
    use(std::span<const unsigned char>(buffer.get(), static_cast<std::size_t>(count)));
  }
}

std::string hashOf(const fs::path& path, bool dropCache) {
  const Descriptor in(path, O_RDONLY);
  if (dropCache) {
    ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_DONTNEED);
  }
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        &EVP_MD_CTX_free);
  EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
  forEachChunk(in, path, [&](std::span<const unsigned char> chunk) {
    EVP_DigestUpdate(context.get(), chunk.data(), chunk.size());
  });
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_DigestFinal_ex(context.get(), digest, &size);
  std::string hex;
  char pair[3];
  for (unsigned int i = 0; i < size; ++i) {
    std::snprintf(pair, sizeof pair, "%02x", digest[i]);
    hex += pair;
  }
  return hex;
}

void decodeSmall(const fs::path& path) {
  VipsImage* image = nullptr;
  if (vips_thumbnail(path.c_str(), &image, kSamplePixels, nullptr) != 0) {
    throw std::runtime_error(vips_error_buffer());
  }
  std::size_t size = 0;
  void* pixels = vips_image_write_to_memory(image, &size);
  g_object_unref(image);
  g_free(pixels);
  if (size == 0) {
    throw std::runtime_error(vips_error_buffer());
  }
}

void syncFolder(const fs::path& folder) {
  const Descriptor descriptor(folder, O_RDONLY | O_DIRECTORY);
  checked(::fsync(descriptor.get()), folder);
}

void copyFlushed(const fs::path& from, const fs::path& to) {
  const Descriptor in(from, O_RDONLY);
  const Descriptor out(to, O_WRONLY | O_CREAT | O_EXCL);
  forEachChunk(in, from, [&](std::span<const unsigned char> chunk) {
    if (checked(::write(out.get(), chunk.data(), chunk.size()), to) !=
        static_cast<ssize_t>(chunk.size())) {
      throw std::runtime_error("a short write to " + to.string());
    }
  });
  checked(::fsync(out.get()), to);
}

}  // namespace

RawIngestBaseline::RawIngestBaseline(fs::path folder)
    : folder_(std::move(folder)),
      database_((folder_ / "rows.sqlite").string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
  prepareVips();
  database_.exec(
      "PRAGMA journal_mode = WAL;"
      "PRAGMA synchronous = FULL;"
      "CREATE TABLE Photo (id TEXT PRIMARY KEY, targetPath TEXT);");
}

void RawIngestBaseline::freeze(const std::vector<CardPicture>& card, unsigned width) {
  std::vector<std::future<void>> workers;
  for (unsigned i = 0; i < width; ++i) {
    workers.push_back(std::async(std::launch::async, [&] { work(card); }));
  }
  for (auto& worker : workers) {
    worker.get();
  }
}

void RawIngestBaseline::work(const std::vector<CardPicture>& card) {
  for (std::size_t i = next_++; i < card.size(); i = next_++) {
    freezeOne(card[i]);
  }
  vips_thread_shutdown();
}

void RawIngestBaseline::freezeOne(const CardPicture& picture) {
  const std::string hash = hashOf(picture.file, false);
  decodeSmall(picture.file);
  const fs::path month = folder_ / picture.month;
  fs::create_directories(month);
  syncFolder(folder_);
  syncFolder(month.parent_path());
  const fs::path temporary = month / ("." + hash + ".tmp");
  copyFlushed(picture.file, temporary);
  if (hashOf(temporary, true) != hash) {
    throw std::runtime_error("a bad copy of " + picture.file.string());
  }
  const fs::path target = month / (hash + ".jpg");
  checked(::rename(temporary.c_str(), target.c_str()), target);
  syncFolder(month);
  record(hash, picture.month + "/" + hash + ".jpg");
}

void RawIngestBaseline::record(const std::string& hash, const std::string& target) {
  const std::lock_guard lock(mutex_);
  SQLite::Statement insert(database_, "INSERT INTO Photo (id, targetPath) VALUES (?, ?)");
  insert.bindNoCopy(1, hash);
  insert.bindNoCopy(2, target);
  insert.exec();
}

}  // namespace vaultmere::bench
