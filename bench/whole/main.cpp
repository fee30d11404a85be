// orvo_bench: times whole runs of `orvo adjust`, of one program or of two in turn.
#include <fmt/format.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "whole/Cases.h"
#include "whole/Json.h"
#include "whole/Measurement.h"
#include "whole/PeerRuns.h"
#include "whole/Tables.h"

namespace orvo::bench {
namespace {

struct Program {
  std::string szPath, szLabel;
};

struct RunArguments {
  std::vector<std::string> pCases;
  std::string szProgram = ORVO_PROGRAM, szAgainst, szLabel = "this", szAgainstLabel = "against";
  std::string szPeer, szPeerConfigurations;
  std::string szWork, szJson;
  int nRepeats = 3;
  bool bPhases = false;
};

std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

void WriteMachine(JsonWriter& json) {
  utsname system{};
  ::uname(&system);
  json.Key("machine").Begin('{').Pair("processor", ProcessorName());
  json.Pair("processors", static_cast<int64_t>(::sysconf(_SC_NPROCESSORS_ONLN)));
  json.Pair("kernel", system.release);
  const std::string why = WhyNoInstructionCounter();
  json.Pair("instruction_counter", why.empty() ? std::string("yes") : "no: " + why).End();
}

std::optional<ProcessFigures> RunOnce(const Program& program, const BenchCase& bench, const CaseFiles& files,
                                      const std::string& output) {
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
bool MeasureCase(const std::vector<Program>& programs, const BenchCase& bench, const CaseFiles& files,
                 const RunArguments& arguments, std::vector<Measurement>& measurements,
                 std::vector<PeerRun>& peers) {
  const size_t first = measurements.size();
  for (const Program& program : programs) {
    measurements.emplace_back();
    measurements.back().szCase = bench.szName;
    measurements.back().szProgram = program.szLabel;
  }
  const std::string output = fmt::format("{}/out-{}", arguments.szWork, ::getpid());
  for (int repeat = 0; repeat < arguments.nRepeats; ++repeat) {
    for (size_t k = 0; k < programs.size(); ++k) {
      const size_t p = repeat % 2 == 0 ? k : programs.size() - 1 - k;
      const auto figures = RunOnce(programs[p], bench, files, output);
      if (!figures) return false;
      AddRun(measurements[first + p], *figures, output);
    }
    for (PeerRun& peer : peers) {
      if (!RepeatPeer(arguments.szPeer, files, bench.bHasOutliers, measurements[first].fFinalRms, peer))
        return false;
    }
  }
  std::error_code error;
  std::filesystem::remove_all(output, error);
  return true;
}

bool WriteResults(const RunArguments& arguments, const std::vector<Program>& programs,
                  const std::vector<Measurement>& measurements, const std::vector<PeerRun>& peers) {
  JsonWriter json;
  json.Begin('{').Pair("schema", 1).Pair("repeats", arguments.nRepeats);
  WriteMachine(json);
  json.Key("programs").Begin('[');
  for (const Program& program : programs)
    json.Begin('{').Pair("label", program.szLabel).End();
  json.End().Key("runs").Begin('[');
  for (const Measurement& measurement : measurements) WriteJson(json, measurement);
  json.End().Key("peer_runs").Begin('[');
  for (const PeerRun& peer : peers) WriteJson(json, peer);
  json.End().End();
  std::ofstream file(arguments.szJson, std::ios::binary);
  file << json.Text();
  file.close();
  if (!file.good()) std::fprintf(stderr, "orvo_bench: %s can't be written\n", arguments.szJson.c_str());
  return file.good();
}

int Run(const RunArguments& arguments) {
  const std::vector<BenchCase> cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), arguments.pCases);
  if (cases.empty()) {
    std::fprintf(stderr, "orvo_bench: no case has such a name; see orvo_bench list\n");
    return 2;
  }
  std::vector<Program> programs = {{arguments.szProgram, arguments.szLabel}};
  if (!arguments.szAgainst.empty()) programs.push_back({arguments.szAgainst, arguments.szAgainstLabel});
  std::error_code error;
  std::filesystem::create_directories(arguments.szWork, error);

