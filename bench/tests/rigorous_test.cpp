#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "rigorous/RigorousBlocks.h"
#include "rigorous/RigorousComparison.h"
#include "rigorous/RigorousReport.h"
#include "support/TestFiles.h"

namespace orvo::bench {
namespace {

std::vector<ProcessEvent> Lines(const std::vector<std::string>& texts) {
  std::vector<ProcessEvent> events;
  for (const std::string& text : texts) events.push_back({0, 0, ProcessEvent::Kind::Line, text});
  return events;
}

TEST(RigorousRuns, OwnLogTellsCostAndAcceptedSteps) {
  const auto run = ReadOwnLog(
      Lines({">>Adjustment preprocessing...", ">>>>Iteration 1: cost 8.259107673e+04, step 2.7, damping 1.0",
             ">>>>Iteration 2: cost 9.5e+04, step 8.8, damping 1.0, rejected",
             ">>>>Iteration 3: cost 7.390156069e+04, step 1.3e-03, damping 1.2",
             ">>End of the iterations: converged"}));
  ASSERT_TRUE(run);
  EXPECT_EQ(run->nAccepted, 2);
  EXPECT_EQ(run->nRejected, 1);
  EXPECT_EQ(run->fVpv, 73901.56069);
  EXPECT_TRUE(run->bConverged);
  EXPECT_FALSE(ReadOwnLog(Lines({">>End of the iterations: converged"})));
}

constexpr const char* kPeerLine =
    R"({"images":30,"measurements":9,"vpv":8.5,"accepted":3,"rejected":1,"converged":true,"peak_bytes":7,)"
    R"("read":{"wall":1,"cpu":2},"build":{"wall":3,"cpu":4},"solve":{"wall":5,"cpu":6},)"
    R"("to_default":{"wall":4,"cpu":5},"total":{"wall":9,"cpu":12}})";

TEST(RigorousRuns, PeerLineTellsItsTimes) {
  const auto run = ReadPeerLine(Lines({"WARNING: some library", kPeerLine}));
  ASSERT_TRUE(run);
  EXPECT_EQ(run->fVpv, 8.5);
  EXPECT_EQ(run->nAccepted, 3);
  EXPECT_EQ(run->nRejected, 1);
  EXPECT_TRUE(run->bConverged);
  EXPECT_EQ(run->Solve.fCpu, 6);
  EXPECT_EQ(run->ToDefault.fWall, 4);
  const std::string line = kPeerLine;
  for (const char* field : {"vpv", "accepted", "solve", "cpu"}) {
    std::string lacking = line;
    lacking.replace(lacking.find(field), 1, "_");
    EXPECT_FALSE(ReadPeerLine(Lines({lacking}))) << field;
  }
}

TEST(RigorousComparison, MedianIsTheMiddleOne) {
  EXPECT_EQ(MedianOf({3, 1, 2}), 2);
  EXPECT_EQ(MedianOf({4, 1, 2, 3}), 2.5);
  EXPECT_TRUE(std::isnan(MedianOf({})));
}

TEST(RigorousComparison, BarsGrowWithSizeAndThreads) {
  EXPECT_EQ(BarsOf(100, 1).fWhole, 5);
  EXPECT_EQ(BarsOf(1000, 1).fWhole, 10);
  EXPECT_EQ(BarsOf(1000, 2).fWhole, 12);
  EXPECT_EQ(BarsOf(10000, 2).fSolve, 5);
  EXPECT_EQ(BarsOf(10000, 1).fAllBytes, 1.4e9);
  EXPECT_FALSE(BarsOf(30, 1).fWhole || BarsOf(100000, 1).fSolve || BarsOf(100, 4).fWhole);
}

RigorousRun RunOf(double seconds, double vpv) {
  RigorousRun run;
  run.Whole = {seconds, seconds};
  run.Solve = {seconds / 2, seconds / 2};
  run.ToDefault = {seconds / 4, seconds / 4};
  run.fVpv = vpv;
  run.nAccepted = 4;
  return run;
}

TEST(RigorousReport, RatiosAreMediansOfTheRounds) {
  RigorousComparison one{100, 1, {"sparse"}, {}};
  for (const double peer : {12.0, 6.0, 30.0}) {
    RigorousRound round{RunOf(2, 1000 * (1 + 3e-10)), RunOf(3, 1000), {RunOf(peer, 1000)}};
    one.Rounds.push_back(round);
  }
  EXPECT_NEAR(CostExcess(one), 3e-10, 1e-14);
  const RigorousResults results{"here", {}, {one}};
  const Json json = RigorousJson(results);
  const Json& ratios = json["comparisons"].AsList().at(0)["ratios"]["sparse"];
  EXPECT_EQ(*ratios["whole"]["cpu"].AsNumber(), 6);
  EXPECT_EQ(*ratios["whole_to_default"]["wall"].AsNumber(), 4.5);
  EXPECT_EQ(*ratios["solve"]["cpu"].AsNumber(), 2);
  EXPECT_EQ(*ratios["solve_to_default"]["cpu"].AsNumber(), 1);
  const std::string tables = RigorousTables(results);
  EXPECT_NE(tables.find("+3.0e-10"), std::string::npos) << tables;
  EXPECT_NE(tables.find("6.0 / 6.0"), std::string::npos) << tables;
  EXPECT_EQ(RigorousTables({"here", {}, {{100, 1, {}, {}}}}).find("The peer"), std::string::npos);
}

TEST(RigorousBlocks, OnlySizesThatThereAre) {
  const test::ScratchFolder folder;
  EXPECT_FALSE(PrepareRigorousBlock(31, folder.Path()));
  EXPECT_EQ(RigorousSizes(), (std::vector<int64_t>{30, 100, 1000, 10000, 100000}));
}

/// Both programs on 30 images: the same function has the same minimum.
TEST(RigorousComparison, OursAndThePeersMinimumAreOne) {
  if (std::string(ORVO_PEER).empty()) GTEST_SKIP() << "orvo_peer was not built";
  const test::ScratchFolder folder;
  const auto files = PrepareRigorousBlock(30, folder.Path());
  ASSERT_TRUE(files);
  RigorousComparison one{30, 1, {"sparse-wide", "sparse", "dense-wide"}, {}};
  ASSERT_TRUE(AddRound({ORVO_PROGRAM, ORVO_PEER, *files, folder / "out", 1}, true, one));
  const RigorousRound& round = one.Rounds.at(0);
  EXPECT_LE(std::abs(CostExcess(one)), kCostBar);
  EXPECT_LE(round.Plain.nAccepted, kIterationBar);
  EXPECT_TRUE(round.Plain.bConverged);
  EXPECT_NEAR(round.All->fVpv / round.Plain.fVpv, 1, kCostBar);
  for (const RigorousRun& peer : round.Peers) {
    EXPECT_TRUE(peer.bConverged);
    EXPECT_NEAR(peer.fVpv / round.Peers[0].fVpv, 1, kCostBar);
    EXPECT_GT(peer.Solve.fWall, 0);
    EXPECT_LE(peer.ToDefault.fWall, peer.Solve.fWall);
    EXPECT_LE(peer.Read.fWall + peer.Build.fWall + peer.Solve.fWall, peer.Whole.fWall);
  }
  // The noise is as stated, so that v'Pv is the redundancy, within four of its standard deviations.
  constexpr double kRedundancy = 9297;
  EXPECT_NEAR(round.Plain.fVpv, kRedundancy, 4 * std::sqrt(2 * kRedundancy));
}

}  // namespace
}  // namespace orvo::bench
