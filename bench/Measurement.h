// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

// How a claim is measured. Machines are noisy, so every result is a ratio to a
// reference that runs alternately with ours, in the same process and on the same
// files.
namespace vaultmere::bench {

/// One of the two things that are compared.
struct Contender {
  std::function<void()> prepare;  ///< before each run, untimed; may be null
  std::function<void()> run;      ///< throws when it didn't do its work
};

/// A number seen in several rounds.
struct Statistics {
  double median = 0;
  double least = 0;
  double most = 0;
  std::size_t rounds = 1;
};

/// The wall times of the rounds, in seconds.
class Rounds {
 public:
  void add(double ours, double reference);

  [[nodiscard]] Statistics ours() const;
  [[nodiscard]] Statistics reference() const;
  /// Our time over the reference's, round by round: what disturbs the machine
  /// for longer than a round disturbs both.
  [[nodiscard]] Statistics timeRatio() const;
  /// The reference's time over ours: the ratio of the two speeds.
  [[nodiscard]] Statistics speedRatio() const;

  [[nodiscard]] std::size_t count() const { return ours_.size(); }

 private:
  std::vector<double> ours_;
  std::vector<double> reference_;
};

/// Runs ours and the reference alternately, once each unrecorded and then `rounds`
/// times, on a slow machine fewer times (`kTimeout`); the first of the two changes
/// from round to round. The system's write cache is flushed at the start and before
/// each run with a preparation.
[[nodiscard]] Rounds measure(std::size_t rounds, const Contender& ours, const Contender& reference);

/// Past this no further round starts, if there have been `kMinRounds`.
inline constexpr std::chrono::seconds kTimeout{60};
inline constexpr std::size_t kMinRounds = 3;

enum class Wanted { atLeast, atMost };

struct Claim {
  std::string name;
  std::string reference;  ///< what ours is compared with
  Wanted wanted = Wanted::atLeast;
  double bound = 0;  ///< of the ratio
};

/// The most memory that this process has ever had resident, in MiB. Throws
/// std::runtime_error.
[[nodiscard]] double residentPeak();

/// Prints the line of one claim: name, ours, reference, ratio with its extremes,
/// bound, and "ok" or "BELOW" as its last word. The values come with their units.
void report(const Claim& claim, const std::string& ours, const std::string& reference,
            const Statistics& ratio);

}  // namespace vaultmere::bench
