// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/UndecodableFiles.h"

#include <fmt/format.h>

#include <cerrno>
#include <span>
#include <sstream>
#include <system_error>
#include <utility>

namespace vaultmere {
namespace {

/// More than 100,000 lines; a longer file isn't one of ours.
constexpr std::size_t kMaxBytes = std::size_t{16} << 20;

std::string textOf(const fs::path& file) {
  try {
    return readFile(file, kMaxBytes);
  } catch (const FileError& error) {
    if (error.code() == EFBIG) {
      std::error_code ignored;
      fs::remove(file, ignored);
    }
    return {};
  }
}

}  // namespace

UndecodableFiles::UndecodableFiles(fs::path file, std::function<std::string()> decoders)
    : file_(std::move(file)), decoders_(std::move(decoders)) {}

void UndecodableFiles::add(Rendering rendering, const std::string& id, const FileStamp& original) {
  const std::lock_guard lock(mutex_);
  load();
  if (!isLoaded_) {
    return;
  }
  const Key key{rendering, id};
  entries_[key] = versionOf(original);
  try {
    makeDirectories(file_.parent_path(), 0700);
    File file = File::openForAppending(file_);
    const std::string line =
        (file.status().stamp.size == 0 ? header_ : "") + lineOf(key, entries_[key]);
    file.write(std::as_bytes(std::span(line)));
    file.close();
  } catch (const FileError&) {
    // Known to this process only; the next one decodes once more.
  }
}

bool UndecodableFiles::contains(Rendering rendering, const std::string& id) {
  const std::lock_guard lock(mutex_);
  return find(rendering, id) != nullptr;
}

bool UndecodableFiles::contains(Rendering rendering, const std::string& id,
                                const FileStamp& original) {
  const std::lock_guard lock(mutex_);
  const Version* const found = find(rendering, id);
  return found != nullptr && *found == versionOf(original);
}

void UndecodableFiles::clear() {
  const std::lock_guard lock(mutex_);
  load();
  entries_.clear();
  std::error_code ignored;
  fs::remove(file_, ignored);
}

UndecodableFiles::Version UndecodableFiles::versionOf(const FileStamp& stamp) {
  return {stamp.inode, stamp.size, stamp.modifiedNanoseconds};
}

std::string UndecodableFiles::lineOf(const Key& key, const Version& version) {
  return fmt::format("{} {} {} {} {}\n", key.first == Rendering::thumbnail ? 't' : 'd', key.second,
                     version.inode, version.size, version.modifiedNanoseconds);
}

/// Writes the file anew when it has lines that don't count: of other decoders,
/// replaced ones, and one that broke off.
void UndecodableFiles::load() {
  if (isLoaded_) {
    return;
  }
  try {
    header_ = std::string(kHeader) + decoders_() + "\n";
    isLoaded_ = true;
  } catch (const std::exception&) {
    return;
  }
  const std::string text = textOf(file_);
  if (text.starts_with(header_)) {
    std::istringstream lines(text.substr(header_.size()));
    char rendering = 0;
    std::string id;
    Version version;
    while (lines >> rendering >> id >> version.inode >> version.size >>
           version.modifiedNanoseconds) {
      entries_[{rendering == 't' ? Rendering::thumbnail : Rendering::display, id}] = version;
    }
  }
  std::string wanted = entries_.empty() ? "" : header_;
  for (const auto& [key, version] : entries_) {
    wanted += lineOf(key, version);
  }
  if (text.size() == wanted.size()) {
    return;
  }
  try {
    writeFileAtomically(file_, wanted, Durability::crash);
  } catch (const FileError&) {
    // It is tried again at the next start.
  }
}

const UndecodableFiles::Version* UndecodableFiles::find(Rendering rendering,
                                                        const std::string& id) {
  load();
  const auto found = entries_.find({rendering, id});
  return found == entries_.end() ? nullptr : &found->second;
}

}  // namespace vaultmere
