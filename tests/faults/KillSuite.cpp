// Ends runs at random moments, over the results of another run: the folder always holds one whole run.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

#include "faults/Fault.h"

namespace orvo::faults {
namespace {

constexpr const char* kScenarios[] = {"dense", "sections", "classic", "device", "pos"};
constexpr int kSignals[] = {SIGKILL, SIGINT, SIGTERM};

const char* NameOf(int signal) { return signal == SIGKILL ? "KILL" : signal == SIGINT ? "INT" : "TERM"; }

struct Tally {
  int nTried = 0, nEarlier = 0, nNew = 0, nBad = 0, nAfterEnd = 0;
};

enum class Whole { Earlier, New, Neither };

Whole WhatIsThere(const Truth& truth, const FolderState& out) {
  const FolderState results = ResultsOf(out);
  if (Difference(ResultsOf(truth.Earlier), results).empty()) return Whole::Earlier;
  return Difference(WithoutTimes(truth.Results), WithoutTimes(results)).empty() ? Whole::New : Whole::Neither;
}

/// Renames that a killed run has begun may still be under way, by a process of their own.
Whole AwaitWhole(const Truth& truth, const Place& place) {
  Whole whole = Whole::Neither;
  for (int look = 0; look < 100; ++look) {
    whole = WhatIsThere(truth, ReadFolder(place.Out()));
    if (whole != Whole::Neither) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return whole;
}

std::string NewOf(const std::string& log, const std::string& before) {
  return log.compare(0, before.size(), before) == 0 ? log.substr(before.size()) : log;
}

std::string ReadLog(const Place& place) { return ReadWhole(place.Out() + "/log.txt"); }

/// What is wrong about how a run ended that got the signal; empty where nothing is.
std::string TroubleOfEnd(int signal, const ChildEnd& end, Whole whole, const std::string& log) {
  if (end.bHung) return "hung";
  if (end.nSignal == 0 && end.nExit == 0) return whole == Whole::New ? "" : "exit code 0 without new results";
  if (signal == SIGKILL) return end.nSignal == SIGKILL ? "" : end.Text();
  // Before its first own line a program has not had the time to ask for signals.
  if (end.nSignal == signal && log.empty()) return {};
  if (end.nSignal != 0 || end.nExit != 128 + signal) return end.Text();
  if (whole != Whole::Earlier) return "interrupted, with other than the earlier results";
  return log.empty() || log.find("nterrupted") != std::string::npos ? ""
                                                                    : "interrupted without a line in the log";
}

std::string TroubleOfNextRun(const Scenario& scenario, const Truth& truth, const Place& place) {
  ChildEnd end;
  // Where renames of the killed run are still under way, the folder is in use, as the next run says.
  for (int pass = 0; pass < 50; ++pass) {
    end = RunChild(MakeRun(scenario, place.szFolder, place.szConsole));
    if (end.nExit == 0 && ReadWhole(place.szConsole).find("is in use") == std::string::npos) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  const FolderState out = ReadFolder(place.Out());
  if (end.bHung || end.nSignal != 0 || end.nExit != 0) {
    return "the next run ends with " + end.Text() + ": " + ReadWhole(place.szConsole);
  }
  if (!LeftoversOf(out).empty()) return "the next run leaves " + LeftoversOf(out).begin()->first;
  return WhatIsThere(truth, out) == Whole::New ? "" : "the next run has other results";
}

class Kills {
 public:
  Kills(const std::string& work, uint64_t seed) : There(work), Random(seed), Inputs(MakeInputs(There)) {}

  bool Run(int count) {
    std::vector<const Scenario*> scenarios;
    std::vector<Truth> truths;
    for (const char* name : kScenarios) {
      for (const Scenario& scenario : Scenarios()) {
        if (scenario.szName != name) continue;
        scenarios.push_back(&scenario);
        truths.push_back(FindTruth(scenario, There, Inputs));
      }
    }
    std::vector<double> seconds(scenarios.size(), 0);
    for (int kill = 0; kill < count; ++kill) {
      const size_t which = static_cast<size_t>(kill) % scenarios.size();
      if (seconds[which] == 0) seconds[which] = Duration(*scenarios[which], truths[which]);
      Try(*scenarios[which], truths[which], kSignals[static_cast<size_t>(kill) % std::size(kSignals)],
          seconds[which]);
    }
    std::printf("%d kills: %d with the earlier results, %d with the new ones, %d too late; %d bad\n",
                All.nTried, All.nEarlier, All.nNew, All.nAfterEnd, All.nBad);
    return All.nBad == 0 && All.nTried == count;
  }

 private:
  double Duration(const Scenario& scenario, const Truth& truth) {
    double longest = 0;
    for (int pass = 0; pass < 3; ++pass) {
      RestoreFolder(There.Out(), truth.Earlier, ReadFolder(There.Out()));
      longest = std::max(longest, RunChild(MakeRun(scenario, There.szFolder, There.szConsole)).fSeconds);
    }
    return longest;
  }

  void Try(const Scenario& scenario, const Truth& truth, int signal, double seconds) {
    RestoreFolder(There.Out(), truth.Earlier, ReadFolder(There.Out()));
    const std::string before = ReadLog(There);
    ChildRun run = MakeRun(scenario, There.szFolder, There.szConsole);
    run.nSignal = signal;
    run.fSignalSeconds = std::uniform_real_distribution<double>(0, seconds)(Random);
    const ChildEnd end = RunChild(run);
    const Whole whole = AwaitWhole(truth, There);
    std::string trouble =
        whole == Whole::Neither
            ? "a mixture: " + Difference(ResultsOf(truth.Earlier), ResultsOf(ReadFolder(There.Out())))
            : TroubleOfEnd(signal, end, whole, NewOf(ReadLog(There), before));
    if (trouble.empty()) trouble = TroubleOfNextRun(scenario, truth, There);
    ++All.nTried;
    All.nEarlier += whole == Whole::Earlier;
    All.nNew += whole == Whole::New;
    All.nAfterEnd += end.nSignal == 0 && end.nExit == 0;
    if (trouble.empty()) return;
    ++All.nBad;
    std::printf("BAD: %s, %s after %.1f ms of %.1f: %s\n", scenario.szName.c_str(), NameOf(signal),
                1000 * run.fSignalSeconds, 1000 * seconds, trouble.c_str());
  }

  Place There;
  std::mt19937_64 Random;
  FolderState Inputs;
  Tally All;
};

}  // namespace
}  // namespace orvo::faults

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 200;
  const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
  if (count < 1) orvo::faults::Stop("orvo_kill_suite [KILLS] [SEED]");
  const std::string work =
      std::filesystem::temp_directory_path().string() + "/orvo-kills-" + std::to_string(::getpid());
  std::printf("Seed %llu\n", static_cast<unsigned long long>(seed));
  const bool good = orvo::faults::Kills(work, seed).Run(count);
  std::filesystem::remove_all(work);
  return good ? 0 : 1;
}
