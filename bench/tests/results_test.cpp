#include "report/Results.h"

#include <gtest/gtest.h>

#include <cmath>

#include "MadeUpResults.h"
#include "support/TestFiles.h"

namespace orvo::bench {
namespace {

Results Everything() {
  Results results =
      MadeUpResults({"new", "old"}, {MadeUpRun("1/a", "new", 1.25), MadeUpRun("1/a", "old", 2)});
  results.Runs[0].nInstructions = 123456789;
  results.Runs[0].Files = {{{"Residuals_*_*.res", 0.25, 8}, 4000}};
  results.Runs[1].fFinalRms = std::nan("");
  PeerRun peer;
  peer.szCase = "1/a";
  peer.szConfiguration = "sparse-1";
  peer.Whole = {10, 12};
  peer.ToTarget = {-1, -1};
  peer.Beside = {2, 1};
  peer.nSteps = 4;
  results.Peers = {peer, peer};
  results.Peers[1].ToTarget = {3, 4};
  results.Kernels = {{"Multiply/100", 4e-4, 3e-4, 1e6, 0}};
  DeviceFigures device;
  device.szDevice = "Host device";
  device.nProducts = 20;
  device.Times.resize(1);
  device.Times[0].szForm = "fast";
  device.Times[0].fProduct = 0.5;
  results.Devices = {device};
  return results;
}

TEST(Results, ComeBackFromTheirText) {
  const std::string text = ResultsText(Everything());
  Results read;
  std::string error;
  ASSERT_TRUE(ParseResults(text, read, error)) << error;
  EXPECT_EQ(ResultsText(read), text);
  EXPECT_EQ(read.Machine.szProcessor, "made up");
  EXPECT_EQ(read.pPrograms, (std::vector<std::string>{"new", "old"}));
  ASSERT_EQ(read.Runs.size(), 2u);
  EXPECT_EQ(read.Runs[0].fCpu, 1.25);
  EXPECT_EQ(read.Runs[0].nInstructions, 123456789);
  EXPECT_EQ(read.Runs[0].Phases[0].nCount, 5);
  EXPECT_EQ(read.Runs[0].Files[0].nBytes, 4000);
  EXPECT_FALSE(read.Runs[1].nInstructions);
  EXPECT_TRUE(std::isnan(read.Runs[1].fFinalRms));
  EXPECT_EQ(read.Peers[0].Beside.fWall, 2);
  EXPECT_LT(read.Peers[0].ToTarget.fWall, 0);
  EXPECT_EQ(read.Peers[1].ToTarget.fCpu, 4);
  EXPECT_EQ(read.Kernels[0].fCpu, 3e-4);
  EXPECT_EQ(read.Devices[0].Times[0].fProduct, 0.5);
}

TEST(Results, OfTheKernelsAreTheLeastOfTheRepetitions) {
  Results read;
  std::string error;
  ASSERT_TRUE(ParseResults(R"({"context": {}, "benchmarks": [
    {"name": "M", "run_type": "iteration", "real_time": 500, "cpu_time": 300, "time_unit": "us"},
    {"name": "M", "run_type": "iteration", "real_time": 400, "cpu_time": 350, "time_unit": "us",
     "items_per_second": 7},
    {"name": "M_mean", "run_type": "aggregate", "real_time": 1, "cpu_time": 1, "time_unit": "us"},
    {"name": "N", "run_type": "iteration", "real_time": 2, "cpu_time": 1, "time_unit": "ms"}]})",
                           read, error))
      << error;
  ASSERT_EQ(read.Kernels.size(), 2u);
  EXPECT_EQ(read.Kernels[0].szName, "M");
  EXPECT_DOUBLE_EQ(read.Kernels[0].fWall, 4e-4);
  EXPECT_DOUBLE_EQ(read.Kernels[0].fCpu, 3e-4);
  EXPECT_EQ(read.Kernels[0].fItems, 7);
  EXPECT_DOUBLE_EQ(read.Kernels[1].fWall, 2e-3);
}

TEST(Results, OfTheDeviceProgramAreReadAsTheyAre) {
  Results read;
  std::string error;
  ASSERT_TRUE(ParseResults(R"({"device": "Host device", "processors": 2, "layout": 3, "products": 20,
    "copy_bytes_per_s": 1.489e+10, "runs": [{"form": "fast", "measurements": 985531, "points": 241473,
    "images": 1682, "upload_s": 0.035, "refresh_s": 0.0012, "sum_matrix_s": 0.017, "const_vector_s": 0.0049,
    "preconditioner_s": 0.026, "product_s": 0.0131, "step_s": 0.0135, "iteration_s": 0.32, "bytes_per_ray": 49.4,
    "percent_of_copy": 25}]})",
                           read, error))
      << error;
  ASSERT_EQ(read.Devices.size(), 1u);
  EXPECT_EQ(read.Devices[0].fCopyBytes, 1.489e10);
  EXPECT_EQ(read.Devices[0].Times[0].nRays, 985531);
  EXPECT_EQ(read.Devices[0].Times[0].fProduct, 0.0131);
}

