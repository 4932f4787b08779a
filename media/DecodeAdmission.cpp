// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/DecodeAdmission.h"

namespace vaultmere {

std::unique_lock<std::mutex> admitDecode(std::uint64_t bytes) {
  static std::mutex largeDecode;
  std::unique_lock<std::mutex> lock(largeDecode, std::defer_lock);
  if (bytes > kLargeDecodeBytes) {
    lock.lock();
  }
  return lock;
}

}  // namespace vaultmere
