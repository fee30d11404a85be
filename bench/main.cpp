// orvo_bench: times whole runs of `orvo adjust` and all that is measured beside them, and tells of it.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "report/Comparison.h"
#include "report/Results.h"
#include "report/Tables.h"
#include "rigorous/RigorousCommand.h"
#include "suite/CaseRuns.h"
#include "suite/Companions.h"
#include "suite/Suite.h"
#include "whole/Cases.h"

namespace orvo::bench {
namespace {

constexpr int kFailed = 1, kWrongInput = 2;

struct RunArguments {
  std::vector<std::string> pCases;  ///< none: the suite
  std::string szProgram = ORVO_PROGRAM, szAgainst, szLabel, szAgainstLabel = "against";
  std::string szPeer, szWork = DefaultWorkFolder(), szJson, szResults = ORVO_SOURCE_DIR "/bench/results";
  std::vector<std::string> pPeerConfigurations;
  std::optional<int> nRepeats;
  SuiteSize eSize = SuiteSize::Standard;
  bool bPhases = false;
};

struct ReportArguments {
  std::vector<std::string> pFiles;
  std::optional<double> fWorse;
  bool bPhases = false;
};

int Complain(const std::string& what) {
  std::fprintf(stderr, "orvo_bench: %s\n", what.c_str());
  return kWrongInput;
}

bool WriteText(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file.good()) std::fprintf(stderr, "orvo_bench: %s can't be written\n", path.c_str());
  return file.good();
}

CasePlan PlanOf(const RunArguments& arguments, const std::string& label) {
  CasePlan plan;
  plan.Programs = {{arguments.szProgram, label}};
  if (!arguments.szAgainst.empty()) plan.Programs.push_back({arguments.szAgainst, arguments.szAgainstLabel});
  plan.szPeer = arguments.szPeer;
  plan.pPeerConfigurations = arguments.pPeerConfigurations;
  plan.szWork = arguments.szWork;
  plan.nRepeats = arguments.nRepeats.value_or(3);
  return plan;
}

Results EmptyResults(const CasePlan& plan) {
  Results results;
  results.Machine = ThisMachine();
  for (const MeasuredProgram& program : plan.Programs) results.pPrograms.push_back(program.szLabel);
  return results;
}

/// Of two programs also what one gained against the other.
void Show(const Results& results, ShownPhases phases) {
  fmt::print("\n{}", TablesText(results, phases));
  ComparedSide before, after;
  std::string error;
  if (SidesOfOne(results, before, after, error))
    fmt::print("{}", ComparisonText(Compare(before, after, phases == ShownPhases::All, std::nullopt)));
}

int RunNamed(const RunArguments& arguments) {
  const std::vector<BenchCase> cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), arguments.pCases);
  if (cases.empty()) return Complain("no case has such a name; see orvo_bench list");
  const CasePlan plan = PlanOf(arguments, arguments.szLabel.empty() ? "this" : arguments.szLabel);
  Results results = EmptyResults(plan);
  bool done = MeasureCases(cases, plan, results);
  Show(results, arguments.bPhases ? ShownPhases::All : ShownPhases::None);
  if (!arguments.szJson.empty()) done = WriteText(arguments.szJson, ResultsText(results)) && done;
  return done ? 0 : kFailed;
}

/// Kernels and device; a program that was not built is left out.
bool RunCompanions(const RunArguments& arguments, Results& results) {
  const std::string json = arguments.szWork + fmt::format("/companion-{}.json", ::getpid());
  bool done = true;
  const auto take = [&](const char* program, std::vector<std::string> options,
                        const std::vector<std::string>& more) {
    const std::string path = ProgramBeside(program);
    if (path.empty()) return;
    options.insert(options.begin(), path);
    options.insert(options.end(), more.begin(), more.end());
    done = TakeResultsOf(options, json, results) && done;
  };
  take("orvo_bench_kernels", KernelArguments(arguments.eSize),
       {"--benchmark_out=" + json, "--benchmark_out_format=json"});
  take("orvo_bench_device", DeviceArguments(arguments.eSize), {"--json", json});
  return done;
}

