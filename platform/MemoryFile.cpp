// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/MemoryFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/Files.h"

namespace vaultmere {
namespace {

constexpr const char* kName = "memory file";
constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

int required(const char* operation, int result) {
  if (result == -1) {
    throw FileError(operation, kName, errno);
  }
  return result;
}

}  // namespace

// Private, since kernels before 6.7 map sealed memory in no other way; without a
// writer both are the same. Pages are mapped sixteen at a time when they are first
// read, which costs less than to map each of them ahead.
Mapping::Mapping(int descriptor, std::size_t size) {
  void* start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (start == MAP_FAILED) {
    throw FileError("map", kName, errno);
  }
  bytes_ = {static_cast<const std::uint8_t*>(start), size};
}

Mapping::~Mapping() {
  if (!bytes_.empty()) {
    ::munmap(const_cast<std::uint8_t*>(bytes_.data()), bytes_.size());
  }
}

Mapping::Mapping(Mapping&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

Mapping& Mapping::operator=(Mapping&& other) noexcept {
  std::swap(bytes_, other.bytes_);
  return *this;
}

MemoryFile::MemoryFile(std::size_t size)
    : size_(size),
      descriptor_(
          required("create", ::memfd_create("vaultmere", MFD_CLOEXEC | MFD_ALLOW_SEALING))) {
  required("enlarge", ::ftruncate(descriptor_.get(), static_cast<off_t>(size)));
}

void MemoryFile::write(std::size_t offset, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count =
        ::pwrite(descriptor_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count <= 0) {
      throw FileError("write", kName, count < 0 ? errno : ENOSPC);
    }
    offset += static_cast<std::size_t>(count);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

std::span<const std::uint8_t> MemoryFile::bytes() const {
  if (mapping_.bytes().empty()) {
    mapping_ = Mapping(descriptor_.get(), size_);
  }
  return mapping_.bytes();
}

Descriptor MemoryFile::seal() && {
  mapping_ = Mapping();
  required("seal", ::fcntl(descriptor_.get(), F_ADD_SEALS, kSeals | F_SEAL_SEAL));
  return std::move(descriptor_);
}

Mapping mapSealed(Descriptor descriptor, std::size_t size) {
  const int seals = ::fcntl(descriptor.get(), F_GET_SEALS);
  if (seals == -1 || (seals & kSeals) != kSeals) {
    throw FileError("map", kName, EPERM);
  }
  struct stat status {};
  required("stat", ::fstat(descriptor.get(), &status));
  if (size == 0 || status.st_size < 0 || static_cast<std::size_t>(status.st_size) != size) {
    throw FileError("map", kName, EINVAL);
  }
  return {descriptor.get(), size};
}

}  // namespace vaultmere
