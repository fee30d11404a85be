#include "report/Tables.h"

#include <gtest/gtest.h>

#include "MadeUpResults.h"
#include "report/MarkdownTable.h"

namespace orvo::bench {
namespace {

TEST(MarkdownTable, IsAsWideAsItsCells) {
  MarkdownTable table({"case", "ms"});
  table.Row({"1/a", "12.25"});
  table.Row({"1/longer", "-"});
  EXPECT_EQ(table.Text(),
            "| case     |    ms |\n"
            "| -------- | ----: |\n"
            "| 1/a      | 12.25 |\n"
            "| 1/longer |     - |\n");
}

/// The cells of the first row that begins with a cell, behind a heading; empty where there is none.
std::vector<std::string> Row(const std::string& text, const std::string& heading, const std::string& first) {
  const size_t section = text.find("### " + heading);
  if (section == std::string::npos) return {};
  const size_t begin = text.find("\n| " + first + " ", section), next = text.find("###", section + 3);
  if (begin == std::string::npos || begin > next) return {};
  std::vector<std::string> cells;
  const size_t end = text.find('\n', begin + 1);
  for (size_t at = begin + 2, bar; (bar = text.find('|', at)) < end; at = bar + 1) {
    std::string cell = text.substr(at, bar - at);
    cell.erase(0, cell.find_first_not_of(' '));
    cell.erase(cell.find_last_not_of(' ') + 1);
    cells.push_back(cell);
  }
  return cells;
}

using Cells = std::vector<std::string>;

TEST(Tables, OfWholeRuns) {
  Measurement run = MadeUpRun("1000/eopiop", "new", 0.5);
  run.fListingWall = 0.02;
  run.Files = {{{"log.txt", 1, 1}, 100}, {{"OrvoResult.ovt", 0.5, 1}, 20000000}, {{"empty", 0, 1}, 0}};
  const std::string text =
      TablesText(MadeUpResults({"new", "old"}, {run, MadeUpRun("1000/old", "old", 1)}), ShownPhases::Usual);
  EXPECT_EQ(text.rfind("Measured with new on made up, 2 processors.\n\n", 0), 0u);
  EXPECT_EQ(Row(text, "Goals", "1000/eopiop"),
            (Cells{"1000/eopiop", "30.0 ms / 50.0 ms", "50.0 ms / 50.0 ms", "45 / 70 ms", "1.00 s", "500 ms",
                   "0.7 s", "8 MB", "-", "5"}));
  EXPECT_EQ(Row(text, "Whole runs", "1000/eopiop"),
            (Cells{"1000/eopiop", "1.00 s", "500 ms", "50.0 ms", "20.0 ms", "5", "8 MB", "0.5000"}));
  EXPECT_EQ(Row(text, "Where the time goes", "solve"), (Cells{"solve", "1000.00 / 250.00"}));
  EXPECT_EQ(Row(text, "Output files", "OrvoResult.ovt"), (Cells{"OrvoResult.ovt", "20.00 at 40"}));
  EXPECT_EQ(Row(text, "Output files", "empty"), (Cells{"empty", "0.00"}));
  EXPECT_EQ(text.find("log.txt"), std::string::npos);
  EXPECT_EQ(text.find("1000/old"), std::string::npos) << "the second program is for comparisons";
  for (const char* heading : {"Against", "Kernels", "Device"})
    EXPECT_EQ(text.find(heading), std::string::npos) << "not measured";
}

TEST(Tables, ShowPhasesOfTheCasesAskedFor) {
  Measurement odd = MadeUpRun("100/merged", "new", 0.5);
  odd.Phases = {{"something new", 1, 1, 1}, {"solve", 1, 1, 1}, {"start", 1, 1, 1}};
  const Results results = MadeUpResults({"new"}, {odd, MadeUpRun("100/dense", "new", 0.5)});
  const struct {
    ShownPhases eShown;
    Cells Head, Solve;
  } cases[] = {
      {ShownPhases::None, {}, {}},
      {ShownPhases::Usual, {"phase", "100/dense"}, {"solve", "1000.00 / 250.00"}},
      {ShownPhases::All,
       {"phase", "100/merged", "100/dense"},
       {"solve", "1000.00 / 1000.00", "1000.00 / 250.00"}},
  };
  for (const auto& given : cases) {
    const std::string text = TablesText(results, given.eShown);
    EXPECT_EQ(Row(text, "Where the time goes", "phase"), given.Head);
    EXPECT_EQ(Row(text, "Where the time goes", "solve"), given.Solve);
  }
  const std::string all = TablesText(results, ShownPhases::All);
  EXPECT_LT(all.find("| start "), all.find("| solve "));
  EXPECT_LT(all.find("| solve "), all.find("| something new "));
  EXPECT_EQ(Row(all, "Where the time goes", "start"), (Cells{"start", "1000.00 / 1000.00", "-"}));
}

TEST(Tables, OfThePeerInMultiplesOfTheRunBesideIt) {
  PeerRun peer;
  peer.szCase = "1/a";
  peer.szConfiguration = "sparse-1";
  peer.Whole = {10, 12};
  peer.Solve = {8, 9};
  peer.ToTarget = {-1, -1};
  peer.nSteps = 4;
  peer.fFinalRms = 0.4;
  peer.nPeakBytes = 80000000;
  peer.Beside = {2, 1};
  peer.nBesidePeakBytes = 8000000;
  peer.fBesideRms = 0.5;
  Results results;
  results.Peers = {peer};
  EXPECT_EQ(Row(TablesText(results, ShownPhases::None), "Against the peer", "1/a"),
            (Cells{"1/a", "sparse-1", "2.00 s", "8.00 s (4.0, 9.0)", "never", "10.00 s (5.0, 12.0)", "2.00 s",
                   "4", "80 MB (10.0)", "0.5000 / 0.4000"}));
}

TEST(Tables, OfKernelsAndDevice) {
  Results results;
  results.Kernels = {{"Multiply", 1e-4, 2e-4, 2500000, 0}, {"Read", 0.25, 0.25, 0, 3e8}};
  DeviceFigures device;
  device.szDevice = "Host device";
  device.nProcessors = 2;
  device.nLayout = 3;
  device.nProducts = 20;
  device.fCopyBytes = 1.489e10;
  device.Times.resize(1);
  device.Times[0].szForm = "fast";
  device.Times[0].nRays = 985531;
  device.Times[0].nImages = 1682;
  device.Times[0].fProduct = 0.0131;
  device.Times[0].fIteration = 1.25;
  device.Times[0].fBytesPerRay = 49.48;
  device.Times[0].fPercentOfCopy = 24.98;
  results.Devices = {device};
  const std::string text = TablesText(results, ShownPhases::Usual);
  EXPECT_EQ(Row(text, "Kernels", "Multiply"), (Cells{"Multiply", "100.00 us", "2.5", "-"}));
  EXPECT_EQ(Row(text, "Kernels", "Read"), (Cells{"Read", "250 ms", "-", "0.30"}));
  EXPECT_NE(text.find("Layout 3, an iteration with 20 products; copies at 14.9 GB/s.\n"), std::string::npos);
  EXPECT_EQ(Row(text, "Device path: Host device, 2 threads", "fast"),
            (Cells{"fast", "1.0 M", "1682", "0.00 ms", "0.00 ms", "0.00 ms", "0.00 ms", "13.1 ms", "0.00 ms",
                   "1.25 s", "49", "25.0 %"}));
}

}  // namespace
}  // namespace orvo::bench
