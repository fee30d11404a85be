// Lets calls of the system fail, one run for each, and tells what became of the runs.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "faults/Fault.h"

namespace orvo::faults {
namespace {

constexpr char kUsage[] =
    "orvo_fault_suite [--most N] [--seed N] [--only SCENARIO] [--kind FAULT] [--jobs N] [--work DIR]\n"
    "orvo_fault_suite --repeat SCENARIO FAULT N\n"
    "  --most N    failing calls tried for each scenario and fault, spread over all; 0: every call [0]\n";

struct Arguments {
  uint64_t nMost = 0, nSeed = 1, nAt = 0;
  unsigned nJobs = std::max(1u, std::thread::hardware_concurrency());
  std::string szOnly, szFault, szWork;
  bool bRepeats = false;
};

struct Case {
  const Scenario* pScenario;
  const Truth* pTruth;
  const Mode* pMode;
  uint64_t nAt;
};

struct Tally {
  int nTried = 0, nFailed = 0, nUnaffected = 0, nNotStruck = 0, nBad = 0;

  void Add(Ending ending) {
    ++nTried;
    nFailed += ending == Ending::Failed;
    nUnaffected += ending == Ending::Unaffected;
    nNotStruck += ending == Ending::NotStruck;
    nBad += ending == Ending::Bad;
  }
};

void PrintHead(const char* title) {
  std::printf("%-18s %7s %8s %11s %11s %5s\n", title, "tried", "failed", "unaffected", "not struck", "bad");
}

void PrintRow(const std::string& name, const Tally& tally) {
  std::printf("%-18s %7d %8d %11d %11d %5d\n", name.c_str(), tally.nTried, tally.nFailed, tally.nUnaffected,
              tally.nNotStruck, tally.nBad);
}

/// Which calls of `count` to try: all, or the first, the last and some between.
std::vector<uint64_t> ChooseCalls(uint64_t count, uint64_t most, std::mt19937_64& random) {
  std::vector<uint64_t> calls;
  if (most == 0 || count <= most) {
    for (uint64_t call = 1; call <= count; ++call) calls.push_back(call);
    return calls;
  }
  // One from each of equal shares.
  for (uint64_t share = 0; share < most; ++share) {
    const uint64_t begin = share * count / most, end = (share + 1) * count / most;
    calls.push_back(share == 0 ? 1 : share + 1 == most ? count : begin + 1 + random() % (end - begin));
  }
  return calls;
}

const Scenario& FindScenario(const std::string& name) {
  for (const Scenario& scenario : Scenarios()) {
    if (scenario.szName == name) return scenario;
  }
  Stop("there is no scenario " + name);
}

class Suite {
 public:
  explicit Suite(const Arguments& arguments) : Given(arguments), FirstPlace(arguments.szWork + "/0") {
    Inputs = MakeInputs(FirstPlace);
  }

  bool Run() {
    MakeCases();
    std::vector<std::thread> workers;
    for (unsigned worker = 0; worker < Given.nJobs; ++worker)
      workers.emplace_back([this, worker] { Work(worker); });
    for (std::thread& worker : workers) worker.join();
    return Print();
  }

  bool Repeat() {
    const Scenario& scenario = FindScenario(Given.szOnly);
    const Truth truth = FindTruth(scenario, FirstPlace, Inputs);
    const auto mode = std::find_if(Modes().begin(), Modes().end(),
                                   [&](const Mode& known) { return known.szName == Given.szFault; });
    if (mode == Modes().end()) Stop("there is no fault " + Given.szFault);
    const Outcome outcome = TryFault(scenario, truth, *mode, Given.nAt, FirstPlace);
    constexpr const char* kNames[] = {"unaffected", "failed as it should", "not struck", "bad"};
    std::printf("%s%s: %s\nthe run's folder: %s\n", ReadWhole(FirstPlace.szConsole).c_str(),
                kNames[static_cast<int>(outcome.How)], outcome.szWhy.c_str(), FirstPlace.szFolder.c_str());
    return outcome.How != Ending::Bad;
  }

