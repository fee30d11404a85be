#include "report/Tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <span>

#include "report/MarkdownTable.h"

namespace orvo::bench {
namespace {

using Runs = std::vector<const Measurement*>;

struct Goal {
  const char *szCase, *szIteration, *szCpu, *szPeak;
};

constexpr std::array<Goal, 3> kGoals = {{{"100/eopiop", "4 / 6 ms", "0.1 s", "-"},
                                         {"1000/eopiop", "45 / 70 ms", "0.7 s", "-"},
                                         {"10000/eopiop", "0.6 / 1.0 s", "9 s", "1500 MB"}}};

/// In the order of a run.
constexpr std::array kPhases = {
    "start",   "pre-read",      "read images",  "thin",      "read points", "read pos",
    "prepare", "normalise",     "pattern",      "intersect", "assemble",    "merge",
    "listing", "pos equations", "damp",         "solve",     "update",      "renew equations",
    "restore", "write results", "write report", "write ovt", "exit"};

/// Variants whose phases are shown unless all are.
constexpr std::array kUsual = {"/eopiop", "/text", "/dense", "/full", "/small"};

std::string TimeText(double seconds) {
  const double ms = 1e3 * seconds;
  if (ms >= 1000) return fmt::format("{:.2f} s", seconds);
  if (ms >= 100) return fmt::format("{:.0f} ms", ms);
  if (ms >= 10) return fmt::format("{:.1f} ms", ms);
  return fmt::format("{:.2f} ms", ms);
}

/// Kernels can be short.
std::string KernelTimeText(double seconds) {
  return seconds >= 1e-3 ? TimeText(seconds) : fmt::format("{:.2f} us", 1e6 * seconds);
}

std::string MegabytesText(int64_t bytes) {
  return fmt::format("{:.0f} MB", 1e-6 * static_cast<double>(bytes));
}

std::string RatioText(double a, double b) { return b > 0 ? fmt::format("{:.1f}", a / b) : "-"; }

std::string RmsText(double rms) { return std::isfinite(rms) ? fmt::format("{:.4f}", rms) : "-"; }

std::string GoalsTable(const Runs& runs) {
  MarkdownTable table({"block", "LM iteration without / with listing", "by processor time", "goal",
                       "whole run", "processor time", "goal", "peak memory", "goal", "iterations"});
  bool any = false;
  for (const Measurement* run : runs) {
    const auto goal = std::find_if(kGoals.begin(), kGoals.end(),
                                   [&](const Goal& other) { return run->szCase == other.szCase; });
    if (goal == kGoals.end()) continue;
    any = true;
    const auto pair = [](double iteration, double listing) {
      return TimeText(std::max(0.0, iteration - listing)) + " / " + TimeText(iteration);
    };
    table.Row({run->szCase, pair(run->fIterationWall, run->fListingWall),
               pair(run->fIterationCpu, run->fListingCpu), goal->szIteration, TimeText(run->fWall),
               TimeText(run->fCpu), goal->szCpu, MegabytesText(run->nPeakBytes), goal->szPeak,
               std::to_string(run->nIterations)});
  }
  return any ? "### Goals\n\n" + table.Text() + "\n" : "";
}

std::string RunsTable(const Runs& runs) {
  if (runs.empty()) return "";
  MarkdownTable table({"case", "wall", "processor time", "iteration", "listing in it", "iterations",
                       "peak memory", "RMSE, px"});
  for (const Measurement* run : runs) {
    table.Row({run->szCase, TimeText(run->fWall), TimeText(run->fCpu), TimeText(run->fIterationWall),
               TimeText(run->fListingWall), std::to_string(run->nIterations), MegabytesText(run->nPeakBytes),
               RmsText(run->fFinalRms)});
  }
  return "### Whole runs\n\n" + table.Text() + "\n";
}

Runs RunsWithPhases(const Runs& runs, ShownPhases shown) {
  Runs some;
  for (const Measurement* run : runs) {
    const bool usual = std::any_of(kUsual.begin(), kUsual.end(),
                                   [&](const char* variant) { return run->szCase.ends_with(variant); });
    if (!run->Phases.empty() && (shown == ShownPhases::All || (shown == ShownPhases::Usual && usual)))
      some.push_back(run);
  }
  return some;
}

std::vector<std::string> HeadOf(const std::string& first, const Runs& runs) {
  std::vector<std::string> head = {first};
  for (const Measurement* run : runs) head.push_back(run->szCase);
  return head;
}

/// The known phases in their order, then others by name.
std::vector<std::string> PhaseNames(const Runs& runs) {
  std::set<std::string> met;
  for (const Measurement* run : runs) {
    for (const PhaseTime& phase : run->Phases) met.insert(phase.szName);
  }
  std::vector<std::string> names;
  for (const char* phase : kPhases) {
    if (met.erase(phase) > 0) names.emplace_back(phase);
  }
  names.insert(names.end(), met.begin(), met.end());
  return names;
}

std::string PhasesTable(const Runs& runs) {
  if (runs.empty()) return "";
  MarkdownTable table(HeadOf("phase", runs));
  for (const std::string& name : PhaseNames(runs)) {
    std::vector<std::string> row = {name};
    for (const Measurement* run : runs) {
      const auto phase = std::find_if(run->Phases.begin(), run->Phases.end(),
                                      [&](const PhaseTime& other) { return other.szName == name; });
      row.push_back(phase == run->Phases.end()
                        ? "-"
                        : fmt::format("{:.2f} / {:.2f}", 1e3 * phase->fWall, 1e3 * phase->fCpu));
    }
    table.Row(row);
  }
  return "### Where the time goes, milliseconds of wall / processor time in a whole run\n\n" + table.Text() +
         "\n";
}

std::string FilesTable(const Runs& runs) {
  std::set<std::string> names;
  for (const Measurement* run : runs) {
    for (const OutputFileSize& file : run->Files) names.insert(file.Time.szName);
  }
  names.erase("log.txt");
  if (names.empty()) return "";
  MarkdownTable table(HeadOf("file, MB at MB/s while open", runs));
  for (const std::string& name : names) {
    std::vector<std::string> row = {name};
    for (const Measurement* run : runs) {
      const auto file = std::find_if(run->Files.begin(), run->Files.end(),
                                     [&](const OutputFileSize& other) { return other.Time.szName == name; });
      if (file == run->Files.end()) {
        row.emplace_back("-");
        continue;
      }
      const double bytes = 1e-6 * static_cast<double>(file->nBytes);
      row.push_back(file->Time.fWall > 0 ? fmt::format("{:.2f} at {:.0f}", bytes, bytes / file->Time.fWall)
                                         : fmt::format("{:.2f}", bytes));
    }
    table.Row(row);
  }
  return "### Output files\n\n" + table.Text() + "\n";
}

std::string PeersTable(const std::vector<PeerRun>& peers) {
  if (peers.empty()) return "";
  MarkdownTable table({"case", "peer", "Orvo, whole", "peer, its solution", "peer, to the RMSE of Orvo",
                       "peer, whole", "its step", "steps", "peak memory", "RMSE, Orvo / peer"});
  for (const PeerRun& peer : peers) {
    const auto times = [&peer](const PeerTime& time) {
      if (time.fWall < 0) return std::string("never");
      return fmt::format("{} ({}, {})", TimeText(time.fWall), RatioText(time.fWall, peer.Beside.fWall),
                         RatioText(time.fCpu, peer.Beside.fCpu));
    };
    table.Row({peer.szCase, peer.szConfiguration, TimeText(peer.Beside.fWall), times(peer.Solve),
               times(peer.ToTarget), times(peer.Whole),
               peer.nSteps > 0 ? TimeText(peer.Solve.fWall / peer.nSteps) : "-", std::to_string(peer.nSteps),
               fmt::format("{} ({})", MegabytesText(peer.nPeakBytes),
                           RatioText(static_cast<double>(peer.nPeakBytes),
                                     static_cast<double>(peer.nBesidePeakBytes))),
               RmsText(peer.fBesideRms) + " / " + RmsText(peer.fFinalRms)});
  }
  return "### Against the peer\n\n"
         "Wall times of the peer, and in brackets how many times as long as Orvo's whole run from files to "
         "files "
         "they are,\nby wall time and by processor time.\n\n" +
         table.Text() + "\n";
}

std::string KernelsTable(const std::vector<KernelTime>& kernels) {
  if (kernels.empty()) return "";
  MarkdownTable table({"kernel", "time", "million items/s", "GB/s"});
  for (const KernelTime& kernel : kernels) {
    table.Row({kernel.szName, KernelTimeText(kernel.fWall),
               kernel.fItems > 0 ? fmt::format("{:.1f}", 1e-6 * kernel.fItems) : "-",
               kernel.fBytes > 0 ? fmt::format("{:.2f}", 1e-9 * kernel.fBytes) : "-"});
  }
  return "### Kernels\n\n" + table.Text() + "\n";
}

std::string DeviceTable(const DeviceFigures& figures) {
  MarkdownTable table({"kernels", "rays", "images", "refresh", "SumMatrix", "ConstVector", "Preconditioner",
                       "product", "product with transfers", "iteration", "bytes/ray", "of the copies"});
  for (const DeviceTime& t : figures.Times) {
    table.Row({t.szForm, fmt::format("{:.1f} M", 1e-6 * static_cast<double>(t.nRays)),
               std::to_string(t.nImages), TimeText(t.fRefresh), TimeText(t.fSumMatrix),
               TimeText(t.fConstVector), TimeText(t.fPreconditioner), TimeText(t.fProduct), TimeText(t.fStep),
               TimeText(t.fIteration), fmt::format("{:.0f}", t.fBytesPerRay),
               fmt::format("{:.1f} %", t.fPercentOfCopy)});
  }
  return fmt::format(
             "### Device path: {}, {} threads of the host\n\nLayout {}, an iteration with {} products; "
             "copies "
             "at {:.1f} GB/s.\n\n",
             figures.szDevice, figures.nProcessors, figures.nLayout, figures.nProducts,
             1e-9 * figures.fCopyBytes) +
         table.Text() + "\n";
}

}  // namespace

std::string TablesText(const Results& results, ShownPhases shown) {
  Runs runs;
  for (const Measurement& run : results.Runs) {
    if (!results.pPrograms.empty() && run.szProgram == results.pPrograms.front()) runs.push_back(&run);
  }
  std::string text;
  if (!results.pPrograms.empty())
    text = fmt::format("Measured with {} on {}, {} processors.\n\n", results.pPrograms.front(),
                       results.Machine.szProcessor, results.Machine.nProcessors);
  const Runs detailed = RunsWithPhases(runs, shown);
  text += GoalsTable(runs) + RunsTable(runs) + PhasesTable(detailed) + FilesTable(detailed) +
          PeersTable(results.Peers) + KernelsTable(results.Kernels);
  for (const DeviceFigures& figures : results.Devices) text += DeviceTable(figures);
  return text;
}

}  // namespace orvo::bench
