// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/MemoryFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

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

Mapping::Mapping(int descriptor, std::size_t size, int protection) {
  // Pages that are there already are mapped sixteen at a time when they are first read,
  // which costs less than to map each of them ahead.
  const int populate = (protection & PROT_WRITE) != 0 ? MAP_POPULATE : 0;
  void* start = ::mmap(nullptr, size, protection, MAP_SHARED | populate, descriptor, 0);
  if (start == MAP_FAILED) {
    throw FileError("map", kName, errno);
  }
  bytes_ = {static_cast<std::uint8_t*>(start), size};
}

Mapping::~Mapping() {
  if (!bytes_.empty()) {
    ::munmap(bytes_.data(), bytes_.size());
  }
}

Mapping::Mapping(Mapping&& other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}

Mapping& Mapping::operator=(Mapping&& other) noexcept {
  std::swap(bytes_, other.bytes_);
  return *this;
}

MemoryFile::MemoryFile(std::size_t size)
    : descriptor_(
          required("create", ::memfd_create("vaultmere", MFD_CLOEXEC | MFD_ALLOW_SEALING))) {
  required("enlarge", ::ftruncate(descriptor_.get(), static_cast<off_t>(size)));
  mapping_ = Mapping(descriptor_.get(), size, PROT_READ | PROT_WRITE);
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
  return {descriptor.get(), size, PROT_READ};
}

}  // namespace vaultmere
