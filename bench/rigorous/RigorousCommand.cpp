#include "rigorous/RigorousCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "rigorous/RigorousBlocks.h"
#include "rigorous/RigorousReport.h"
#include "suite/Companions.h"

namespace orvo::bench {
namespace {

/// The peer would need more memory and hours.
constexpr int64_t kMostPeerImages = 10000;

bool WriteText(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file.good()) std::fprintf(stderr, "orvo_bench: %s can't be written\n", path.c_str());
  return file.good();
}

bool WriteResults(const RigorousResults& results, const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  const std::string base = folder + "/rigorous-" + results.szLabel;
  return WriteText(base + ".json", RigorousJson(results).Text()) &&
         WriteText(base + ".md", RigorousTables(results));
}

bool Measure(const RigorousCommand& command, int64_t images, int threads, RigorousResults& results) {
  const auto files = PrepareRigorousBlock(images, command.szWork);
  if (!files) return false;
  RigorousPlan plan{
      command.szProgram, command.szPeer,        *files, fmt::format("{}/out-{}", command.szWork, ::getpid()),
      threads,           command.fPeerTolerance};
  results.Comparisons.emplace_back();
  RigorousComparison& comparison = results.Comparisons.back();
  comparison.nImages = images;
  comparison.nThreads = threads;
  if (!command.szPeer.empty() && images <= kMostPeerImages)
    comparison.pConfigurations = command.pConfigurations;
  for (int repeat = 0; repeat < command.nRepeats; ++repeat) {
    if (!AddRound(plan, !command.bNoPrecision, comparison)) {
      if (comparison.Rounds.empty()) results.Comparisons.pop_back();
      return false;
    }
    std::fprintf(stderr, "%lld images, %d threads: round %d of %d\n", static_cast<long long>(images), threads,
                 repeat + 1, command.nRepeats);
    // After each round, for a large one takes long.
    if (!WriteResults(results, command.szResults)) return false;
  }
  return true;
}

std::string CheckSize(const std::string& text) {
  for (const int64_t size : RigorousSizes()) {
    if (std::to_string(size) == text) return "";
  }
  return "there is no block of " + text + " images";
}

std::string CheckName(const std::string& text) {
  return FindPeerConfiguration(text) != nullptr ? "" : text + " is no configuration of the peer";
}

}  // namespace

void AddRigorousOptions(CLI::App& app, RigorousCommand& command) {
  std::string names;
  for (const PeerConfiguration& one : PeerConfigurations())
    names += (names.empty() ? "" : ", ") + one.szName + " (" + one.szWhat + ")";
  app.add_option("--sizes", command.pSizes, "images, by commas: 30, 100, 1000, 10000, 100000")
      ->delimiter(',')
      ->check(CLI::Validator(CheckSize, ""))
      ->capture_default_str();
  app.add_option("--threads", command.pThreads, "of both programs, by commas")
      ->delimiter(',')
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  app.add_option("--repeats", command.nRepeats, "rounds, of which the median counts")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--peer-configurations", command.pConfigurations, "by commas: " + names)
      ->delimiter(',')
      ->check(CLI::Validator(CheckName, ""))
      ->capture_default_str();
  app.add_option("--peer-tolerance", command.fPeerTolerance, "relative change of the cost that ends the peer")
      ->check(CLI::Range(0.0, 1.0))
      ->capture_default_str();
  app.add_option("--program", command.szProgram, "the orvo to measure [the one built]");
  app.add_option("--peer", command.szPeer, "the orvo_peer program [the one built]");
  app.add_option("--work", command.szWork, "folder for blocks and output")->capture_default_str();
  app.add_option("--results", command.szResults, "folder for the tables and the JSON");
  app.add_option("--label", command.szLabel, "of the results [the commit]");
  app.add_flag("--no-peer", command.bNoPeer, "ours alone");
  app.add_flag("--no-precision", command.bNoPrecision, "without the runs with the precision of everything");
}

int RunRigorousCommand(RigorousCommand command, const std::string& label) {
  if (command.bNoPeer) {
    command.szPeer.clear();
  } else if (command.szPeer.empty()) {
    command.szPeer = ProgramBeside("orvo_peer");
  }
  RigorousResults results;
  results.szLabel = command.szLabel.empty() ? label : command.szLabel;
  results.Machine = ThisMachine();
  bool done = true;
  for (const int64_t images : command.pSizes) {
    for (const int threads : command.pThreads) done = Measure(command, images, threads, results) && done;
  }
  if (results.Comparisons.empty()) return 1;
  fmt::print("{}", RigorousTables(results));
  return done ? 0 : 1;
}

}  // namespace orvo::bench
