// What crafted inputs cost in memory, and how runs end that get too little.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "faults/CraftedInputs.h"
#include "faults/Fault.h"

namespace orvo::faults {
namespace {

constexpr int64_t kMegabyte = int64_t{1} << 20;
constexpr int64_t kBaseBytes = 64 * kMegabyte;
constexpr int64_t kTimesInput = 8;

struct Tally {
  int nTried = 0, nBad = 0;
};

Scenario ScenarioFor(const CraftedInput& input, bool classic) {
  const std::string file = input.szFile;
  const bool binary = file == "block.ovc" || file == "block.ovt";
  const std::string project = binary ? "in/block.ovc" : "in/block.prj";
  const std::string settings = file == "pos.ini" ? "in/pos.ini" : "in/pos.xml";
  if (classic) {
    return {"", Program::OrvoAdjust, {settings, project, "in/block_gcp.txt", "in/block_pos.txt", "out"}};
  }
  return {"",
          Program::Orvo,
          {"adjust", project, "--gcp", "in/block_gcp.txt", "--pos", "in/block_pos.txt", "--settings",
           settings, "--out", "out"}};
}

void MeasureCrafted(const Place& place, const FolderState& inputs, int64_t bytes, Tally& tally) {
  std::printf("%-40s %-12s %9s %9s %7s\n", "input", "program", "MB", "peak MB", "times");
  for (const CraftedInput& input : CraftedInputs()) {
    RestoreFolder(place.In(), inputs, ReadFolder(place.In()));
    const std::string path = place.In() + "/" + input.szFile;
    WriteCrafted(input, path, bytes);
    const auto size = static_cast<int64_t>(std::filesystem::file_size(path));
    for (const bool classic : {false, true}) {
      ChildRun run = MakeRun(ScenarioFor(input, classic), place.szFolder, place.szConsole);
      run.fLimitSeconds = 120;
      const ChildEnd end = RunChild(run);
      const bool ends = !end.bHung && end.nSignal == 0 && (end.nExit == 0 || (!classic && end.nExit <= 3));
      const bool bad = !ends || end.nPeakBytes > kBaseBytes + kTimesInput * size;
      ++tally.nTried;
      tally.nBad += bad;
      std::printf("%-40s %-12s %9.1f %9.1f %7.1f%s\n", input.szName, classic ? "orvo_adjust" : "orvo",
                  static_cast<double>(size) / kMegabyte, static_cast<double>(end.nPeakBytes) / kMegabyte,
                  static_cast<double>(end.nPeakBytes) / static_cast<double>(size),
                  !bad   ? ""
                  : ends ? "  BAD"
                         : ("  BAD: " + end.Text()).c_str());
    }
    std::filesystem::remove_all(place.Out());
  }
}

/// Runs of a block of some size with ever more address space, until they come to their end.
void RunInLittleMemory(const Place& place, int64_t stepMegabytes, Tally& tally) {
  constexpr int64_t kNarrowStep = 50;
  const Scenario make{"",
                      Program::Generate,
                      {"generate", "in", "--name", "large", "--strips", "20", "--images-per-strip", "50",
                       "--forms", "prj,gcp,settings"}};
  if (RunChild(MakeRun(make, place.szFolder, place.szConsole)).nExit != 0) Stop(ReadWhole(place.szConsole));
  std::filesystem::create_directories(place.Out());
  WriteWhole(place.Out() + "/OrvoResult.ovc", "earlier\n");
  const FolderState earlier = ReadFolder(place.Out());
  const std::vector<Scenario> scenarios{{"orvo",
                                         Program::Orvo,
                                         {"adjust", "in/large.prj", "--gcp", "in/large_gcp.txt", "--settings",
                                          "in/AdjPara.xml", "--out", "out"}},
                                        {"orvo_adjust",
                                         Program::OrvoAdjust,
                                         {"in/AdjPara.xml", "in/large.prj", "in/large_gcp.txt", "", "out"}}};
  for (const Scenario& scenario : scenarios) {
    bool anyTold = false;
    for (int64_t megabytes = 20; megabytes <= 4000; megabytes += stepMegabytes) {
      RestoreFolder(place.Out(), earlier, ReadFolder(place.Out()));
      ChildRun run = MakeRun(scenario, place.szFolder, place.szConsole);
      run.nAddressBytes = static_cast<uint64_t>(megabytes * kMegabyte);
      run.fLimitSeconds = 300;
      const ChildEnd end = RunChild(run);
      const FolderState out = ReadFolder(place.Out());
      const bool done = out.count("OrvoAdjustReport.txt") != 0;
      const std::string console = ReadWhole(place.szConsole);
      const size_t told = std::min(console.find("not enough memory"), console.find("Not enough memory"));
      const bool orderly = !end.bHung && end.nSignal == 0;
      const bool untouched = Difference(ResultsOf(earlier), ResultsOf(out)).empty();
      const bool lacks = scenario.Which == Program::Orvo ? end.nExit == 1 : end.nExit == 0;
      // The libraries of the coordinate systems take most of such an address space before the program begins:
      // 127 is the exit code of their loader, which words it in several ways.
      const bool unloaded = end.nExit == 127 && !done && untouched;
      const bool good = unloaded || (orderly && ((done && end.nExit == 0) ||
                                                 (!done && lacks && untouched && told != std::string::npos)));
      anyTold |= told != std::string::npos;
      ++tally.nTried;
      tally.nBad += !good;
      const std::string text =
          told == std::string::npos ? "" : console.substr(told, console.find('\n', told) - told);
      std::printf("%-12s %5lld MB of address space: %s%s%s%s\n", scenario.szName.c_str(),
                  static_cast<long long>(megabytes), end.Text().c_str(), text.empty() ? "" : ", ",
                  text.c_str(), good ? (unloaded ? ", not loaded" : "") : "  BAD");
      if (done && orderly && end.nExit == 0) break;
    }
    // None that runs out of memory would show nothing; wide steps may have none.
    tally.nBad += !anyTold && stepMegabytes <= kNarrowStep;
  }
}

}  // namespace
}  // namespace orvo::faults

int main(int argc, char** argv) {
  using namespace orvo::faults;
  const int64_t megabytes = argc > 1 ? std::atoll(argv[1]) : 5, step = argc > 2 ? std::atoll(argv[2]) : 200;
  if (megabytes < 0 || step < 1) {
    Stop("orvo_memory_suite [MEGABYTES-OF-CRAFTED-INPUT, 0 for none] [MEGABYTES-OF-STEP]");
  }
  const std::string work =
      std::filesystem::temp_directory_path().string() + "/orvo-memory-" + std::to_string(::getpid());
  const Place place(work);
  Tally tally;
  if (megabytes > 0) MeasureCrafted(place, MakeInputs(place), megabytes * kMegabyte, tally);
  RunInLittleMemory(place, step, tally);
  std::printf("%d tried, %d bad\n", tally.nTried, tally.nBad);
  std::filesystem::remove_all(work);
  return tally.nBad == 0 ? 0 : 1;
}
