// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// Built with the address or thread sanitizer: its shadow memory takes terabytes of
/// address space, and its runtime makes system calls of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kHasSanitizer = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kHasSanitizer = true;
#else
inline constexpr bool kHasSanitizer = false;
#endif
#else
inline constexpr bool kHasSanitizer = false;
#endif

/// By how much a sanitizer's builds may take longer than others.
inline constexpr int kSanitizerSlowdown = kHasSanitizer ? 20 : 1;

}  // namespace vaultmere
