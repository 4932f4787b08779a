// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exiv2/exiv2.hpp>
#include <span>
#include <string>

#include "media/worker/FileCursor.h"

namespace vaultmere {

/// A file as Exiv2 reads it, by its descriptor. For reading only.
class MetadataSource final : public Exiv2::BasicIo {
 public:
  /// `file` must stay open. Throws FileError.
  explicit MetadataSource(const File& file) : file_(file), cursor_(file) {}
  ~MetadataSource() override;
  MetadataSource(const MetadataSource&) = delete;
  MetadataSource& operator=(const MetadataSource&) = delete;

  int open() override;
  int close() override { return 0; }
  long write(const Exiv2::byte* data, long count) override;
  long write(BasicIo& source) override;
  int putb(Exiv2::byte data) override;
  Exiv2::DataBuf read(long count) override;
  long read(Exiv2::byte* bytes, long count) override;
  int getb() override;
  void transfer(BasicIo& source) override;
  int seek(long offset, Position from) override;
  Exiv2::byte* mmap(bool isWriteable) override;
  int munmap() override;

  [[nodiscard]] long tell() const override { return cursor_.position(); }
  [[nodiscard]] std::size_t size() const override {
    return static_cast<std::size_t>(cursor_.size());
  }
  [[nodiscard]] bool isopen() const override { return true; }
  [[nodiscard]] int error() const override { return 0; }
  [[nodiscard]] bool eof() const override { return isAtEnd_; }
  [[nodiscard]] std::string path() const override { return {}; }

 private:
  const File& file_;
  FileCursor cursor_;
  bool isAtEnd_ = false;  ///< a read has wanted more than there was
  std::span<Exiv2::byte> mapping_;
};

}  // namespace vaultmere
