#include "whole/PeerRuns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {
namespace {

/// Dense elimination for small blocks, the sparse ones above; see orvo_peer for what they are.
std::string SuitableConfigurations(int64_t images) {
  if (images <= 200) return "dense-1,dense-2,sparse-1";
  return "sparse-1,sparse-2,iterative-1,iterative-2";
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, ',');) parts.push_back(part);
  return parts;
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

double Least(double a, double b) { return a < 0 ? b : b < 0 ? a : std::min(a, b); }

}  // namespace

bool RunPeer(const PeerCommand& command, const CaseFiles& files, const Measurement& measurement,
             std::vector<PeerRun>& runs) {
  const int64_t images = std::atoll(measurement.szCase.c_str());
  const std::string configurations =
      command.szConfigurations.empty() ? SuitableConfigurations(images) : command.szConfigurations;
  for (const std::string& configuration : SplitAtCommas(configurations)) {
    const size_t dash = configuration.rfind('-');
    if (dash == std::string::npos) {
      std::fprintf(stderr, "orvo_bench: %s is no configuration: write solver-threads, such as sparse-2\n",
                   configuration.c_str());
      return false;
    }
    PeerRun best;
    best.szCase = measurement.szCase;
    best.szConfiguration = configuration;
    for (int repeat = 0; repeat < command.nRepeats; ++repeat) {
      ProcessCommand process;
      process.pArguments = {command.szProgram, files.szProject,
                            "--settings",      files.szSettings,
                            "--solver",        configuration.substr(0, dash),
                            "--threads",       configuration.substr(dash + 1),
                            "--target",        fmt::format("{:.17g}", measurement.fFinalRms)};
      if (command.bGross) process.pArguments.push_back("--gross");
      if (!files.szGcp.empty()) process.pArguments.insert(process.pArguments.end(), {"--gcp", files.szGcp});
      // The threads are those of the solver; those of the linear algebra library would come on top.
      process.pVariables = {{"OPENBLAS_NUM_THREADS", configuration.substr(dash + 1)}};
      const ProcessFigures figures = RunMeasured(process);
      std::map<std::string, double> answer = ReadAnswer(figures.Events);
      if (!figures.bStarted || figures.nExitCode != 0 || answer.count("solve") == 0) {
        std::fprintf(stderr, "orvo_bench: the peer failed with exit code %d on %s, %s; its last lines:\n",
                     figures.nExitCode, measurement.szCase.c_str(), configuration.c_str());
        const size_t count = figures.Events.size();
        for (size_t i = count > 8 ? count - 8 : 0; i < count; ++i)
          std::fprintf(stderr, "  %s\n", figures.Events[i].szText.c_str());
        return false;
      }
      const bool first = repeat == 0;
      best.fWall = first ? figures.fWall : std::min(best.fWall, figures.fWall);
      best.fCpu = first ? figures.Cpu() : std::min(best.fCpu, figures.Cpu());
      best.fRead = first ? answer["read"] : std::min(best.fRead, answer["read"]);
      best.fBuild = first ? answer["build"] : std::min(best.fBuild, answer["build"]);
      best.fSolve = first ? answer["solve"] : std::min(best.fSolve, answer["solve"]);
      best.fToTarget = Least(best.fToTarget, answer["to_target"]);
      best.nSteps = static_cast<int>(answer["steps"]);
      best.fFinalRms = answer["rms"];
      best.nPeakBytes = first ? figures.nPeakBytes : std::min(best.nPeakBytes, figures.nPeakBytes);
    }
    best.fStep = best.nSteps > 0 ? best.fSolve / best.nSteps : 0;
    fmt::print(
        "  peer {:<12} solve {:9.1f} ms ({:5.1f}x), to this RMSE {:9.1f} ms ({:5.1f}x), whole {:9.1f} ms "
        "({:5.1f}x), {:3} steps of {:8.1f} ms, {:7.1f} MB ({:4.1f}x), RMSE {:.6f}\n",
        configuration, 1e3 * best.fSolve, best.fSolve / measurement.fWall, 1e3 * best.fToTarget,
        best.fToTarget / measurement.fWall, 1e3 * best.fWall, best.fWall / measurement.fWall, best.nSteps,
        1e3 * best.fStep, static_cast<double>(best.nPeakBytes) / 1e6,
        static_cast<double>(best.nPeakBytes) / static_cast<double>(measurement.nPeakBytes), best.fFinalRms);
    std::fflush(stdout);
    runs.push_back(best);
  }
  return true;
}

void WriteJson(JsonWriter& json, const PeerRun& run) {
  json.Begin('{').Pair("case", run.szCase).Pair("configuration", run.szConfiguration);
  json.Pair("wall", run.fWall).Pair("cpu", run.fCpu).Pair("read", run.fRead).Pair("build", run.fBuild);
  json.Pair("solve", run.fSolve);
  json.Key("to_target");
  if (run.fToTarget < 0) {
    json.Null();
  } else {
    json.Value(run.fToTarget);
  }
  json.Pair("steps", run.nSteps).Pair("step", run.fStep).Pair("final_rms", run.fFinalRms);
  json.Pair("peak_bytes", run.nPeakBytes).End();
}

}  // namespace orvo::bench
