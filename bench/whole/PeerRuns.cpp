#include "whole/PeerRuns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "whole/MeasuredProcess.h"

namespace orvo::bench {
namespace {

/// The best ones of each size; see orvo_peer for what they are. A second thread begins to gain with many
/// images.
std::vector<std::string> SuitableConfigurations(int64_t images) {
  if (images < 200) return {"dense-1", "sparse-1"};
  if (images < 5000) return {"sparse-1", "sparse-2", "iterative-1"};
  return {"sparse-2", "iterative-2"};
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

}  // namespace

std::string CheckConfiguration(const std::string& configuration) {
  const size_t dash = configuration.find('-');
  if (dash != std::string::npos && dash > 0 && dash + 1 < configuration.size() &&
      configuration.find_first_not_of("0123456789", dash + 1) == std::string::npos)
    return "";
  return configuration + " is no configuration: write solver-threads, such as sparse-2";
}

std::vector<PeerRun> PlanPeerRuns(const std::string& caseName,
                                  const std::vector<std::string>& configurations) {
  std::vector<PeerRun> runs;
  for (const std::string& configuration :
       configurations.empty() ? SuitableConfigurations(std::atoll(caseName.c_str())) : configurations) {
    runs.emplace_back();
    runs.back().szCase = caseName;
    runs.back().szConfiguration = configuration;
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

}  // namespace orvo::bench
