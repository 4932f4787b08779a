// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DiagnosticEnvironment.h"

#include <cstdlib>

namespace vaultmere {
namespace {

std::optional<std::string> variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

DiagnosticEnvironment DiagnosticEnvironment::fromEnvironment() {
  return {variable("VAULTMERE_SELFTEST_DIR"), variable("VAULTMERE_ARCHIVE")};
}

}  // namespace vaultmere