  bool done = true;
  std::vector<Measurement> measurements;
  std::vector<PeerRun> peers;
  PrintRunHead(stdout);
  for (const BenchCase& bench : cases) {
    const auto files = PrepareCase(bench, arguments.szWork);
    if (!files) return 1;
    const size_t first = measurements.size();
    std::vector<PeerRun> ofPeer;
    if (!arguments.szPeer.empty()) ofPeer = PlanPeerRuns(bench.szName, arguments.szPeerConfigurations);
    if (!MeasureCase(programs, bench, *files, arguments, measurements, ofPeer)) {
      measurements.resize(first);
      done = false;
      continue;
    }
    const std::span<const Measurement> ofCase(measurements.data() + first, programs.size());
    PrintRunRows(stdout, ofCase);
    if (arguments.bPhases) PrintPhases(stdout, ofCase);
    if (!ofPeer.empty()) PrintPeerRows(stdout, ofCase.front(), ofPeer);
    peers.insert(peers.end(), ofPeer.begin(), ofPeer.end());
    std::fflush(stdout);
  }
  if (!arguments.szJson.empty()) done = WriteResults(arguments, programs, measurements, peers) && done;
  return done ? 0 : 1;
}

int Main(int argc, char** argv) {
  CLI::App app("Times whole runs of orvo adjust on named blocks.");
  app.require_subcommand(1);
  RunArguments arguments;
  arguments.szWork = DefaultWorkFolder();

  CLI::App* list = app.add_subcommand("list", "the names of all cases");
  CLI::App* files = app.add_subcommand("files", "makes the files of cases and prints the arguments of a run");
  CLI::App* run = app.add_subcommand("run", "runs cases, the programs in turn, and prints the best figures");
  for (CLI::App* command : {files, run}) {
    command->add_option("CASE", arguments.pCases, "names, with shell wildcards: '100/*'")->required();
    command->add_option("--work", arguments.szWork, "folder for blocks and output")->capture_default_str();
  }
  run->add_option("--program", arguments.szProgram, "the orvo program")->capture_default_str();
  run->add_option("--label", arguments.szLabel, "what to call it, such as a commit")->capture_default_str();
  run->add_option("--against", arguments.szAgainst, "another orvo program, run in turn with the first");
  run->add_option("--against-label", arguments.szAgainstLabel, "what to call it")->capture_default_str();
  run->add_option("--repeats", arguments.nRepeats, "runs of each, of which the best counts")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000));
  run->add_option("--json", arguments.szJson, "file for all figures");
  run->add_flag("--phases", arguments.bPhases, "print the time of each phase and output file");
  run->add_option("--peer", arguments.szPeer, "the orvo_peer program, run after each case");
  run->add_option("--peer-configurations", arguments.szPeerConfigurations,
                  "what the peer runs: solver-threads, by commas [those that suit the case]");
  CLI11_PARSE(app, argc, argv);

  if (*list) {
    for (const BenchCase& bench : AllCases(ORVO_SOURCE_DIR)) std::printf("%s\n", bench.szName.c_str());
    return 0;
  }
  if (*files) {
    std::error_code error;
    std::filesystem::create_directories(arguments.szWork, error);
    for (const BenchCase& bench : MatchingCases(AllCases(ORVO_SOURCE_DIR), arguments.pCases)) {
      const auto made = PrepareCase(bench, arguments.szWork);
      if (!made) return 1;
      std::printf("%s --settings %s%s\n", made->szProject.c_str(), made->szSettings.c_str(),
                  made->szGcp.empty() ? "" : (" --gcp " + made->szGcp).c_str());
    }
    return 0;
  }
  return Run(arguments);
}

}  // namespace
}  // namespace orvo::bench

int main(int argc, char** argv) { return orvo::bench::Main(argc, argv); }
