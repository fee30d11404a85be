#include "rigorous/RigorousReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/MarkdownTable.h"
#include "report/ResultFields.h"

namespace orvo::bench {
namespace {

PeerTime Over(const PeerTime& a, const PeerTime& b) { return {a.fWall / b.fWall, a.fCpu / b.fCpu}; }

/// The peer's whole run if it had ended at its default tolerance.
PeerTime WholeToDefault(const RigorousRun& run) {
  return {run.Whole.fWall - run.Solve.fWall + run.ToDefault.fWall,
          run.Whole.fCpu - run.Solve.fCpu + run.ToDefault.fCpu};
}

using RoundTime = std::function<PeerTime(const RigorousRound&)>;

PeerTime MedianTime(const RigorousComparison& comparison, const RoundTime& time) {
  return {MedianOver(comparison, [&](const RigorousRound& round) { return time(round).fWall; }),
          MedianOver(comparison, [&](const RigorousRound& round) { return time(round).fCpu; })};
}

struct PeerRatios {
  PeerTime Whole, WholeToDefault;  ///< over our run without precision
  PeerTime Solve, SolveToDefault;  ///< over our run with all precision; not numbers without
};

PeerRatios RatiosOf(const RigorousComparison& comparison, size_t peer) {
  const double none = std::nan("");
  const auto alone = [&](PeerTime RigorousRun::*time) {
    return MedianTime(comparison, [peer, time, none](const RigorousRound& round) {
      return round.All ? Over(round.Peers[peer].*time, round.All->Whole) : PeerTime{none, none};
    });
  };
  return {MedianTime(comparison,
                     [peer](const RigorousRound& r) { return Over(r.Peers[peer].Whole, r.Plain.Whole); }),
          MedianTime(
              comparison,
              [peer](const RigorousRound& r) { return Over(WholeToDefault(r.Peers[peer]), r.Plain.Whole); }),
          alone(&RigorousRun::Solve), alone(&RigorousRun::ToDefault)};
}

double PeakOf(const RigorousComparison& comparison, bool all) {
  return MedianOver(comparison, [all](const RigorousRound& round) {
    if (!all) return static_cast<double>(round.Plain.nPeakBytes);
    return round.All ? static_cast<double>(round.All->nPeakBytes) : std::nan("");
  });
}

PeerTime AllTime(const RigorousRound& round) {
  return round.All ? round.All->Whole : PeerTime{std::nan(""), std::nan("")};
}

std::string Number(double value, const char* form) {
  return std::isfinite(value) ? fmt::format(fmt::runtime(form), value) : "-";
}

std::string TimeText(const PeerTime& time) {
  return Number(time.fWall, "{:.2f}") + " / " + Number(time.fCpu, "{:.2f}");
}

std::string RatioText(const PeerTime& ratio) {
  return Number(ratio.fWall, "{:.1f}") + " / " + Number(ratio.fCpu, "{:.1f}");
}

std::string BarText(const std::optional<double>& bar) { return bar ? fmt::format("{:g}", *bar) : "-"; }

std::string PeakText(double bytes, const std::optional<double>& bar) {
  return Number(1e-6 * bytes, "{:.0f}") + (bar ? fmt::format(" ({:.0f})", 1e-6 * *bar) : "");
}

std::string OwnTable(const RigorousResults& results) {
  MarkdownTable table({"images", "threads", "rounds", "accepted (5)", "cost over the peer's (1e-9)",
                       "whole run, s", "with all precision, s", "peak, MB", "with all precision, MB"});
  for (const RigorousComparison& one : results.Comparisons) {
    const RigorousBars bars = BarsOf(one.nImages, one.nThreads);
    const auto plain = [](const RigorousRound& round) { return round.Plain.Whole; };
    const double accepted = MedianOver(one, [](const RigorousRound& round) { return round.Plain.nAccepted; });
    table.Row({std::to_string(one.nImages), std::to_string(one.nThreads), std::to_string(one.Rounds.size()),
               Number(accepted, "{:g}"), Number(CostExcess(one), "{:+.1e}"), TimeText(MedianTime(one, plain)),
               TimeText(MedianTime(one, AllTime)), PeakText(PeakOf(one, false), bars.fPlainBytes),
               PeakText(PeakOf(one, true), bars.fAllBytes)});
  }
  return table.Text();
}

std::string PeerTable(const RigorousResults& results) {
  MarkdownTable table({"images, threads, peer", "steps", "whole run, s", "solution, s", "peak, MB",
                       "whole : ours", "to 1e-6", "bar", "solution : ours with all precision", "to 1e-6",
                       "bar"});
  for (const RigorousComparison& one : results.Comparisons) {
    const RigorousBars bars = BarsOf(one.nImages, one.nThreads);
    for (size_t p = 0; p < one.pConfigurations.size() && !one.Rounds.empty(); ++p) {
      const RigorousRun& last = one.Rounds.back().Peers[p];
      const PeerRatios ratios = RatiosOf(one, p);
      table.Row({fmt::format("{}, {}, {}", one.nImages, one.nThreads, one.pConfigurations[p]),
                 fmt::format("{} + {}", last.nAccepted, last.nRejected),
                 TimeText(MedianTime(one, [p](const RigorousRound& r) { return r.Peers[p].Whole; })),
                 TimeText(MedianTime(one, [p](const RigorousRound& r) { return r.Peers[p].Solve; })),
                 Number(1e-6 * static_cast<double>(last.nPeakBytes), "{:.0f}"), RatioText(ratios.Whole),
                 RatioText(ratios.WholeToDefault), BarText(bars.fWhole), RatioText(ratios.Solve),
                 RatioText(ratios.SolveToDefault), BarText(bars.fSolve)});
    }
  }
  return table.Text();
}

Json TimeJson(const PeerTime& time) { return Json::Object{{"wall", time.fWall}, {"cpu", time.fCpu}}; }

Json RunJson(const RigorousRun& run, bool peer) {
  Json::Object json = {{"whole", TimeJson(run.Whole)},
                       {"peak_bytes", run.nPeakBytes},
                       {"vpv", fmt::format("{:.15g}", run.fVpv)},
                       {"accepted", run.nAccepted},
                       {"rejected", run.nRejected},
                       {"converged", run.bConverged}};
  if (!peer) return json;
  json.emplace_back("read", TimeJson(run.Read));
  json.emplace_back("build", TimeJson(run.Build));
  json.emplace_back("solve", TimeJson(run.Solve));
  json.emplace_back("to_default", TimeJson(run.ToDefault));
  return json;
}

Json RatiosJson(const RigorousComparison& comparison) {
  Json::Object json;
  for (size_t p = 0; p < comparison.pConfigurations.size(); ++p) {
    const PeerRatios ratios = RatiosOf(comparison, p);
    json.emplace_back(comparison.pConfigurations[p],
                      Json::Object{{"whole", TimeJson(ratios.Whole)},
                                   {"whole_to_default", TimeJson(ratios.WholeToDefault)},
                                   {"solve", TimeJson(ratios.Solve)},
                                   {"solve_to_default", TimeJson(ratios.SolveToDefault)}});
  }
  return json;
}

Json ComparisonJson(const RigorousComparison& comparison) {
  Json::List rounds;
  for (const RigorousRound& round : comparison.Rounds) {
    Json::Object json = {{"plain", RunJson(round.Plain, false)}};
    if (round.All) json.emplace_back("all", RunJson(*round.All, false));
    for (size_t p = 0; p < round.Peers.size(); ++p)
      json.emplace_back("peer " + comparison.pConfigurations[p], RunJson(round.Peers[p], true));
    rounds.emplace_back(std::move(json));
  }
  return Json::Object{{"images", comparison.nImages},
                      {"threads", comparison.nThreads},
                      {"cost_excess", CostExcess(comparison)},
                      {"ratios", RatiosJson(comparison)},
                      {"rounds", std::move(rounds)}};
}

}  // namespace

Json RigorousJson(const RigorousResults& results) {
  Json::List comparisons;
  for (const RigorousComparison& one : results.Comparisons) comparisons.push_back(ComparisonJson(one));
  return Json::Object{{"form", "orvo-rigorous-bench"},
                      {"label", results.szLabel},
                      {"machine", FieldsJson(results.Machine)},
                      {"comparisons", std::move(comparisons)}};
}

std::string RigorousTables(const RigorousResults& results) {
  std::string text = fmt::format(
      "The rigorous method, measured with {} on {}, {} processors.\n\nTimes and ratios: wall / "
      "processor time. Bars stand in brackets or beside.\n\n### Our runs\n\n{}",
      results.szLabel, results.Machine.szProcessor, results.Machine.nProcessors, OwnTable(results));
  std::string names;
  for (const PeerConfiguration& configuration : PeerConfigurations()) {
    for (const RigorousComparison& one : results.Comparisons) {
      if (std::ranges::find(one.pConfigurations, configuration.szName) == one.pConfigurations.end()) continue;
      names += fmt::format("- `{}`: {}\n", configuration.szName, configuration.szWhat);
      break;
    }
  }
  if (!names.empty()) text += "\n### The peer\n\n" + PeerTable(results) + "\n" + names;
  return text;
}

}  // namespace orvo::bench
