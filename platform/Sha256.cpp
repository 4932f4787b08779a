// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Sha256.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace vaultmere {

struct Sha256::Context {
  EVP_MD_CTX* evp = EVP_MD_CTX_new();
  ~Context() { EVP_MD_CTX_free(evp); }
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  if (context_->evp == nullptr || EVP_DigestInit_ex(context_->evp, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 isn't available");
  }
}

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(std::span<const std::byte> bytes) {
  if (EVP_DigestUpdate(context_->evp, bytes.data(), bytes.size()) != 1) {
    throw std::runtime_error("SHA-256 failed");
  }
}

std::string Sha256::hexDigest() {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int size = 0;
  if (EVP_DigestFinal_ex(context_->evp, digest.data(), &size) != 1) {
    throw std::runtime_error("SHA-256 failed");
  }
  constexpr std::string_view digits = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * std::size_t{size});
  for (unsigned int i = 0; i < size; ++i) {
    hex += digits[digest[i] >> 4U];
    hex += digits[digest[i] & 0xFU];
  }
  return hex;
}

}  // namespace vaultmere
