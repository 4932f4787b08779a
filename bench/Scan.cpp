// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Scan.h"

#include <fmt/format.h>

namespace vaultmere::bench {

void scanPhotos(Connection& connection) {
  connection.prepare("SELECT sum(sizeBytes) FROM Photo NOT INDEXED").step();
}

void compareWithScan(Connection& connection, const std::string& name, double bound,
                     const std::function<void()>& ours, const std::function<void()>& prepare) {
  constexpr std::size_t kRounds = 7;
  const Rounds rounds =
      measure(kRounds, {prepare, ours}, {nullptr, [&] { scanPhotos(connection); }});
  report({name, "one scan", Wanted::atMost, bound}, milliseconds(rounds.ours()),
         milliseconds(rounds.reference()), rounds.timeRatio());
}

std::string milliseconds(const Statistics& seconds) {
  return fmt::format("{:.2f} ms", seconds.median * 1000);
}

}  // namespace vaultmere::bench
