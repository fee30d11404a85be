#include "suite/Suite.h"

#include <gtest/gtest.h>

#include "suite/CaseRuns.h"
#include "suite/Companions.h"
#include "support/TestFiles.h"
#include "whole/PeerRuns.h"

namespace orvo::bench {
namespace {

TEST(Suite, GrowsWithItsSize) {
  const struct {
    SuiteSize eSize;
    int nRepeats;
    std::vector<int> Repeats;
  } cases[] = {{SuiteSize::Smoke, 1, {1, 1}},
               {SuiteSize::Standard, 5, {5, 2}},
               {SuiteSize::Standard, 1, {1, 1}},
               {SuiteSize::Full, 5, {5, 2, 2, 1}}};
  for (const auto& given : cases) {
    std::vector<int> repeats;
    bool peer = false;
    for (const SuitePass& pass : SuitePasses(given.eSize, given.nRepeats)) {
      repeats.push_back(pass.nRepeats);
      EXPECT_EQ(pass.bPeer, peer) << "every other pass is the peer's";
      peer = !peer;
    }
    EXPECT_EQ(repeats, given.Repeats);
  }
}

TEST(Suite, NamesCasesThatThereAre) {
  const std::vector<BenchCase> all = AllCases(ORVO_SOURCE_DIR);
  for (const SuiteSize size : {SuiteSize::Smoke, SuiteSize::Full}) {
    for (const SuitePass& pass : SuitePasses(size, 1)) {
      for (const std::string& name : pass.pCases) EXPECT_FALSE(MatchingCases(all, {name}).empty()) << name;
    }
  }
}

TEST(PeerRuns, ConfigurationsAreSolverAndThreads) {
  for (const char* good : {"dense-1", "sparse-2", "iterative-16"}) EXPECT_EQ(CheckConfiguration(good), "");
  for (const char* bad : {"", "dense", "dense-", "-1", "dense-x", "dense-1-2"}) {
    EXPECT_EQ(CheckConfiguration(bad),
              std::string(bad) + " is no configuration: write solver-threads, such as sparse-2");
  }
}

TEST(PeerRuns, SuitTheNumberOfImages) {
  const struct {
    const char* szCase;
    std::vector<std::string> Given, Expected;
  } cases[] = {{"100/eop", {}, {"dense-1", "sparse-1"}},
               {"1000/eop", {}, {"sparse-1", "sparse-2", "iterative-1"}},
               {"10000/eop", {}, {"sparse-2", "iterative-2"}},
               {"100/eop", {"dense-4"}, {"dense-4"}}};
  for (const auto& given : cases) {
    std::vector<std::string> planned;
    for (const PeerRun& run : PlanPeerRuns(given.szCase, given.Given)) {
      EXPECT_EQ(run.szCase, given.szCase);
      planned.push_back(run.szConfiguration);
    }
    EXPECT_EQ(planned, given.Expected) << given.szCase;
  }
}

/// A script in place of a program.
std::string Script(const test::ScratchFolder& folder, const std::string& name, const std::string& body) {
  test::WriteFile(folder / name, "#!/bin/sh\n" + body);
  std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
  return folder / name;
}

CasePlan PlanOfScripts(const test::ScratchFolder& folder) {
  CasePlan plan;
  plan.Programs = {{Script(folder, "orvo", "exit 0\n"), "new"},
                   {Script(folder, "before", "sleep 0.1\n"), "old"}};
  plan.szPeer = Script(folder, "peer",
                       "printf 'PEER {\\nsolve 2\\nsolve_cpu 3\\nto_target -1\\nto_target_cpu -1\\nsteps 7\\n"
                       "rms 0.25\\n}\\n'\n");
  plan.pPeerConfigurations = {"dense-1"};
  plan.szWork = folder / "work";
  plan.nRepeats = 2;
  return plan;
}

TEST(CaseRuns, MeasureProgramsInTurnAndThePeerBesideTheFirst) {
  const test::ScratchFolder folder;
  const std::vector<BenchCase> cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), {"100/eop"});
  Results results;
  ASSERT_TRUE(MeasureCases(cases, PlanOfScripts(folder), results));
  ASSERT_EQ(results.Runs.size(), 2u);
  EXPECT_EQ(results.Runs[0].szProgram, "new");
  EXPECT_EQ(results.Runs[1].szProgram, "old");
  EXPECT_EQ(results.Runs[1].nRepeats, 2);
  EXPECT_GE(results.Runs[1].fWall, 0.1);
  ASSERT_EQ(results.Peers.size(), 1u);
  const PeerRun& peer = results.Peers[0];
  EXPECT_EQ(peer.nRepeats, 2);
  EXPECT_EQ(peer.nSteps, 7);
  EXPECT_EQ(peer.Solve.fCpu, 3);
  EXPECT_LT(peer.ToTarget.fWall, 0);
  EXPECT_EQ(peer.Beside.fWall, results.Runs[0].fWall);
  EXPECT_EQ(peer.nBesidePeakBytes, results.Runs[0].nPeakBytes);
}

TEST(CaseRuns, KeepNothingOfACaseThatFails) {
  const test::ScratchFolder folder;
  const std::vector<BenchCase> cases = MatchingCases(AllCases(ORVO_SOURCE_DIR), {"100/eop"});
  CasePlan plan = PlanOfScripts(folder);
  plan.szPeer = Script(folder, "peer", "exit 1\n");
  Results results;
  EXPECT_FALSE(MeasureCases(cases, plan, results));
  plan.szPeer.clear();
  plan.Programs[0].szPath = Script(folder, "orvo", "exit 3\n");
  EXPECT_FALSE(MeasureCases(cases, plan, results));
  EXPECT_TRUE(results.Runs.empty() && results.Peers.empty());
}

TEST(Companions, GiveTheResultsThatTheyWrite) {
  const test::ScratchFolder folder;
  const std::string json = folder / "kernels.json";
  const std::string writer =
      Script(folder, "writer",
             "echo '{\"benchmarks\": [{\"name\": \"M\", \"run_type\": \"iteration\", "
             "\"real_time\": 2, \"cpu_time\": 1, \"time_unit\": \"ms\"}]}' > \"$1\"\n");
  Results results;
  ASSERT_TRUE(TakeResultsOf({writer, json}, json, results));
  ASSERT_EQ(results.Kernels.size(), 1u);
  EXPECT_DOUBLE_EQ(results.Kernels[0].fWall, 2e-3);
  EXPECT_FALSE(std::filesystem::exists(json));
  EXPECT_FALSE(TakeResultsOf({Script(folder, "silent", "exit 0\n")}, json, results));
  EXPECT_FALSE(TakeResultsOf({Script(folder, "bad", "exit 4\n")}, json, results));
  EXPECT_FALSE(TakeResultsOf({folder / "nowhere"}, json, results));
  EXPECT_EQ(ProgramBeside("no program of this name"), "");
}

TEST(Companions, TellTheCommit) {
  const test::ScratchFolder folder;
  EXPECT_EQ(CommitLabel(folder.Path()), "unknown");
}

}  // namespace
}  // namespace orvo::bench
