// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/MetadataSource.h"

#include <sys/mman.h>

#include <cstdio>

namespace vaultmere {

MetadataSource::~MetadataSource() { MetadataSource::munmap(); }

int MetadataSource::open() {
  isAtEnd_ = false;
  return cursor_.seek(0, SEEK_SET) ? 0 : 1;
}

long MetadataSource::write(const Exiv2::byte* /*data*/, long /*count*/) { return 0; }
long MetadataSource::write(BasicIo& /*source*/) { return 0; }
int MetadataSource::putb(Exiv2::byte /*data*/) { return EOF; }

void MetadataSource::transfer(BasicIo& /*source*/) {
  throw Exiv2::Error(Exiv2::kerFunctionNotSupported);
}

Exiv2::DataBuf MetadataSource::read(long count) {
  if (count < 0 || count > cursor_.size()) {
    throw Exiv2::Error(Exiv2::kerInvalidMalloc);  // a length that a file only claims to have
  }
  Exiv2::DataBuf bytes(count);
  bytes.size_ = read(bytes.pData_, count);
  return bytes;
}

long MetadataSource::read(Exiv2::byte* bytes, long count) {
  if (count <= 0) {
    return 0;
  }
  const auto got = static_cast<long>(cursor_.read({bytes, static_cast<std::size_t>(count)}));
  isAtEnd_ = isAtEnd_ || got < count;
  return got;
}

int MetadataSource::getb() {
  const int byte = cursor_.get();
  isAtEnd_ = isAtEnd_ || byte == EOF;
  return byte;
}

int MetadataSource::seek(long offset, Position from) {
  const int whence = from == beg ? SEEK_SET : from == cur ? SEEK_CUR : SEEK_END;
  const bool hasMoved = cursor_.seek(offset, whence);
  isAtEnd_ = isAtEnd_ && !hasMoved;
  return hasMoved ? 0 : 1;
}

/// Without reading all of it ahead: directories stand anywhere in a large file.
Exiv2::byte* MetadataSource::mmap(bool isWriteable) {
  munmap();
  void* start = isWriteable
                    ? MAP_FAILED
                    : ::mmap(nullptr, size(), PROT_READ, MAP_PRIVATE, file_.descriptor(), 0);
  if (start == MAP_FAILED) {
    throw Exiv2::Error(Exiv2::kerFunctionNotSupported);
  }
  mapping_ = {static_cast<Exiv2::byte*>(start), size()};
  return mapping_.data();
}

int MetadataSource::munmap() {
  if (!mapping_.empty()) {
    ::munmap(mapping_.data(), mapping_.size());
    mapping_ = {};
  }
  return 0;
}

}  // namespace vaultmere