 private:
  void MakeCases() {
    std::mt19937_64 random(Given.nSeed);
    Truths.reserve(Scenarios().size());
    for (const Scenario& scenario : Scenarios()) {
      if (!Given.szOnly.empty() && scenario.szName != Given.szOnly) continue;
      Truths.push_back(FindTruth(scenario, FirstPlace, Inputs));
      for (const Mode& mode : Modes()) {
        if (!Given.szFault.empty() && mode.szName != Given.szFault) continue;
        const uint64_t count = Truths.back().nCalls[static_cast<size_t>(mode.Which)];
        for (const uint64_t call : ChooseCalls(count, Given.nMost, random)) {
          Cases.push_back({&scenario, &Truths.back(), &mode, call});
        }
      }
    }
  }

  void Work(unsigned worker) {
    const Place place(Given.szWork + "/" + std::to_string(worker));
    RestoreFolder(place.In(), Inputs, ReadFolder(place.In()));
    for (size_t i = nNext++; i < Cases.size(); i = nNext++) {
      const Case& tried = Cases[i];
      const Outcome outcome = TryFault(*tried.pScenario, *tried.pTruth, *tried.pMode, tried.nAt, place);
      const std::lock_guard lock(Guard);
      ByMode[tried.pMode->szName].Add(outcome.How);
      ByScenario[tried.pScenario->szName].Add(outcome.How);
      All.Add(outcome.How);
      if (outcome.How != Ending::Bad) continue;
      std::printf("BAD: %s\n     orvo_fault_suite --repeat %s %s %llu\n", outcome.szWhy.c_str(),
                  tried.pScenario->szName.c_str(), tried.pMode->szName,
                  static_cast<unsigned long long>(tried.nAt));
    }
  }

  bool Print() {
    PrintHead("fault");
    for (const Mode& mode : Modes()) {
      if (ByMode.count(mode.szName) != 0) PrintRow(mode.szName, ByMode[mode.szName]);
    }
    PrintHead("run");
    for (const Scenario& scenario : Scenarios()) {
      if (ByScenario.count(scenario.szName) != 0) PrintRow(scenario.szName, ByScenario[scenario.szName]);
    }
    PrintRow("all", All);
    std::printf("Seed %llu\n", static_cast<unsigned long long>(Given.nSeed));
    return All.nBad == 0 && All.nTried > 0;
  }

  Arguments Given;
  Place FirstPlace;
  FolderState Inputs;
  std::vector<Truth> Truths;
  std::vector<Case> Cases;
  std::atomic<size_t> nNext = 0;
  std::mutex Guard;
  std::map<std::string, Tally> ByMode, ByScenario;
  Tally All;
};

Arguments Parse(int argc, char** argv) {
  Arguments arguments;
  arguments.szWork =
      std::filesystem::temp_directory_path().string() + "/orvo-faults-" + std::to_string(::getpid());
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--repeat" && i + 3 < argc) {
      arguments.bRepeats = true;
      arguments.szOnly = argv[i + 1];
      arguments.szFault = argv[i + 2];
      arguments.nAt = std::strtoull(argv[i + 3], nullptr, 10);
      i += 3;
      continue;
    }
    if (i + 1 == argc) Stop(kUsage);
    const std::string value = argv[++i];
    if (name == "--most") {
      arguments.nMost = std::strtoull(value.c_str(), nullptr, 10);
    } else if (name == "--seed") {
      arguments.nSeed = std::strtoull(value.c_str(), nullptr, 10);
    } else if (name == "--only") {
      arguments.szOnly = value;
    } else if (name == "--kind") {
      arguments.szFault = value;
    } else if (name == "--jobs") {
      arguments.nJobs = std::max(1u, static_cast<unsigned>(std::atoi(value.c_str())));
    } else if (name == "--work") {
      arguments.szWork = value;
    } else {
      Stop(kUsage);
    }
  }
  return arguments;
}

}  // namespace
}  // namespace orvo::faults

int main(int argc, char** argv) {
  using namespace orvo::faults;
  const Arguments arguments = Parse(argc, argv);
  Suite suite(arguments);
  if (arguments.bRepeats) return suite.Repeat() ? 0 : 1;
  const bool good = suite.Run();
  if (good) std::filesystem::remove_all(arguments.szWork);
  return good ? 0 : 1;
}
