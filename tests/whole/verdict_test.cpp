// Verdicts of whole runs: good blocks are good, and the usual blunders are not.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

#include "verdict/VerdictText.h"
#include "whole/BlockChanges.h"

namespace orvo::test {
namespace {

RunOptions Guarded() {
  RunOptions options;
  options.Rules = RunRules::Guarded;
  return options;
}

Verdict JudgedRun(Block& block, BlockRun run = {}) {
  run.Options.Rules = RunRules::Guarded;
  const RunOutcome outcome = block.Run(run);
  EXPECT_TRUE(outcome.bDone);
  EXPECT_EQ(ReadFile(block.Output("verdict.txt")), VerdictText(outcome.Judgement));
  return outcome.Judgement;
}

TEST(Verdict, SenecaIsGood) {
  for (const bool gps : {false, true}) {
    ScratchFolder folder;
    RunPaths paths;
    paths.szProject = Example("seneca/seneca_start.prj");
    paths.szGcp = Example("seneca/seneca_gcp.txt");
    if (gps) paths.szPos = Example("seneca/seneca_pos.txt");
    paths.szSettings = Example(gps ? "seneca/AdjPara_gps.xml" : "seneca/AdjPara.xml");
    paths.szOutput = folder / "out";
    const RunOutcome outcome = RunAdjustment(paths, NativePlatform(), nullptr, Guarded());
    ASSERT_TRUE(outcome.bDone);
    EXPECT_EQ(VerdictText(outcome.Judgement), "Verdict: good\n");
  }
}

TEST(Verdict, ClassicRunsHaveNone) {
  Block block;
  const RunOutcome outcome = block.Run();
  EXPECT_TRUE(outcome.bDone);
  EXPECT_FALSE(outcome.Judgement.bJudged);
  EXPECT_FALSE(Exists(block.Output("verdict.txt")));
}

struct GoodCase {
  const char* szName;
  int32_t nCameras, nControl;
  bool bEop, bIop, bSparse, bPos, bThinned, bSections;
};

class GoodBlocks : public ::testing::TestWithParam<GoodCase> {};

TEST_P(GoodBlocks, AreGood) {
  const GoodCase& row = GetParam();
  for (const double noise : {0.0, 0.5}) {
    SyntheticOptions options;
    options.fNoise = noise;
    options.nCameras = row.nCameras;
    options.nControlPoints = row.nControl;
    // Images that stay have to be where they are.
    if (!row.bEop) options.fStartPosition = options.fStartAngle = 0;
    Block block(options);
    block.Set("Set_EOP_Unknown", row.bEop ? "true" : "false");
    block.Set("Set_IOP_Unknown", row.bIop ? "true" : "false");
    block.Set("Apply_PCG_Model", row.bSparse ? "true" : "false");
    block.Set("Resampling_Points", row.bThinned ? "true" : "false");
    if (row.bPos) block.Set("Apply_GPS_Data", "true");
    BlockRun run;
    run.bPos = row.bPos;
    run.bBinary = row.bSections;
    if (row.bSections) run.Machine = MadeUpPlatform(200 << 10, 2);
    EXPECT_EQ(VerdictText(JudgedRun(block, run)), "Verdict: good\n") << noise;
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, GoodBlocks,
    ::testing::Values(GoodCase{"Images", 1, 6, true, false, false, false, false, false},
                      GoodCase{"Cameras", 1, 6, false, true, false, false, false, false},
                      GoodCase{"Both", 1, 6, true, true, false, false, false, false},
                      GoodCase{"BothSparse", 1, 6, true, true, true, false, false, false},
                      GoodCase{"Free", 1, 0, true, true, false, false, false, false},
                      GoodCase{"FreeSparse", 1, 0, true, true, true, false, false, false},
                      GoodCase{"SeveralCameras", 3, 6, true, true, false, false, false, false},
                      GoodCase{"ACameraAnImage", 0, 6, true, false, false, false, false, false},
                      GoodCase{"Pos", 1, 6, true, true, false, true, false, false},
                      GoodCase{"FreePos", 1, 0, true, true, false, true, false, false},
                      GoodCase{"Thinned", 1, 6, true, true, false, false, true, false},
                      GoodCase{"Sections", 1, 6, true, true, false, false, false, true}),
    [](const auto& row) { return std::string(row.param.szName); });

TEST(Verdict, DeviceBlockThatConvergesIsGood) {
  SyntheticOptions options;
  options.nControlPoints = 0;
  Block block(options);
  block.Set("Free_LM_Iteration_Num", "60");
  block.Set("Max_LM_Iteration_Num", "60");
  BlockRun run;
  run.Options.At = DeviceChoice::Host;
  EXPECT_EQ(VerdictText(JudgedRun(block, run)), "Verdict: good\n");
}

TEST(Verdict, DeviceBlockThatIsFrozenEarlyIsNot) {
  Block block;
  BlockRun run;
  run.Options.At = DeviceChoice::Host;
  EXPECT_NE(VerdictText(JudgedRun(block, run)).find("not converged"), std::string::npos);
}

TEST(Verdict, OtherModesAreJudged) {
  SyntheticOptions options;
  options.fStartPosition = options.fStartAngle = options.fStartFocal = options.fStartPrincipal = 0;
  for (const char* mode : {"Direct_Intersection", "Absolute_Orientation"}) {
    for (const bool binary : {false, true}) {
      Block block(options);
      block.Set(mode, "true");
      EXPECT_EQ(VerdictText(JudgedRun(block, {.bBinary = binary})), "Verdict: good\n") << mode << binary;
    }
  }
}

struct Blunder {
  const char* szName;
  int32_t nControl;
  std::function<void(Block&)> Make;
  const char* szSaid;
  bool bPos = false;
};

class Blunders : public ::testing::TestWithParam<Blunder> {};

TEST_P(Blunders, AreNotGood) {
  SyntheticOptions options;
  options.nControlPoints = GetParam().nControl;
  Block block(options);
  GetParam().Make(block);
  BlockRun run;
  run.bPos = GetParam().bPos;
  run.Options = Guarded();
  const RunOutcome outcome = block.Run(run);
  const std::string text = VerdictText(outcome.Judgement);
  EXPECT_NE(outcome.Judgement.Result, Grade::Good) << text;
  EXPECT_NE(text.find(GetParam().szSaid), std::string::npos) << text;
}

void Multiply(Block& block, double factor) {
  ChangeGcp(block, [factor](Lines& gcp, const auto& rows) {
    for (const size_t row : rows) {
      for (size_t k = 1; k <= 3; ++k) gcp[row][k] = Text(factor * std::stod(gcp[row][k]));
    }
  });
}

void ExchangeAxes(Block& block) {
  ChangeGcp(block, [](Lines& gcp, const auto& rows) {
    for (const size_t row : rows) std::swap(gcp[row][1], gcp[row][2]);
  });
}

void ExchangePoints(Block& block) {
  ChangeGcp(block, [](Lines& gcp, const auto& rows) {
    for (size_t k = 1; k <= 3; ++k) std::swap(gcp[rows[0]][k], gcp[rows[1]][k]);
  });
}

void ShiftOneMeasurement(Block& block) {
  ChangeGcp(block, [](Lines& gcp, const auto& rows) {
    std::string& x = gcp[rows[1] + 2][1];
    x = Text(std::stod(x) + 200);
  });
}

/// All measurements of one image, of tie points alone: control then contradicts them.
void ShiftOneImage(Block& block) {
  ChangeGcp(block, [](Lines& gcp, const auto& rows) {
    const std::string image = gcp[rows[0] + 2][0];
    for (const size_t row : rows) {
      for (size_t m = 0; m < std::stoul(gcp[row + 1][0]); ++m) {
        if (gcp[row + 2 + m][0] == image) gcp[row + 2 + m][1] = Text(std::stod(gcp[row + 2 + m][1]) + 5);
      }
    }
  });
}

void TurnAxisDown(Block& block) {
  ChangeProject(block, kMeasurements, [](auto& fields) { fields.at(2) = Text(-std::stod(fields[2])); });
}

void Transpose(Block& block) {
  ChangeProject(block, 2, [](auto& m) {
    std::swap(m.at(1), m.at(3));
    std::swap(m.at(2), m.at(6));
    std::swap(m.at(5), m.at(7));
  });
}

void UseGps(Block& block, const std::function<void(Lines&)>& change, bool imu) {
  block.Set("Apply_GPS_Data", "true");
  if (imu) block.Set("Apply_IMU_Data", "true");
  Lines pos = ReadLines(block.Paths().szPos);
  change(pos);
  WriteLines(block.Paths().szPos, pos);
}

const Blunder kBlunders[] = {
    {"TwoPointsExchanged", 6, ExchangePoints, "control point G00001 does not fit"},
    {"TwoOfThreeExchanged", 3, ExchangePoints, "unusable: RMSE"},
    {"EastAndNorthExchanged", 3, ExchangeAxes, "unusable: "},
    {"EastAndNorthOfSixExchanged", 6, ExchangeAxes, "doubtful: "},
    {"Feet", 6, [](Block& block) { Multiply(block, 1 / 0.3048); }, "feet for metres"},
    {"FeetOfThree", 3, [](Block& block) { Multiply(block, 1 / 0.3048); }, "unusable: "},
    {"OneMeasurement", 6, ShiftOneMeasurement, "control point G00001: "},
    {"OneImage", 12, ShiftOneImage, "control point G00000"},
    {"AxisDown", 6, TurnAxisDown, "unusable: "},
    {"Transposed", 6, Transpose, "doubtful: "},
    {"FewIterations", 6, [](Block& block) { block.Set("Max_LM_Iteration_Num", "2"); }, "allowed step"},
    {"GpsOfOneImage", 0,
     [](Block& block) {
       UseGps(
           block, [](Lines& pos) { pos[5][1] = Text(std::stod(pos[5][1]) + 30); }, false);
     },
     "doubtful: ", true},
    {"RadiansInPos", 6,
     [](Block& block) {
       UseGps(
           block,
           [](Lines& pos) {
             for (auto& line : pos) {
               for (size_t k = 4; k < 7 && line.size() > 6; ++k) {
                 line[k] = Text(std::stod(line[k]) * std::numbers::pi / 180);
               }
             }
           },
           true);
     },
     "look like radians", true},
};

INSTANTIATE_TEST_SUITE_P(All, Blunders, ::testing::ValuesIn(kBlunders),
                         [](const auto& row) { return std::string(row.param.szName); });

}  // namespace
}  // namespace orvo::test
