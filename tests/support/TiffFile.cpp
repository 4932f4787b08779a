// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/TiffFile.h"

#include <cmath>

namespace vaultmere {

namespace {

constexpr std::uint16_t kByte = 1;
constexpr std::uint16_t kAscii = 2;
constexpr std::uint16_t kShort = 3;
constexpr std::uint16_t kLong = 4;
constexpr std::uint16_t kSignedRational = 10;

std::uint32_t size32(std::size_t size) { return static_cast<std::uint32_t>(size); }

}  // namespace

std::string littleEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int byte = 0; byte < bytes; ++byte, value >>= 8) text += static_cast<char>(value & 0xff);
  return text;
}

void TiffDirectory::bytes(std::uint16_t tag, std::string_view values) {
  values_[tag] = {kByte, size32(values.size()), std::string(values)};
}

void TiffDirectory::text(std::uint16_t tag, const std::string& value) {
  values_[tag] = {kAscii, size32(value.size() + 1), value + '\0'};
}

void TiffDirectory::shorts(std::uint16_t tag, const std::vector<std::uint16_t>& values) {
  std::string bytes;
  for (const std::uint16_t value : values) bytes += littleEndian(value, 2);
  values_[tag] = {kShort, size32(values.size()), bytes};
}

void TiffDirectory::longs(std::uint16_t tag, const std::vector<std::uint32_t>& values) {
  std::string bytes;
  for (const std::uint32_t value : values) bytes += littleEndian(value, 4);
  values_[tag] = {kLong, size32(values.size()), bytes};
}

void TiffDirectory::rationals(std::uint16_t tag, const std::vector<double>& values) {
  std::string bytes;
  for (const double value : values) {
    const auto parts = static_cast<std::int32_t>(std::lround(value * 10'000));
    bytes += littleEndian(static_cast<std::uint32_t>(parts), 4) + littleEndian(10'000, 4);
  }
  values_[tag] = {kSignedRational, size32(values.size()), bytes};
}

TiffFile::TiffFile() : bytes_(std::string("II*\0", 4) + littleEndian(0, 4)) {}

std::uint32_t TiffFile::add(std::string_view data) {
  if (bytes_.size() % 2 != 0) bytes_ += '\0';  // everything stands at an even offset
  const std::uint32_t offset = size32(bytes_.size());
  bytes_ += data;
  return offset;
}

std::uint32_t TiffFile::add(const TiffDirectory& directory) {
  std::string entries = littleEndian(size32(directory.values_.size()), 2);
  for (const auto& [tag, value] : directory.values_) {
    entries += littleEndian(tag, 2) + littleEndian(value.type, 2) + littleEndian(value.count, 4);
    std::string field = value.bytes.size() <= 4 ? value.bytes : littleEndian(add(value.bytes), 4);
    field.resize(4, '\0');
    entries += field;
  }
  return add(entries + littleEndian(0, 4));
}

std::string TiffFile::finish(const TiffDirectory& first) {
  bytes_.replace(4, 4, littleEndian(add(first), 4));
  return bytes_;
}

}  // namespace vaultmere
