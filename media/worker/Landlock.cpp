// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/Landlock.h"

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>

#include "platform/Descriptor.h"
#include "platform/Sanitizer.h"

namespace vaultmere {
namespace {

/// What the libraries open while they decode. Paths that a system doesn't have are
/// skipped.
constexpr const char* kReadable[] = {
    // Shared libraries that are loaded when they are first needed: ImageMagick's
    // coders, libheif's plug-ins, character sets of iconv.
    "/usr/lib",
    "/usr/lib64",
    "/lib",
    "/lib64",
    "/etc/ld.so.cache",  // where the loader finds them
    // ImageMagick reads its configuration with the first picture.
    "/etc/ImageMagick-6",
    "/usr/share/ImageMagick-6",
    // LibRaw reckons with local time.
    "/etc/localtime",
};

/// A sanitizer's report and its search for leaks look at the process's own maps and
/// program. All of /proc, since a rule for one process's folder there goes when the
/// kernel drops it from its cache.
constexpr const char* kReadableForSanitizer[] = {"/proc", "/proc/self/exe"};

// Rights by the version of the interface. The build's header may be older than the
// kernel, so the numbers of its stable interface stand here.
constexpr std::uint64_t kRightsOfFirst = (std::uint64_t{1} << 13) - 1;  // EXECUTE to MAKE_SYM
constexpr std::uint64_t kRefer = std::uint64_t{1} << 13;                // 2: move between folders
constexpr std::uint64_t kTruncate = std::uint64_t{1} << 14;             // 3
constexpr std::uint64_t kDeviceControl = std::uint64_t{1} << 15;        // 5
constexpr std::uint64_t kBindAndConnectTcp = 3;                         // 4
constexpr std::uint64_t kAbstractSocketsAndSignals = 3;                 // 6
static_assert(kRightsOfFirst == (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1);

/// landlock_ruleset_attr as of version 6. An older kernel takes it as long as the
/// fields that it doesn't know are 0.
struct RulesetAttributes {
  std::uint64_t handledFiles;
  std::uint64_t handledNetwork;
  std::uint64_t scoped;
};

RulesetAttributes attributesFor(int abi) {
  return {kRightsOfFirst | (abi >= 2 ? kRefer : 0) | (abi >= 3 ? kTruncate : 0) |
              (abi >= 5 ? kDeviceControl : 0),
          abi >= 4 ? kBindAndConnectTcp : 0, abi >= 6 ? kAbstractSocketsAndSignals : 0};
}

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), "Landlock: " + what);
}

void allowReading(const Descriptor& ruleset, const char* path) {
  const Descriptor target(::open(path, O_PATH | O_CLOEXEC));
  struct stat status {};
  if (target.get() == -1 || ::fstat(target.get(), &status) == -1) {
    if (errno == ENOENT || errno == ENOTDIR || errno == EACCES) {
      return;
    }
    fail(path);
  }
  landlock_path_beneath_attr rule{};
  rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE;
  if (S_ISDIR(status.st_mode)) {
    rule.allowed_access |= LANDLOCK_ACCESS_FS_READ_DIR;
  }
  rule.parent_fd = target.get();
  if (::syscall(SYS_landlock_add_rule, ruleset.get(), LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == -1) {
    fail(path);
  }
}

}  // namespace

int restrictFiles(std::span<const std::filesystem::path> readable) {
  const auto abi = static_cast<int>(
      ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION));
  if (abi < 1) {
    return 0;  // not built in, switched off, or kept back by a container
  }
  const RulesetAttributes attributes = attributesFor(abi);
  const Descriptor ruleset(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0)));
  if (ruleset.get() == -1) {
    fail("rule set");
  }
  for (const char* path : kReadable) {
    allowReading(ruleset, path);
  }
  for (const std::filesystem::path& path : readable) {
    allowReading(ruleset, path.c_str());
  }
  if (kHasSanitizer) {
    for (const char* path : kReadableForSanitizer) {
      allowReading(ruleset, path);
    }
  }
  if (::syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == -1) {
    fail("restrict");
  }
  return abi;
}

}  // namespace vaultmere
