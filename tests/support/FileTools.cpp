// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/FileTools.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>

namespace vaultmere {
namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(std::string_view what, const fs::path& path, int code) {
  throw std::runtime_error(
      fmt::format("{} “{}”: {}", what, path.string(), std::generic_category().message(code)));
}

// A stream has lost its reason by the time that it is asked; the call's errno
// is the best that there is.
void check(const std::ios& stream, std::string_view what, const fs::path& path) {
  if (!stream) fail(what, path, errno != 0 ? errno : EIO);
}

std::ofstream create(const fs::path& path) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  check(file, "create", path);
  return file;
}

std::streamsize signedSize(std::size_t size) { return static_cast<std::streamsize>(size); }

}  // namespace

void writeText(const fs::path& path, std::string_view bytes) {
  std::ofstream file = create(path);
  file.write(bytes.data(), signedSize(bytes.size()));
  file.close();
  check(file, "write", path);
}

void writeNoise(const fs::path& path, std::size_t size, std::uint64_t seed) {
  std::ofstream file = create(path);
  std::mt19937_64 random(seed);
  for (std::size_t left = size; left > 0;) {
    const auto word = std::bit_cast<std::array<char, 8>>(random());
    file.write(word.data(), signedSize(std::min(left, word.size())));
    left -= std::min(left, word.size());
  }
  file.close();
  check(file, "write", path);
}

std::string slurp(const fs::path& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  check(file, "open", path);
  if (fs::is_directory(path)) fail("read", path, EISDIR);
  return {std::istreambuf_iterator<char>(file), {}};
}

void setModified(const fs::path& path, TimePoint moment) {
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  const auto whole = std::chrono::floor<seconds>(moment);
  const timespec modified{
      .tv_sec = whole.time_since_epoch().count(),
      .tv_nsec = std::chrono::duration_cast<nanoseconds>(moment - whole).count()};
  const std::array<timespec, 2> times{timespec{.tv_sec = 0, .tv_nsec = UTIME_OMIT}, modified};
  if (::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) != 0) {
    fail("set the time of", path, errno);
  }
}

std::vector<std::string> filesBelow(const fs::path& folder) {
  std::vector<std::string> files;
  std::error_code missing;
  if (!fs::exists(folder, missing)) return files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (fs::is_directory(entry.symlink_status())) continue;
    files.push_back(entry.path().lexically_relative(folder).string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void truncateFile(const fs::path& path, std::uintmax_t size) {
  if (size > fs::file_size(path)) fail("truncate", path, EINVAL);
  fs::resize_file(path, size);
}

void overwriteBytes(const fs::path& path, std::uintmax_t offset, std::string_view bytes) {
  const std::uintmax_t size = fs::file_size(path);
  if (offset > size || bytes.size() > size - offset) fail("overwrite", path, EINVAL);
  errno = 0;
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  check(file, "open", path);
  file.seekp(static_cast<std::streamoff>(offset));
  file.write(bytes.data(), signedSize(bytes.size()));
  file.close();
  check(file, "write", path);
}

}  // namespace vaultmere