int RunSuite(const RunArguments& arguments) {
  const bool smoke = arguments.eSize == SuiteSize::Smoke;
  const std::string label = !arguments.szLabel.empty() ? arguments.szLabel : CommitLabel(ORVO_SOURCE_DIR);
  const std::vector<BenchCase> all = AllCases(ORVO_SOURCE_DIR);
  const CasePlan plan = PlanOf(arguments, label);
  const std::string peer = arguments.szPeer.empty() ? ProgramBeside("orvo_peer") : arguments.szPeer;
  Results results = EmptyResults(plan);
  const std::string base =
      (arguments.szJson.empty() ? arguments.szResults + "/" + label
                                : std::filesystem::path(arguments.szJson).replace_extension().string());
  std::error_code error;
  std::filesystem::create_directories(arguments.szResults, error);
  bool done = true;
  // After each pass, for a large one takes long.
  const auto keep = [&] { done = WriteText(base + ".json", ResultsText(results)) && done; };
  for (const SuitePass& pass : SuitePasses(arguments.eSize, arguments.nRepeats.value_or(smoke ? 1 : 5))) {
    if (pass.bPeer && peer.empty()) continue;
    CasePlan ofPass = plan;
    ofPass.nRepeats = pass.nRepeats;
    ofPass.szPeer = pass.bPeer ? peer : "";
    if (pass.bPeer) ofPass.Programs.resize(1);
    done = MeasureCases(MatchingCases(all, pass.pCases), ofPass, results) && done;
    keep();
  }
  done = RunCompanions(arguments, results) && done;
  keep();
  Show(results, ShownPhases::Usual);
  done = WriteText(base + ".md", TablesText(results, ShownPhases::Usual)) && done;
  fmt::print("\nTables: {}.md\n", base);
  return done ? 0 : kFailed;
}

bool ReadAll(const std::vector<std::string>& paths, std::vector<Results>& results) {
  for (const std::string& path : paths) {
    std::string error;
    if (ReadResults(path, results.emplace_back(), error)) continue;
    Complain(error);
    return false;
  }
  return true;
}

int ShowTables(const ReportArguments& arguments) {
  std::vector<Results> files;
  if (!ReadAll(arguments.pFiles, files)) return kWrongInput;
  fmt::print("{}", TablesText(Merged(files), arguments.bPhases ? ShownPhases::All : ShownPhases::Usual));
  return 0;
}

int ShowComparison(const ReportArguments& arguments) {
  std::vector<Results> files;
  if (!ReadAll(arguments.pFiles, files)) return kWrongInput;
  ComparedSide before = FirstSide(files.front()), after = FirstSide(files.back());
  std::string error;
  if (files.size() == 1 && !SidesOfOne(files.front(), before, after, error))
    return Complain(arguments.pFiles[0] + ": " + error);
  const Comparison comparison = Compare(before, after, arguments.bPhases, arguments.fWorse);
  if (comparison.Figures.empty()) return Complain("the two have no case in common");
  fmt::print("{}", ComparisonText(comparison));
  return comparison.IsAnyWorse() ? kFailed : 0;
}

int ListCases() {
  for (const BenchCase& bench : AllCases(ORVO_SOURCE_DIR)) fmt::print("{}\n", bench.szName);
  return 0;
}

int MakeFiles(const RunArguments& arguments) {
  const std::vector<BenchCase> cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), arguments.pCases);
  if (cases.empty()) return Complain("no case has such a name; see orvo_bench list");
  std::error_code error;
  std::filesystem::create_directories(arguments.szWork, error);
  for (const BenchCase& bench : cases) {
    const auto made = PrepareCase(bench, arguments.szWork);
    if (!made) return kFailed;
    fmt::print("{} --settings {}{}\n", made->szProject, made->szSettings,
               made->szGcp.empty() ? "" : " --gcp " + made->szGcp);
  }
  return 0;
}

bool IsFactor(const std::string& text) {
  double factor = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), factor);
  return status == std::errc() && end == text.data() + text.size() && factor > 0 && std::isfinite(factor);
}

