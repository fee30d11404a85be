// GPS and IMU observations in the normal equations of a block, in every layout and both forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <random>

#include "PosBlock.h"
#include "support/PosReference.h"

namespace orvo {
namespace {

using test::CapturedLog;
using test::NormalParts;
using Block = test::PosBlock;
using Case = test::PosCase;
using test::PosReference;

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  for (const LayoutMode layout : {LayoutEop, LayoutMergedEopIop, LayoutEopIop}) {
    for (int bits = 0; bits < 32; ++bits) {
      const Case c = {layout,          (bits & 1) != 0, (bits & 2) != 0,
                      (bits & 4) != 0, (bits & 8) != 0, (bits & 16) != 0};
      if (c.bGps || c.bImu) cases.push_back(c);
    }
  }
  return cases;
}

/// Adds `part` (or its share) to `whole` at a place.
void Put(const COrvoMatrix& part, int32_t row, int32_t col, COrvoMatrix& whole) {
  for (int32_t r = 0; r < part.rows; ++r) {
    for (int32_t c = 0; c < part.cols; ++c)
      whole.data[(row + r) * whole.cols + col + c] += part.data[r * part.cols + c];
  }
}

void ExpectEqual(const COrvoMatrix& found, const COrvoMatrix& expected) {
  ASSERT_EQ(found.rows, expected.rows);
  for (int32_t i = 0; i < found.rows * found.cols; ++i) {
    ASSERT_NEAR(found.data[i], expected.data[i], 1e-12 * std::max(1.0, std::fabs(expected.data[i])))
        << i / found.cols << ' ' << i % found.cols;
  }
}

void FillRandomly(Block& block, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(-1, 1);
  for (size_t i = 0; i < block.own.Images.pEop.size(); ++i) {
    for (EopRecord* record : {&block.own.Images.pEop[i], &block.own.Images.pPos[i]}) {
      record->fTime = 20 * unit(random);
      record->X = 500 * unit(random);
      record->Y = 500 * unit(random);
      record->Z = 500 * unit(random);
      record->fPhi = unit(random);
      record->fOmega = unit(random);
      record->fKappa = 3 * unit(random);
    }
  }
  for (double& parameter : block.own.Normal.pPosParams) parameter = unit(random);
}

class PosEquationsOfABlock : public ::testing::TestWithParam<Case> {};

TEST_P(PosEquationsOfABlock, EqualTheMatrixForm) {
  Block block(GetParam(), 7, 2);
  NormalParts& own = block.own;
  own.Images.pImageGroup = {1, 0, -1, 0, 1, 0, 1};
  own.Images.pImageIndex = {0, -1, 1, 2, 3, -1, 4, 5, 6};
  own.Images.nImageFileNum = 9;
  block.MakeSystem();
  FillRandomly(block, 4);
  own.Images.pEop[3].nStatus = 1;
  own.Images.pPos[5].nStatus = kPosNotObserved;

  COrvoMatrix N, b;
  N.Resize(own.Unknowns.nUnknownNum, own.Unknowns.nUnknownNum);
  b.Resize(own.Unknowns.nUnknownNum, 1);
  for (int32_t i = 0; i < own.Images.nImageNum; ++i) {
    const int32_t group = own.Images.pImageGroup[static_cast<size_t>(i)];
    if (group < 0 || i == 5) continue;
    const PosReference one(block.Model(), own.Images.pEop[static_cast<size_t>(i)],
                           own.Images.pPos[static_cast<size_t>(i)],
                           own.Normal.pPosParams.data() + group * own.Unknowns.nPosSize);
    const int32_t p = block.ImagePosition(i), q = block.GroupPosition(group);
    Put(one.Add, q, q, N);
    Put(one.bd, q, 0, b);
    if (own.Images.pEop[static_cast<size_t>(i)].nStatus == 1) continue;
    Put(one.Aee, p, p, N);
    Put(one.Aed, p, q, N);
    Put(one.Ade, q, p, N);
    Put(one.be, p, 0, b);
  }

  block.AddPos();
  ExpectEqual(block.Normal(), N);
  for (int32_t i = 0; i < own.Unknowns.nUnknownNum; ++i) {
    EXPECT_NEAR(own.Normal.pConstVector[static_cast<size_t>(i)], b.data[i],
                1e-10 * std::max(1.0, std::fabs(b.data[i])))
        << i;
  }
  EXPECT_EQ(block.log.Text(), "");
}

TEST_P(PosEquationsOfABlock, AddToWhatTheMeasurementsMade) {
  Block block(GetParam(), 3, 1);
  NormalParts& own = block.own;
  own.Images.pImageGroup = {0, 0, 0};
  block.MakeSystem();
  FillRandomly(block, 8);
  std::vector<double> unit(static_cast<size_t>(block.nImageSize * block.nImageSize), 1.0);
  for (int32_t i = 0; i < 3; ++i) {
    const int32_t size = block.nImageSize, p = block.ImagePosition(i);
    if (own.Limits.Apply_PCG_Model) {
      own.Add(unit.data(), size, size, i, i);
    } else {
      AddDense({unit.data(), size, size}, p, p,
               {own.Normal.pDenseNormal.get(), own.Unknowns.nUnknownNum, own.Unknowns.nUnknownNum}, own.Log);
    }
    own.Normal.pConstVector[static_cast<size_t>(p)] = 5;
  }
  const COrvoMatrix before = block.Normal();
  block.AddPos();
  const COrvoMatrix added = COrvoMatrix::Subtract(block.Normal(), before);
  for (int32_t i = 0; i < 3; ++i) {
    const PosReference one(block.Model(), own.Images.pEop[static_cast<size_t>(i)],
                           own.Images.pPos[static_cast<size_t>(i)], own.Normal.pPosParams.data());
    for (int32_t r = 0; r < 6; ++r) {
      const int32_t at = block.ImagePosition(i) + r;
      EXPECT_NEAR(added.data[at * added.cols + at], one.Aee.data[7 * r], 1e-12);
      EXPECT_NEAR(own.Normal.pConstVector[static_cast<size_t>(at)], one.be.data[r] + (r == 0 ? 5 : 0), 1e-10);
    }
  }
}

TEST_P(PosEquationsOfABlock, ParametersThatNothingObservesAreHeld) {
  // Group 1 has no record; in group 0 every time is 0.
  Block block(GetParam(), 4, 2);
  NormalParts& own = block.own;
  own.Images.pImageGroup = {0, 0, 1, 1};
  block.MakeSystem();
  FillRandomly(block, 12);
  for (EopRecord& image : own.Images.pEop) image.fTime = 0;
  own.Images.pPos[2].nStatus = own.Images.pPos[3].nStatus = kPosNotObserved;
  block.AddPos();
  const COrvoMatrix N = block.Normal();
  const int32_t rows = 3 * own.Limits.Apply_GPS_Data + 3 * own.Limits.Apply_IMU_Data;
  for (int32_t group = 0; group < 2; ++group) {
    for (int32_t j = 0; j < own.Unknowns.nPosSize; ++j) {
      const int32_t at = block.GroupPosition(group) + j;
      const bool observed = group == 0 && own.Limits.Correct_Const_Error && j < rows;
      const double weight[6] = {0.3, 0.3, 2, 1, 1, 1};
      EXPECT_DOUBLE_EQ(N.data[at * N.cols + at], observed ? 2 * weight[j] : 1.0) << group << ' ' << j;
      if (observed) continue;
      EXPECT_EQ(own.Normal.pConstVector[static_cast<size_t>(at)], 0);
      for (int32_t c = 0; c < N.cols; ++c) {
        if (c == at) continue;
        EXPECT_EQ(N.data[at * N.cols + c], 0);
      }
    }
  }
}

TEST_P(PosEquationsOfABlock, GroupsOutOfRangeAreReportedAndAddNothing) {
  Block block(GetParam(), 2, 1);
  NormalParts& own = block.own;
  own.Images.pImageGroup = {0, 3};
  block.MakeSystem();
  FillRandomly(block, 1);
  block.AddPos();
  std::string expected;
  const int32_t first = 3 * own.Unknowns.nPosSize;
  if (own.Limits.Correct_Const_Error && own.Limits.Apply_GPS_Data) {
    for (int32_t j = 0; j < 3; ++j) {
      expected += "Error!1/2 3 " + std::to_string(j) + " " + std::to_string(first + j) + "/1 \n";
    }
  }
  if (own.Limits.Correct_LinearError && own.Limits.Apply_GPS_Data) {
    const int32_t s = own.Limits.Correct_Const_Error ? (own.Limits.Apply_IMU_Data ? 6 : 3) : 0;
    for (int32_t k = 0; k < 3; ++k) {
      expected += "Error!" + std::to_string(k) + " " + std::to_string(first + s + k) + " \n";
    }
  }
  EXPECT_EQ(block.log.Text(), expected);
  const COrvoMatrix N = block.Normal();
  for (int32_t r = 0; r < 6; ++r) {
    const int32_t at = block.ImagePosition(1) + r;
    EXPECT_EQ(N.data[at * N.cols + at], 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Pos, PosEquationsOfABlock, ::testing::ValuesIn(AllCases()),
                         [](const auto& c) { return NameOf(c.param); });

TEST(PosEquations, InTheLayoutOfCamerasNothingIsAdded) {
  for (const bool sparse : {false, true}) {
    Block block({LayoutIop, sparse, true, true, true, true}, 3, 2);
    block.own.Images.pImageGroup = {0, 1, 0};
    block.MakeSystem();
    FillRandomly(block, 1);
    block.AddPos();
    const COrvoMatrix N = block.Normal();
    EXPECT_TRUE(std::all_of(N.data, N.data + N.rows * N.cols, [](double value) { return value == 0; }));
    EXPECT_EQ(block.log.Text(), "");
  }
}

TEST(PosEquations, ABlockThatPointsNeverReachedTakesItsFullSize) {
  // Damping walks the whole diagonal of an image's block.
  for (const LayoutMode layout : {LayoutEop, LayoutMergedEopIop}) {
    Block block({layout, true, true, false, true, false}, 2, 1);
    block.own.Images.pImageGroup = {0, 0};
    block.MakeSystem();
    FillRandomly(block, 1);
    block.AddPos();
    const SubMatrix& image = block.own.Normal.pSubMatrices[static_cast<size_t>(block.own.Id(0, 0))];
    EXPECT_EQ(image.nRows, block.nImageSize);
    EXPECT_EQ(image.nCols, block.nImageSize);
  }
}

TEST(PosEquations, AnImageWithoutADiagonalBlockIsReportedAndTheRestGoesOn) {
  Block block({LayoutEop, true, true, false, true, false}, 2, 1);
  block.own.Images.pImageGroup = {0, 0};
  block.MakeSystem();
  block.own.Normal.pSubMatrixRows[0].vColumns = {2};
  block.own.Normal.pSubMatrixRows[1].nFirstId = 1;
  block.own.Normal.pSubMatrixRows[2].nFirstId = 3;
  FillRandomly(block, 1);
  block.AddPos();
  EXPECT_EQ(block.log.Text(), "Sub matrix ID out of range:0 0 -1!\n");
  EXPECT_DOUBLE_EQ(block.own.Normal.pSubMatrices[3].pData[0], 0.6);
}

}  // namespace
}  // namespace orvo