TEST(Results, SayWhatIsMissingAndWhere) {
  const std::string whole = ResultsText(Everything());
  const auto changed = [&whole](const std::string& from, const std::string& to) {
    std::string text = whole;
    return text.replace(text.find(from), from.size(), to);
  };
  const std::pair<std::string, std::string> cases[] = {
      {"", "no JSON: line 1: no value"},
      {"[]", "schema: a number is missing"},
      {"{}", "schema: a number is missing"},
      {"{\"schema\": 1}", "schema: 1 where 2 is read"},
      {changed("\"processor\": \"made up\"", "\"processor\": 7"), "machine.processor: a text is missing"},
      {changed("\"program\": \"new\"", "\"prog\": \"new\""), "runs[0].program: a text is missing"},
      {changed("\"wall\": 2.5", "\"wall\": \"2.5\""), "runs[0].wall: a number is missing"},
      {changed("\"wall\": 2.5", "\"wall\": -2.5"), "runs[0].wall: a number below zero"},
      {changed("\"iterations\": 5", "\"iterations\": 5.5"), "runs[0].iterations: no whole number"},
      {changed("\"count\": 5", "\"count\": 3000000000"), "runs[0].phases.solve.count: too large a number"},
      {changed("\"phases\": {\"solve\"", "\"phases\": [1], \"x\": {\"solve\""), "runs[0].phases: no object"},
      {changed("\"runs\": [", "\"ran\": ["), "runs: a list is missing"},
      {changed("\"peer_runs\": [", "\"peer_runs\": [3, "), "peer_runs[0].case: a text is missing"},
      {changed("\"to_target\": null", "\"to_target\": \"never\""),
       "peer_runs[0].to_target: a number is missing"},
      {changed("[\"new\", \"old\"]", "[\"new\", 3]"), "programs: a label that is no text"},
      {"{\"benchmarks\": []}", "benchmarks: no kernel in it"},
      {R"({"benchmarks": [{"name": "M", "run_type": "iteration", "real_time": 1, "cpu_time": 1,
        "time_unit": "h"}]})",
       "benchmarks[0].time_unit: no unit of time"},
      {R"({"benchmarks": [{"name": "M", "run_type": "iteration", "error_message": "no file"}]})",
       "benchmarks[0].error_message: the kernel failed"},
      {"{\"device\": \"Host device\"}", "processors: a number is missing"},
  };
  for (const auto& [text, expected] : cases) {
    Results read;
    std::string error;
    EXPECT_FALSE(ParseResults(text, read, error)) << expected;
    EXPECT_EQ(error, expected);
  }
}

TEST(Results, AreReadFromRegularFilesOnly) {
  const test::ScratchFolder folder;
  Results read;
  std::string error;
  test::WriteFile(folder / "good.json", ResultsText(Everything()));
  EXPECT_TRUE(ReadResults(folder / "good.json", read, error)) << error;
  test::WriteFile(folder / "bad.json", "{");
  EXPECT_FALSE(ReadResults(folder / "bad.json", read, error));
  EXPECT_EQ(error, folder / "bad.json" + ": no JSON: line 1: a text in quotes is missing");
  for (const std::string& path : {folder / "none.json", folder.Path(), std::string("/dev/zero")}) {
    EXPECT_FALSE(ReadResults(path, read, error)) << path;
    EXPECT_EQ(error.rfind("can't read " + path + ": ", 0), 0u) << error;
  }
}

TEST(Results, OfOneCaseTwiceTheShorterStays) {
  std::vector<Measurement> runs;
  for (const double cpu : {3.0, 2.0, 4.0}) AddMeasurement(runs, MadeUpRun("1/a", "new", cpu));
  AddMeasurement(runs, MadeUpRun("1/a", "old", 5));
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].fCpu, 2);
  EXPECT_EQ(runs[1].fCpu, 5);
}

TEST(Results, OfManyFilesStandInTheOrderOfTheLargest) {
  const Results small =
      MadeUpResults({"here", "there"},
                    {MadeUpRun("1/c", "here", 1), MadeUpRun("1/a", "here", 1), MadeUpRun("1/z", "there", 1)});
  const Results large = MadeUpResults({"main"}, {MadeUpRun("1/a", "main", 2), MadeUpRun("1/b", "main", 2),
                                                 MadeUpRun("1/d", "main", 2), MadeUpRun("1/e", "main", 2)});
  const Results merged = Merged({small, large});
  std::vector<std::string> names;
  for (const Measurement& run : merged.Runs) names.push_back(run.szCase);
  EXPECT_EQ(names, (std::vector<std::string>{"1/a", "1/b", "1/d", "1/e", "1/c"}));
  EXPECT_EQ(merged.pPrograms, std::vector<std::string>{"main"});
  EXPECT_EQ(merged.Runs[0].fCpu, 1) << "the shorter of the two";
  EXPECT_EQ(merged.Runs[4].szProgram, "main");
}

}  // namespace
}  // namespace orvo::bench
