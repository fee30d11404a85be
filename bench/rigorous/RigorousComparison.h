// Rounds of both programs on one block with some threads, and what follows from them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "rigorous/RigorousRuns.h"

namespace orvo::bench {

/// All runs of one round, one after the other; every other round goes backwards.
struct RigorousRound {
  RigorousRun Plain;               ///< without precision
  std::optional<RigorousRun> All;  ///< with the precision of everything
  std::vector<RigorousRun> Peers;  ///< by configuration
};

struct RigorousComparison {
  int64_t nImages = 0;
  int nThreads = 1;
  std::vector<std::string> pConfigurations;  ///< of the peer; none: without it
  std::vector<RigorousRound> Rounds;
};

/// The middle one, or the mean of the two; not a number without any.
double MedianOf(std::vector<double> values);

using RoundFigure = std::function<double(const RigorousRound&)>;
/// Over the rounds.
double MedianOver(const RigorousComparison& comparison, const RoundFigure& figure);

/// What a comparison has to reach, where there is a bar.
struct RigorousBars {
  std::optional<double> fWhole;  ///< peer's whole run : ours without precision, at least
  std::optional<double> fSolve;  ///< peer's solution alone : our whole run with all precision, at least
  std::optional<double> fPlainBytes, fAllBytes;  ///< peak memory, at most
};
RigorousBars BarsOf(int64_t images, int threads);
inline constexpr double kCostBar = 1e-9;  ///< ours over the peer's, less 1, at most
inline constexpr int kIterationBar = 5;   ///< accepted ones, at most

/// Ours over the smallest of the peer, less 1; not a number without the peer.
double CostExcess(const RigorousComparison& comparison);

/// Adds a round. `all`: with a run with the precision of everything. False where a run failed.
bool AddRound(const RigorousPlan& plan, bool all, RigorousComparison& comparison);

}  // namespace orvo::bench
