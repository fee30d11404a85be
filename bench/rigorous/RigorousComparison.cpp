#include "rigorous/RigorousComparison.h"

#include <algorithm>
#include <cmath>

namespace orvo::bench {

double MedianOf(std::vector<double> values) {
  if (values.empty()) return std::nan("");
  std::ranges::sort(values);
  const size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double MedianOver(const RigorousComparison& comparison, const RoundFigure& figure) {
  std::vector<double> values;
  for (const RigorousRound& round : comparison.Rounds) values.push_back(figure(round));
  return MedianOf(std::move(values));
}

RigorousBars BarsOf(int64_t images, int threads) {
  RigorousBars bars;
  if (threads != 1 && threads != 2) return bars;
  if (images == 100) bars.fWhole = 5, bars.fSolve = 2;
  if (images == 1000) bars.fWhole = threads == 1 ? 10 : 12, bars.fSolve = 5;
  if (images == 10000) {
    bars.fWhole = 10, bars.fSolve = 5;
    bars.fPlainBytes = 0.6e9, bars.fAllBytes = 1.4e9;
  }
  return bars;
}

double CostExcess(const RigorousComparison& comparison) {
  double least = std::nan("");
  for (const RigorousRound& round : comparison.Rounds) {
    for (const RigorousRun& peer : round.Peers) least = std::fmin(least, peer.fVpv);
  }
  return MedianOver(comparison, [least](const RigorousRound& round) { return round.Plain.fVpv / least - 1; });
}

bool AddRound(const RigorousPlan& plan, bool all, RigorousComparison& comparison) {
  RigorousRound round;
  round.Peers.resize(comparison.pConfigurations.size());
  using Task = std::function<std::optional<RigorousRun>()>;
  std::vector<std::pair<Task, RigorousRun*>> tasks;
  tasks.emplace_back([&] { return RunOwn(plan, "none"); }, &round.Plain);
  for (size_t i = 0; i < round.Peers.size(); ++i) {
    const PeerConfiguration* configuration = FindPeerConfiguration(comparison.pConfigurations[i]);
    if (configuration == nullptr) return false;
    tasks.emplace_back([&plan, configuration] { return RunPeer(plan, *configuration); }, &round.Peers[i]);
  }
  if (all) {
    round.All.emplace();
    tasks.emplace_back([&] { return RunOwn(plan, "all"); }, &*round.All);
  }
  if (comparison.Rounds.size() % 2 == 1) std::ranges::reverse(tasks);
  for (const auto& [task, place] : tasks) {
    const std::optional<RigorousRun> run = task();
    if (!run) return false;
    *place = *run;
  }
  comparison.Rounds.push_back(std::move(round));
  return true;
}

}  // namespace orvo::bench
