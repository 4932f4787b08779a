// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "tests/support/FileTools.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {

namespace {

std::string bigEndian(std::uint64_t value) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>((value >> shift) & 0xff);
  return bytes;
}

std::string chunk(const std::string& type, const std::string& data) {
  const std::string body = type + data;
  const auto crc = crc32_z(0, reinterpret_cast<const Bytef*>(body.data()), body.size());
  return bigEndian(data.size()) + body + bigEndian(crc);
}

// A run of zero bytes, deflated so that it neither looks back at what came
// before it nor ends the stream: it can be put behind itself any number of times.
std::string deflatedZeros(std::size_t count) {
  const std::string zeros(count, '\0');
  std::string out(compressBound(count) + 64, '\0');
  z_stream stream{};
  if (deflateInit2(&stream, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("deflate can't start");
  }
  stream.next_in = reinterpret_cast<z_const Bytef*>(const_cast<char*>(zeros.data()));
  stream.avail_in = static_cast<uInt>(count);
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FULL_FLUSH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_OK) throw std::runtime_error("deflate failed");
  return out;
}

}  // namespace

void makePngBomb(const std::filesystem::path& path, int side) {
  if (side < 1) throw std::runtime_error("a picture without pixels");
  const auto rows = static_cast<std::uint64_t>(side);
  const std::uint64_t rowBytes = 1 + 3 * rows;  // the filter byte, then the pixels
  const std::uint64_t rowsAtOnce = std::clamp<std::uint64_t>(8'000'000 / rowBytes, 1, rows);

  const std::string header =
      bigEndian(rows) + bigEndian(rows) + std::string("\x08\x02\x00\x00\x00", 5);
  const std::string many = chunk("IDAT", deflatedZeros(rowBytes * rowsAtOnce));
  const std::string one = chunk("IDAT", deflatedZeros(rowBytes));
  std::string file = "\x89PNG\r\n\x1a\n" + chunk("IHDR", header) + chunk("IDAT", "\x78\xda");
  for (std::uint64_t block = 0; block < rows / rowsAtOnce; ++block) file += many;
  for (std::uint64_t row = 0; row < rows % rowsAtOnce; ++row) file += one;
  // The end: an empty last block, and the Adler-32 of nothing but zeros, whose
  // low half stays 1 and whose high half counts the bytes modulo 65,521.
  const std::uint64_t adler = (rowBytes * rows % 65'521) << 16 | 1;
  file += chunk("IDAT", std::string("\x03\x00", 2) + bigEndian(adler));
  writeText(path, file + chunk("IEND", ""));
}

}  // namespace vaultmere
