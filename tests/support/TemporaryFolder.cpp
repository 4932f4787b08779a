// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>
#include <sys/mount.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace vaultmere {
namespace fs = std::filesystem;

namespace {

// A test may have mounted something here, which must neither be emptied nor
// stand in the way. And it may have taken all permissions away; without them
// nothing below can be listed or removed.
void openUp(const fs::path& folder) {
  while (::umount2(folder.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW) == 0) {
  }
  std::error_code error;
  fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, error);
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (fs::is_directory(entry->symlink_status(ignored))) openUp(entry->path());
  }
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::canonical(fs::temp_directory_path()) / "vaultmere-test-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp " + name);
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  openUp(path_);
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace vaultmere
