// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/Measurement.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace vaultmere::bench {
namespace {

double secondsOf(const Contender& side) {
  if (side.prepare) {
    side.prepare();
    ::sync();
  }
  const auto start = std::chrono::steady_clock::now();
  side.run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Statistics statisticsOf(std::vector<double> values) {
  if (values.empty()) {
    throw std::logic_error("nothing was measured");
  }
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  const double median =
      values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
  return {median, values.front(), values.back(), values.size()};
}

Statistics quotients(const std::vector<double>& over, const std::vector<double>& under) {
  std::vector<double> values;
  std::transform(over.begin(), over.end(), under.begin(), std::back_inserter(values),
                 [](double a, double b) { return a / b; });
  return statisticsOf(std::move(values));
}

/// Three digits are enough, of small numbers too.
std::string shortText(double number) {
  return number < 0.1 ? fmt::format("{:.3f}", number) : fmt::format("{:.2f}", number);
}

}  // namespace

void Rounds::add(double ours, double reference) {
  ours_.push_back(ours);
  reference_.push_back(reference);
}

Statistics Rounds::ours() const { return statisticsOf(ours_); }
Statistics Rounds::reference() const { return statisticsOf(reference_); }
Statistics Rounds::timeRatio() const { return quotients(ours_, reference_); }
Statistics Rounds::speedRatio() const { return quotients(reference_, ours_); }

Rounds measure(std::size_t rounds, const Contender& ours, const Contender& reference) {
  const auto end = std::chrono::steady_clock::now() + kTimeout;
  const auto patient = [&] { return std::chrono::steady_clock::now() < end; };
  ::sync();
  secondsOf(ours);
  secondsOf(reference);
  Rounds measured;
  while (measured.count() < rounds && (measured.count() < kMinRounds || patient())) {
    if (measured.count() % 2 == 0) {
      const double first = secondsOf(ours);
      measured.add(first, secondsOf(reference));
    } else {
      const double first = secondsOf(reference);
      measured.add(secondsOf(ours), first);
    }
  }
  return measured;
}

double residentPeak() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) {
      return std::stod(line.substr(6)) / 1024;
    }
  }
  throw std::runtime_error("no VmHWM in /proc/self/status");
}

void report(const Claim& claim, const std::string& ours, const std::string& reference,
            const Statistics& ratio) {
  const bool atLeast = claim.wanted == Wanted::atLeast;
  const bool holds = atLeast ? ratio.median >= claim.bound : ratio.median <= claim.bound;
  const std::string extremes = ratio.rounds > 1
                                   ? fmt::format("({} to {} in {})", shortText(ratio.least),
                                                 shortText(ratio.most), ratio.rounds)
                                   : "";
  fmt::print("{:<64} {:>11} to {:>11} of {:<22} {:>7} {:<22} {} {:<5} {}\n", claim.name, ours,
             reference, claim.reference, shortText(ratio.median), extremes,
             atLeast ? ">=" : "<=", shortText(claim.bound), holds ? "ok" : "BELOW");
  std::fflush(stdout);
}

}  // namespace vaultmere::bench
