// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PowerSource.h"

#include <string>

#include "platform/Files.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMaxAttribute = 4096;  // a page: what the kernel gives at most

/// The text of an attribute; empty when there is none.
std::string attributeOf(const fs::path& supply, const char* name) {
  try {
    const std::string text = readFile(supply / name, kMaxAttribute);
    return std::string(trimmed(text, kWhiteSpace));
  } catch (const FileError&) {
    return {};  // each kind of supply has its own attributes, and some drivers fail
  }
}

}  // namespace

bool runsOnBattery(const fs::path& supplies) {
  bool discharges = false;
  try {
    for (const DirectoryEntry& supply : listDirectory(supplies)) {
      if (attributeOf(supply.path, "scope") == "Device") {
        continue;
      }
      if (attributeOf(supply.path, "type") != "Battery") {
        if (attributeOf(supply.path, "online") == "1") {
          return false;
        }
      } else if (attributeOf(supply.path, "status") == "Discharging") {
        discharges = true;
      }
    }
  } catch (const FileError&) {
    return false;  // a system without power supplies to speak of
  }
  return discharges;
}

}  // namespace vaultmere
