// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>

#include "bench/Measurement.h"
#include "catalog/Connection.h"

// The measure of all questions to a catalog: one read of the whole table.
namespace vaultmere::bench {

void scanPhotos(Connection& connection);

/// Measures and reports the claim that `ours` takes at most as long as `bound`
/// scans over the same connection. `prepare` may be null.
void compareWithScan(Connection& connection, const std::string& name, double bound,
                     const std::function<void()>& ours,
                     const std::function<void()>& prepare = nullptr);

[[nodiscard]] std::string milliseconds(const Statistics& seconds);

}  // namespace vaultmere::bench