void AddRunOptions(CLI::App& run, RunArguments& arguments) {
  const CLI::Validator name(
      [](const std::string& text) { return text.find('/') == text.npos ? "" : "no / in it"; }, "");
  run.add_option("CASE", arguments.pCases,
                 "names, with shell wildcards: '100/*' [the suite of cases, kernels, peer]");
  run.add_option("--program", arguments.szProgram, "the orvo program")->capture_default_str();
  run.add_option("--label", arguments.szLabel, "what to call it [of the suite the commit, else this]")
      ->check(name);
  run.add_option("--against", arguments.szAgainst, "another orvo program, run in turn with the first");
  run.add_option("--against-label", arguments.szAgainstLabel, "what to call it")->capture_default_str();
  run.add_option("--repeats", arguments.nRepeats,
                 "runs of each, of which the best counts [3; suite 5, smoke 1]")
      ->check(CLI::Range(1, 1000));
  run.add_option("--work", arguments.szWork, "folder for blocks and output")->capture_default_str();
  run.add_option("--json", arguments.szJson, "file for all figures; the tables of the suite go beside it");
  run.add_option("--results", arguments.szResults, "folder for LABEL.json and LABEL.md of the suite")
      ->capture_default_str();
  run.add_flag("--phases", arguments.bPhases, "show phases and output files of named cases");
  run.add_option("--peer", arguments.szPeer,
                 "the orvo_peer program, run after each case [of the suite the one built]");
  run.add_option("--peer-configurations", arguments.pPeerConfigurations,
                 "what the peer runs: solver-threads, by commas [those that suit the case]")
      ->delimiter(',')
      ->check(CLI::Validator(CheckConfiguration, ""));
  auto* smoke = run.add_flag_callback(
      "--smoke", [&] { arguments.eSize = SuiteSize::Smoke; }, "a suite of a minute");
  run.add_flag_callback(
         "--full", [&] { arguments.eSize = SuiteSize::Full; },
         "a suite with 10,000 images too (half an hour, 10 GB of memory)")
      ->excludes(smoke);
}

int Main(int argc, char** argv) {
  CLI::App app("Times orvo adjust on named blocks, and all that is measured beside it.");
  app.require_subcommand(1);
  RunArguments run;
  ReportArguments report;
  app.add_subcommand("list", "the names of all cases");
  CLI::App* files = app.add_subcommand("files", "makes the files of cases and prints the arguments of a run");
  files->add_option("CASE", run.pCases, "names, with shell wildcards: '100/*'")->required();
  files->add_option("--work", run.szWork, "folder for blocks")->capture_default_str();
  CLI::App* measure =
      app.add_subcommand("run", "runs cases, the programs in turn, and shows the best figures");
  AddRunOptions(*measure, run);
  CLI::App* tables = app.add_subcommand("tables", "tables in Markdown of one file or several");
  tables->add_option("FILE", report.pFiles, "results of run, of the kernels or of the device")->required();
  tables->add_flag("--phases", report.bPhases, "phases of all cases");
  CLI::App* compare = app.add_subcommand("compare", "sets two measurements side by side");
  compare->add_option("FILE", report.pFiles, "OLD and NEW, or one file of two programs")
      ->required()
      ->expected(1, 2);
  compare->add_flag("--phases", report.bPhases, "every phase too");
  compare
      ->add_option("--worse", report.fWorse,
                   "exit status 1 where something takes more than so many times as much")
      ->check(CLI::Validator(
          [](const std::string& text) { return IsFactor(text) ? "" : "write a factor, such as 1.1"; }, ""));
  RigorousCommand rigorous;
  rigorous.szProgram = run.szProgram;
  rigorous.szResults = run.szResults;
  CLI::App* beside = app.add_subcommand("rigorous", "the rigorous method beside the peer, with its bars");
  AddRigorousOptions(*beside, rigorous);
  CLI11_PARSE(app, argc, argv);
  if (*beside) return RunRigorousCommand(rigorous, CommitLabel(ORVO_SOURCE_DIR));
  if (*tables) return ShowTables(report);
  if (*compare) return ShowComparison(report);
  if (*files) return MakeFiles(run);
  if (*measure) return run.pCases.empty() ? RunSuite(run) : RunNamed(run);
  return ListCases();
}

}  // namespace
}  // namespace orvo::bench

int main(int argc, char** argv) { return orvo::bench::Main(argc, argv); }
