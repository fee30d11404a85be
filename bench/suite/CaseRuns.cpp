#include "suite/CaseRuns.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {
namespace {

/// What the help of a program says that it takes; earlier ones do less, or do it always.
bool Takes(const MeasuredProgram& program, std::string_view option) {
  ProcessCommand help;
  help.pArguments = {program.szPath, "adjust", "--help"};
  const ProcessFigures figures = RunMeasured(help);
  return std::ranges::any_of(figures.Events, [option](const ProcessEvent& event) {
    return event.szText.find(option) != std::string::npos;
  });
}

std::optional<ProcessFigures> RunOnce(const MeasuredProgram& program, const BenchCase& bench,
                                      const CaseFiles& files, const std::string& output) {
  std::error_code error;
  std::filesystem::remove_all(output, error);
  std::filesystem::create_directories(output, error);
  ProcessCommand command;
  command.pArguments = {program.szPath,   "adjust", files.szProject, "--settings",
                        files.szSettings, "--out",  output};
  if (!files.szGcp.empty()) command.pArguments.insert(command.pArguments.end(), {"--gcp", files.szGcp});
  if (bench.nProcessors > 0) {
    command.pArguments.insert(command.pArguments.end(), {"--processors", std::to_string(bench.nProcessors)});
  }
  if (Takes(program, "--log")) command.pArguments.push_back("--log");
  if (Takes(program, "--residuals WHICH"))
    command.pArguments.insert(command.pArguments.end(), {"--residuals", "all"});
  command.szWatchedFolder = output;
  ProcessFigures figures = RunMeasured(command);
  if (figures.bStarted && figures.nExitCode == 0) return figures;
  std::fprintf(stderr, "orvo_bench: %s failed with exit code %d on %s; its last lines:\n",
               program.szPath.c_str(), figures.nExitCode, bench.szName.c_str());
  const size_t count = figures.Events.size();
  for (size_t i = count > 8 ? count - 8 : 0; i < count; ++i)
    std::fprintf(stderr, "  %s\n", figures.Events[i].szText.c_str());
  return std::nullopt;
}

/// All repeats of a case, the programs in turn, each first in every other round, then the peer's
/// configurations.
bool RepeatCase(const BenchCase& bench, const CaseFiles& files, const CasePlan& plan,
                std::vector<Measurement>& runs, std::vector<PeerRun>& peers) {
  const std::string output = fmt::format("{}/out-{}", plan.szWork, ::getpid());
  bool good = true;
  for (int repeat = 0; good && repeat < plan.nRepeats; ++repeat) {
    for (size_t k = 0; good && k < runs.size(); ++k) {
      const size_t p = repeat % 2 == 0 ? k : runs.size() - 1 - k;
      const auto figures = RunOnce(plan.Programs[p], bench, files, output);
      good = figures.has_value();
      if (good) AddRun(runs[p], *figures, output);
    }
    for (PeerRun& peer : peers)
      good = good && RepeatPeer(plan.szPeer, files, bench.bHasOutliers, runs.front().fFinalRms, peer);
  }
  std::error_code error;
  std::filesystem::remove_all(output, error);
  return good;
}

bool MeasureCase(const BenchCase& bench, const CasePlan& plan, Results& results) {
  const auto files = PrepareCase(bench, plan.szWork);
  if (!files) return false;
  std::vector<Measurement> runs;
  for (const MeasuredProgram& program : plan.Programs) {
    runs.emplace_back();
    runs.back().szCase = bench.szName;
    runs.back().szProgram = program.szLabel;
  }
  std::vector<PeerRun> peers;
  if (!plan.szPeer.empty()) peers = PlanPeerRuns(bench.szName, plan.pPeerConfigurations);
  if (!RepeatCase(bench, *files, plan, runs, peers)) return false;
  for (const Measurement& run : runs) {
    fmt::print("{:<20} {:<12} {:10.1f} ms wall {:10.1f} ms cpu {:8.1f} MB {:3} iterations\n", run.szCase,
               run.szProgram, 1e3 * run.fWall, 1e3 * run.fCpu, 1e-6 * static_cast<double>(run.nPeakBytes),
               run.nIterations);
    AddMeasurement(results.Runs, run);
  }
  for (PeerRun& peer : peers) {
    peer.Beside = {runs.front().fWall, runs.front().fCpu};
    peer.nBesidePeakBytes = runs.front().nPeakBytes;
    peer.fBesideRms = runs.front().fFinalRms;
    fmt::print("{:<20} {:<12} {:10.1f} ms wall {:10.1f} ms cpu {:8.1f} MB {:3} steps\n", peer.szCase,
               peer.szConfiguration, 1e3 * peer.Whole.fWall, 1e3 * peer.Whole.fCpu,
               1e-6 * static_cast<double>(peer.nPeakBytes), peer.nSteps);
    results.Peers.push_back(peer);
  }
  std::fflush(stdout);
  return true;
}

}  // namespace

bool MeasureCases(const std::vector<BenchCase>& cases, const CasePlan& plan, Results& results) {
  std::error_code error;
  std::filesystem::create_directories(plan.szWork, error);
  bool done = true;
  for (const BenchCase& bench : cases) done = MeasureCase(bench, plan, results) && done;
  return done;
}

}  // namespace orvo::bench
