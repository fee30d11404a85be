#include "whole/PeerRuns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {
namespace {

/// The best ones of each size; see orvo_peer for what they are. A second thread begins to gain with many
/// images.
std::string SuitableConfigurations(int64_t images) {
  if (images < 200) return "dense-1,sparse-1";
  if (images < 5000) return "sparse-1,sparse-2,iterative-1";
  return "sparse-2,iterative-2";
}

/// The lines "name value" between "PEER {" and "}".
std::map<std::string, double> ReadAnswer(const std::vector<ProcessEvent>& events) {
  std::map<std::string, double> answer;
  bool inside = false;
  for (const ProcessEvent& event : events) {
    if (event.eKind != ProcessEvent::Kind::Line) continue;
    if (event.szText == "PEER {") {
      inside = true;
    } else if (event.szText == "}") {
      inside = false;
    } else if (inside) {
      const size_t gap = event.szText.find(' ');
      if (gap != std::string::npos)
        answer[event.szText.substr(0, gap)] = std::atof(event.szText.c_str() + gap + 1);
    }
  }
  return answer;
}

void KeepLeast(PeerTime& least, const PeerTime& time, bool first) {
  least.fWall = first ? time.fWall : std::min(least.fWall, time.fWall);
  least.fCpu = first ? time.fCpu : std::min(least.fCpu, time.fCpu);
}

std::string Multiple(const PeerTime& time, const Measurement& measurement) {
  if (time.fWall < 0) return fmt::format("{:>10} {:>6} {:>6}", "never", "", "");
  return fmt::format("{:10.1f} {:5.1f}x {:5.1f}x", 1e3 * time.fWall, time.fWall / measurement.fWall,
                     time.fCpu / measurement.fCpu);
}

}  // namespace

std::vector<PeerRun> PlanPeerRuns(const std::string& caseName, const std::string& configurations) {
  std::istringstream stream(configurations.empty() ? SuitableConfigurations(std::atoll(caseName.c_str()))
                                                   : configurations);
  std::vector<PeerRun> runs;
  for (std::string part; std::getline(stream, part, ',');) {
    if (part.find('-') == std::string::npos) {
      std::fprintf(stderr, "orvo_bench: %s is no configuration: write solver-threads, such as sparse-2\n",
                   part.c_str());
      return {};
    }
    runs.emplace_back();
    runs.back().szCase = caseName;
    runs.back().szConfiguration = part;
  }
  return runs;
}

bool RepeatPeer(const std::string& program, const CaseFiles& files, bool gross, double target, PeerRun& run) {
  const size_t dash = run.szConfiguration.find('-');
  const std::string threads = run.szConfiguration.substr(dash + 1);
  ProcessCommand command;
  command.pArguments = {program,      files.szProject,
                        "--settings", files.szSettings,
                        "--solver",   run.szConfiguration.substr(0, dash),
                        "--threads",  threads,
                        "--target",   fmt::format("{:.17g}", target)};
  if (gross) command.pArguments.push_back("--gross");
  if (!files.szGcp.empty()) command.pArguments.insert(command.pArguments.end(), {"--gcp", files.szGcp});
  // The threads are those of the solver; those of the linear algebra library would come on top.
  command.pVariables = {{"OPENBLAS_NUM_THREADS", threads}};
  const ProcessFigures figures = RunMeasured(command);
  std::map<std::string, double> answer = ReadAnswer(figures.Events);
  if (!figures.bStarted || figures.nExitCode != 0 || answer.count("solve") == 0) {
    std::fprintf(stderr, "orvo_bench: the peer failed with exit code %d on %s, %s; its last lines:\n",
                 figures.nExitCode, run.szCase.c_str(), run.szConfiguration.c_str());
    const size_t count = figures.Events.size();
    for (size_t i = count > 8 ? count - 8 : 0; i < count; ++i)
      std::fprintf(stderr, "  %s\n", figures.Events[i].szText.c_str());
    return false;
  }
  const bool first = run.nRepeats++ == 0;
  const auto time = [&](const std::string& name) { return PeerTime{answer[name], answer[name + "_cpu"]}; };
  KeepLeast(run.Whole, {figures.fWall, figures.Cpu()}, first);
  KeepLeast(run.Read, time("read"), first);
  KeepLeast(run.Build, time("build"), first);
  KeepLeast(run.Solve, time("solve"), first);
  KeepLeast(run.ToTarget, time("to_target"), first);
  run.nSteps = static_cast<int>(answer["steps"]);
  run.fFinalRms = answer["rms"];
  run.nPeakBytes = first ? figures.nPeakBytes : std::min(run.nPeakBytes, figures.nPeakBytes);
  return true;
}

void PrintPeerRows(std::FILE* out, const Measurement& measurement, std::span<const PeerRun> runs) {
  fmt::print(out,
             "  {:<12} {:>10} {:>6} {:>6} {:>10} {:>6} {:>6} {:>10} {:>6} {:>6} {:>5} {:>10} {:>9} {:>8}\n",
             "peer", "solve ms", "wall", "cpu", "to RMSE", "wall", "cpu", "whole", "wall", "cpu", "steps",
             "step ms", "peak MB", "RMSE px");
  for (const PeerRun& run : runs) {
    fmt::print(out, "  {:<12} {} {} {} {:5} {:10.1f} {:9.1f} {:8.6f}\n", run.szConfiguration,
               Multiple(run.Solve, measurement), Multiple(run.ToTarget, measurement),
               Multiple(run.Whole, measurement), run.nSteps,
               run.nSteps > 0 ? 1e3 * run.Solve.fWall / run.nSteps : 0,
               static_cast<double>(run.nPeakBytes) / 1e6, run.fFinalRms);
  }
}

void WriteJson(JsonWriter& json, const PeerRun& run) {
  json.Begin('{').Pair("case", run.szCase).Pair("configuration", run.szConfiguration);
  const auto write = [&json](const std::string& name, const PeerTime& time) {
    if (time.fWall < 0) {
      json.Key(name).Null().Key(name + "_cpu").Null();
    } else {
      json.Pair(name, time.fWall).Pair(name + "_cpu", time.fCpu);
    }
  };
  write("whole", run.Whole);
  write("read", run.Read);
  write("build", run.Build);
  write("solve", run.Solve);
  write("to_target", run.ToTarget);
  json.Pair("steps", run.nSteps).Pair("final_rms", run.fFinalRms).Pair("peak_bytes", run.nPeakBytes);
  json.Pair("repeats", run.nRepeats).End();
}

}  // namespace orvo::bench
