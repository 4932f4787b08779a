// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Uuid.h"

#include <openssl/rand.h>

#include <array>
#include <stdexcept>

namespace vaultmere {

std::string newUuid() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
    throw std::runtime_error("no random numbers");
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);  // RFC 4122 variant
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uuid;
  uuid.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      uuid += '-';
    }
    uuid += digits[bytes[i] >> 4U];
    uuid += digits[bytes[i] & 0xFU];
  }
  return uuid;
}

}  // namespace vaultmere
