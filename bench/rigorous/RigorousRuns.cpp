#include "rigorous/RigorousRuns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "report/Json.h"
#include "rigorous/RigorousBlocks.h"

namespace orvo::bench {
namespace {

std::optional<RigorousRun> Complain(const ProcessCommand& command, const ProcessFigures& figures) {
  std::fprintf(stderr, "orvo_bench: %s failed with exit code %d; its last lines:\n",
               command.pArguments[0].c_str(), figures.nExitCode);
  const size_t count = figures.Events.size();
  for (size_t i = count > 8 ? count - 8 : 0; i < count; ++i)
    std::fprintf(stderr, "  %s\n", figures.Events[i].szText.c_str());
  return std::nullopt;
}

/// Files and settings that both take alike.
void AddInputs(const RigorousPlan& plan, std::vector<std::string>& arguments) {
  arguments.insert(arguments.end(), {plan.Files.szProject, "--settings", plan.Files.szSettings});
  if (!plan.Files.szGcp.empty()) arguments.insert(arguments.end(), {"--gcp", plan.Files.szGcp});
  for (const std::string& setting : RigorousSettingsOfBlocks())
    arguments.insert(arguments.end(), {"--set", setting});
}

bool ReadTime(const Json& json, PeerTime& time) {
  const double *wall = json["wall"].AsNumber(), *cpu = json["cpu"].AsNumber();
  if (wall == nullptr || cpu == nullptr) return false;
  time = {*wall, *cpu};
  return true;
}

bool ReadCount(const Json& json, int& count) {
  if (json.AsNumber() == nullptr) return false;
  count = static_cast<int>(*json.AsNumber());
  return true;
}

std::optional<RigorousRun> ParsePeer(const std::string& line) {
  Json json;
  std::string error;
  if (!ParseJson(line, json, error)) return std::nullopt;
  RigorousRun run;
  if (json["vpv"].AsNumber() == nullptr || !ReadCount(json["accepted"], run.nAccepted) ||
      !ReadCount(json["rejected"], run.nRejected) || !ReadTime(json["read"], run.Read) ||
      !ReadTime(json["build"], run.Build) || !ReadTime(json["solve"], run.Solve) ||
      !ReadTime(json["to_default"], run.ToDefault))
    return std::nullopt;
  run.fVpv = *json["vpv"].AsNumber();
  run.bConverged = line.find("\"converged\":true") != std::string::npos;
  return run;
}

std::optional<RigorousRun> Finished(const ProcessCommand& command, const ProcessFigures& figures,
                                    std::optional<RigorousRun> run) {
  if (!figures.bStarted || figures.nExitCode != 0 || !run) return Complain(command, figures);
  run->Whole = {figures.fWall, figures.Cpu()};
  run->nPeakBytes = figures.nPeakBytes;
  return run;
}

}  // namespace

const std::vector<PeerConfiguration>& PeerConfigurations() {
  static const std::vector<PeerConfiguration> configurations = {
      {"sparse-wide", "SPARSE_SCHUR, first trust region 1e8", {"--solver", "sparse", "--radius", "1e8"}},
      {"sparse", "SPARSE_SCHUR, first trust region 1e4 (the default)", {"--solver", "sparse"}},
      {"dense-wide", "DENSE_SCHUR, first trust region 1e8", {"--solver", "dense", "--radius", "1e8"}},
      {"iterative", "ITERATIVE_SCHUR, SCHUR_JACOBI, explicit", {"--solver", "iterative", "--explicit"}},
      {"iterative-wide",
       "ITERATIVE_SCHUR, SCHUR_JACOBI, explicit, first trust region 1e6",
       {"--solver", "iterative", "--explicit", "--radius", "1e6"}},
      {"cluster",
       "ITERATIVE_SCHUR, CLUSTER_JACOBI",
       {"--solver", "iterative", "--preconditioner", "cluster_jacobi"}},
      {"tridiagonal",
       "ITERATIVE_SCHUR, CLUSTER_TRIDIAGONAL",
       {"--solver", "iterative", "--preconditioner", "cluster_tridiagonal"}}};
  return configurations;
}

const PeerConfiguration* FindPeerConfiguration(const std::string& name) {
  const auto found = std::ranges::find(PeerConfigurations(), name, &PeerConfiguration::szName);
  return found == PeerConfigurations().end() ? nullptr : &*found;
}

std::optional<RigorousRun> ReadOwnLog(const std::vector<ProcessEvent>& events) {
  RigorousRun run;
  for (const ProcessEvent& event : events) {
    const std::string& line = event.szText;
    if (line.find("End of the iterations: converged") != std::string::npos) run.bConverged = true;
    const size_t cost = line.find(": cost ");
    if (!line.starts_with(">>>>Iteration ") || cost == std::string::npos) continue;
    if (line.ends_with(", rejected")) {
      ++run.nRejected;
      continue;
    }
    ++run.nAccepted;
    run.fVpv = std::atof(line.c_str() + cost + 7);
  }
  if (run.nAccepted == 0) return std::nullopt;
  return run;
}

std::optional<RigorousRun> ReadPeerLine(const std::vector<ProcessEvent>& events) {
  for (const ProcessEvent& event : events) {
    if (event.szText.starts_with("{\"images\"")) return ParsePeer(event.szText);
  }
  return std::nullopt;
}

std::optional<RigorousRun> RunOwn(const RigorousPlan& plan, const std::string& precision) {
  std::error_code error;
  std::filesystem::remove_all(plan.szOutput, error);
  std::filesystem::create_directories(plan.szOutput, error);
  ProcessCommand command;
  command.pArguments = {plan.szProgram, "adjust"};
  AddInputs(plan, command.pArguments);
  command.pArguments.insert(command.pArguments.end(),
                            {"--method", "rigorous", "--set", "Precision=" + precision, "--processors",
                             std::to_string(plan.nThreads), "--out", plan.szOutput, "--log"});
  const ProcessFigures figures = RunMeasured(command);
  std::filesystem::remove_all(plan.szOutput, error);
  return Finished(command, figures, ReadOwnLog(figures.Events));
}

std::optional<RigorousRun> RunPeer(const RigorousPlan& plan, const PeerConfiguration& configuration) {
  ProcessCommand command;
  command.pArguments = {plan.szPeer, "--rigorous"};
  AddInputs(plan, command.pArguments);
  const std::string threads = std::to_string(plan.nThreads);
  command.pArguments.insert(command.pArguments.end(),
                            {"--threads", threads, "--tolerance", fmt::format("{:g}", plan.fTolerance)});
  command.pArguments.insert(command.pArguments.end(), configuration.pOptions.begin(),
                            configuration.pOptions.end());
  // The threads are those of the solver; those of the linear algebra library would come on top.
  command.pVariables = {{"OPENBLAS_NUM_THREADS", threads}};
  const ProcessFigures figures = RunMeasured(command);
  return Finished(command, figures, ReadPeerLine(figures.Events));
}

}  // namespace orvo::bench
