// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <stdexcept>

namespace vaultmere {

/// The store refused: what was tried, and the store's own words.
class CatalogError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace vaultmere
