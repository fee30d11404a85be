// GPS and IMU observations in the normal equations of a block, in every layout and both forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <random>

#include "NormalParts.h"
#include "geometry/OrvoMatrix.h"
#include "normal/PosEquations.h"
#include "support/CapturedLog.h"
#include "support/PosReference.h"

namespace orvo {
namespace {

using test::CapturedLog;
using test::NormalParts;
using test::PosReference;

struct Case {
  LayoutMode layout;
  bool bSparse, bGps, bImu, bConst, bLinear;
};

std::string NameOf(const Case& c) {
  static const char* const layouts[] = {"Eop", "Iop", "Merged", "EopIop"};
  return std::string(layouts[c.layout]) + (c.bSparse ? "Sparse" : "Dense") + (c.bGps ? "Gps" : "") +
         (c.bImu ? "Imu" : "") + (c.bConst ? "Const" : "") + (c.bLinear ? "Linear" : "");
}

void PrintTo(const Case& c, std::ostream* out) { *out << NameOf(c); }

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

/// A block in memory: images with records, groups and an empty system of the chosen form.
struct Block {
  CapturedLog log;
  NormalParts own{NativePlatform(), log.Console()};
  int32_t nFront = 0;  ///< scalar size before the groups
  int32_t nImageSize = 6;

  Block(const Case& c, int32_t imageNum, int32_t groupNum) {
    own.Limits.Apply_GPS_Data = c.bGps;
    own.Limits.Apply_IMU_Data = c.bImu;
    own.Limits.Correct_Const_Error = c.bConst;
    own.Limits.Correct_LinearError = c.bLinear;
    own.Limits.Apply_PCG_Model = c.bSparse;
    own.Settings.Set_IOP_Unknown = c.layout != LayoutEop;
    own.Settings.Set_EOP_Unknown = c.layout != LayoutIop;
    own.Limits.GPS_WeightXY = 0.3;
    own.Limits.GPS_WeightZ = 2;
    own.Unknowns.nLayoutMode = c.layout;
    own.Images.nImageNum = own.Images.nUnknownImageNum = imageNum;
    own.Cameras.nCameraNum = c.layout == LayoutMergedEopIop ? imageNum : 2;
    own.Images.nGroupNum = groupNum;
    own.Unknowns.nPosSize = c.layout == LayoutIop ? 0 : (3 * c.bGps + 3 * c.bImu) * (c.bConst + c.bLinear);
    own.Images.pEop.resize(static_cast<size_t>(imageNum));
    own.Images.pPos.resize(static_cast<size_t>(imageNum));
    own.Images.pImageGroup.assign(static_cast<size_t>(imageNum), -1);
    for (int32_t i = 0; i < imageNum; ++i) own.Images.pImageIndex.push_back(i);
    own.Images.nImageFileNum = imageNum;
    int32_t rows = imageNum;
    switch (c.layout) {
      case LayoutEop:
        nFront = 6 * imageNum;
        break;
      case LayoutIop:
        nFront = 5 * own.Cameras.nCameraNum;
        rows = own.Cameras.nCameraNum;
        break;
      case LayoutMergedEopIop:
        nFront = 11 * imageNum;
        nImageSize = 11;
        break;
      case LayoutEopIop:
        nFront = 6 * imageNum + 5 * own.Cameras.nCameraNum;
        rows += own.Cameras.nCameraNum;
        break;
    }
    nFirstGroupRow = rows;
    own.Unknowns.nBlockRowNum = rows + (c.layout == LayoutIop ? 0 : groupNum);
    own.Unknowns.nUnknownNum = nFront + groupNum * own.Unknowns.nPosSize;
  }

  /// After the groups of the images are known.
  void MakeSystem() {
    own.Normal.pPosParams.resize(static_cast<size_t>(own.Images.nGroupNum * own.Unknowns.nPosSize));
    own.Normal.pSubMatrixRows.assign(static_cast<size_t>(own.Unknowns.nBlockRowNum), {});
    for (int32_t i = 0; i < own.Images.nUnknownImageNum && own.Unknowns.nLayoutMode != LayoutIop; ++i) {
      own.AddPosition(i, i);
      const int32_t group = own.Images.pImageGroup[static_cast<size_t>(i)];
      if (group < 0 || group >= own.Images.nGroupNum) continue;
      own.AddPosition(nFirstGroupRow + group, nFirstGroupRow + group);
      own.AddPosition(nFirstGroupRow + group, i);
    }
    own.Normal.nSubMatrixNum = 0;
    for (SubMatrixRow& row : own.Normal.pSubMatrixRows) {
      row.nFirstId = own.Normal.nSubMatrixNum;
      own.Normal.nSubMatrixNum += static_cast<int32_t>(row.vColumns.size());
    }
    const auto n = static_cast<size_t>(own.Unknowns.nUnknownNum);
    own.Normal.pConstVector.assign(n, 0);
    if (own.Limits.Apply_PCG_Model) {
      own.Normal.pSubMatrices.resize(static_cast<size_t>(own.Normal.nSubMatrixNum));
    } else {
      own.Normal.pDenseNormal = ZeroedArray(n * n);
    }
  }

  void AddPos() {
    AddPosEquations(PosModelOf(own.Limits), own.Images,
                    {own.Layout(), own.Unknowns.nBlockRowNum, own.Unknowns.nUnknownNum,
                     own.Limits.Apply_PCG_Model, own.Normal},
                    own.Log);
  }

  int32_t ImagePosition(int32_t i) const { return nImageSize * i; }
  int32_t GroupPosition(int32_t g) const { return nFront + own.Unknowns.nPosSize * g; }

  /// The whole matrix, both triangles, whatever its form.
  COrvoMatrix Normal() const {
    COrvoMatrix N;
    N.Resize(own.Unknowns.nUnknownNum, own.Unknowns.nUnknownNum);
    if (!own.Limits.Apply_PCG_Model) {
      std::copy_n(own.Normal.pDenseNormal.get(), N.rows * N.cols, N.data);
      return N;
    }
    for (const SubMatrix& block : own.Normal.pSubMatrices) {
      for (int32_t r = 0; r < block.nRows; ++r) {
        for (int32_t c = 0; c < block.nCols; ++c) {
          const int32_t row = PositionOfRow(block.nRow) + r, col = PositionOfRow(block.nCol) + c;
          N.data[row * N.cols + col] = N.data[col * N.cols + row] =
              block.pData[static_cast<size_t>(r * block.nCols + c)];
        }
      }
    }
    return N;
  }

  PosModel Model() const {
    return {own.Limits.Apply_GPS_Data,      own.Limits.Apply_IMU_Data, own.Limits.Correct_Const_Error,
            own.Limits.Correct_LinearError, own.Limits.GPS_WeightXY,   own.Limits.GPS_WeightZ};
  }

 private:
  int32_t PositionOfRow(int32_t row) const {
    return row < nFirstGroupRow ? nImageSize * row : GroupPosition(row - nFirstGroupRow);
  }
  int32_t nFirstGroupRow = 0;
};

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

// ---- Drift, planted and found -----------------------------------------------------------------------------

/// Two strips, the second one back with kappa near pi, whose orientations are known with weight `fPrior` per
/// unknown, as a block of measurements would know them.
struct DriftingBlock {
  Block block;
  std::vector<EopRecord> vTruth;
  std::vector<double> vDrift;
  double fPrior;

  DriftingBlock(const Case& c, double prior, double noise, unsigned seed) : block(c, 24, 2), fPrior(prior) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0, 1);
    NormalParts& own = block.own;
    for (int32_t i = 0; i < 24; ++i) own.Images.pImageGroup[static_cast<size_t>(i)] = i / 12;
    block.MakeSystem();
    const int32_t rows = 3 * c.bGps + 3 * c.bImu;
    for (size_t k = 0; k < own.Normal.pPosParams.size(); ++k) {
      const bool linear = static_cast<int32_t>(k) % own.Unknowns.nPosSize >= rows * (c.bConst ? 1 : 0);
      vDrift.push_back((linear ? 0.01 : 0.2) * normal(random));
    }
    for (size_t i = 0; i < 24; ++i) {
      EopRecord& image = own.Images.pEop[i];
      const double along = static_cast<double>(i % 12);
      image.fTime = 2 * along;
      image.X = 100 * (i < 12 ? along : 11 - along);
      image.Y = i < 12 ? 0 : 200;
      image.Z = 500;
      image.fPhi = 0.02 * normal(random);
      image.fOmega = 0.02 * normal(random);
      image.fKappa = (i < 12 ? 0.0 : std::numbers::pi) + 0.02 * normal(random);
      vTruth.push_back(image);
      PosRecord& pos = own.Images.pPos[i];
      pos = image;
      const double* drift = vDrift.data() + static_cast<size_t>(own.Images.pImageGroup[i]) *
                                                static_cast<size_t>(own.Unknowns.nPosSize);
      double* const values[6] = {&pos.X, &pos.Y, &pos.Z, &pos.fPhi, &pos.fOmega, &pos.fKappa};
      for (int32_t row = 0; row < rows; ++row) {
        double& value = *values[row + (c.bGps ? 0 : 3)];
        int32_t column = row;
        if (c.bConst) {
          value += drift[column];
          column += rows;
        }
        if (c.bLinear) value += image.fTime * drift[column];
        const double weight = row < 2 ? own.Limits.GPS_WeightXY : row == 2 ? own.Limits.GPS_WeightZ : 1;
        value += noise / std::sqrt(weight) * normal(random);
      }
      // As files give it: between -pi and pi.
      pos.fKappa = std::remainder(pos.fKappa, 2 * std::numbers::pi);
      image.X += 3 * normal(random);
      image.fPhi += 0.01 * normal(random);
    }
  }

  /// One step of the iteration; the inverse of its matrix.
  COrvoMatrix Step() {
    NormalParts& own = block.own;
    const int32_t n = own.Unknowns.nUnknownNum;
    std::fill_n(own.Normal.pDenseNormal.get(), n * n, 0.0);
    std::fill(own.Normal.pConstVector.begin(), own.Normal.pConstVector.end(), 0.0);
    block.AddPos();
    for (size_t i = 0; i < 24; ++i) {
      const EopRecord &is = own.Images.pEop[i], &known = vTruth[i];
      const double difference[6] = {known.X - is.X,       known.Y - is.Y,           known.Z - is.Z,
                                    known.fPhi - is.fPhi, known.fOmega - is.fOmega, known.fKappa - is.fKappa};
      for (int32_t r = 0; r < 6; ++r) {
        const int32_t at = block.ImagePosition(static_cast<int32_t>(i)) + r;
        own.Normal.pDenseNormal[static_cast<size_t>(at * n + at)] += fPrior;
        own.Normal.pConstVector[static_cast<size_t>(at)] += fPrior * difference[r];
      }
    }
    for (int32_t at = 0; at < block.nFront; ++at) {
      double& diagonal = own.Normal.pDenseNormal[static_cast<size_t>(at * n + at)];
      if (diagonal == 0) diagonal = 1;  // cameras, which nothing observes here
    }
    const COrvoMatrix Q = COrvoMatrix::Inverse(block.Normal());
    std::vector<double> x(static_cast<size_t>(n), 0.0);
    for (int32_t r = 0; r < n; ++r) {
      for (int32_t c = 0; c < n; ++c)
        x[static_cast<size_t>(r)] += Q.data[r * n + c] * own.Normal.pConstVector[static_cast<size_t>(c)];
    }
    for (size_t i = 0; i < 24; ++i) {
      const double* dx = &x[static_cast<size_t>(block.ImagePosition(static_cast<int32_t>(i)))];
      EopRecord& image = own.Images.pEop[i];
      double* const values[6] = {&image.X, &image.Y, &image.Z, &image.fPhi, &image.fOmega, &image.fKappa};
      for (int k = 0; k < 6; ++k) *values[k] += dx[k];
    }
    for (size_t j = 0; j < own.Normal.pPosParams.size(); ++j)
      own.Normal.pPosParams[j] += x[static_cast<size_t>(block.nFront) + j];
    return Q;
  }
};

class PlantedDrift : public ::testing::TestWithParam<Case> {};

TEST_P(PlantedDrift, IsRecoveredExactlyWithoutNoise) {
  DriftingBlock drifting(GetParam(), 1.0, 0, 21);
  for (int step = 0; step < 2; ++step) drifting.Step();
  for (size_t j = 0; j < drifting.vDrift.size(); ++j) {
    EXPECT_NEAR(drifting.block.own.Normal.pPosParams[j], drifting.vDrift[j], 1e-10) << j;
  }
  for (size_t i = 0; i < 24; ++i) {
    EXPECT_NEAR(drifting.block.own.Images.pEop[i].X, drifting.vTruth[i].X, 1e-9);
    EXPECT_NEAR(drifting.block.own.Images.pEop[i].fKappa, drifting.vTruth[i].fKappa, 1e-9);
  }
}

TEST_P(PlantedDrift, IsRecoveredWithinItsStandardDeviations) {
  constexpr double kNoise = 0.01, kPrior = 1e8;  // orientations as good as known
  double sum = 0;
  size_t count = 0;
  for (unsigned seed = 1; seed < 9; ++seed) {
    DriftingBlock drifting(GetParam(), kPrior, kNoise, seed);
    drifting.Step();
    const COrvoMatrix Q = drifting.Step();
    for (size_t j = 0; j < drifting.vDrift.size(); ++j) {
      const size_t at = static_cast<size_t>(drifting.block.nFront) + j;
      const double sigma = kNoise * std::sqrt(Q.data[at * static_cast<size_t>(Q.cols) + at]);
      const double standardised = (drifting.block.own.Normal.pPosParams[j] - drifting.vDrift[j]) / sigma;
      EXPECT_LT(std::fabs(standardised), 4.5) << j;
      sum += standardised * standardised;
      ++count;
    }
  }
  // Chi squared over its degrees of freedom, within four of its standard deviations.
  EXPECT_NEAR(sum / static_cast<double>(count), 1, 4 * std::sqrt(2.0 / static_cast<double>(count)));
}

INSTANTIATE_TEST_SUITE_P(Pos, PlantedDrift,
                         ::testing::Values(Case{LayoutEop, false, true, false, true, false},
                                           Case{LayoutEop, false, true, false, true, true},
                                           Case{LayoutEop, false, true, true, true, false},
                                           Case{LayoutEopIop, false, true, true, true, true},
                                           Case{LayoutMergedEopIop, false, true, true, true, true},
                                           Case{LayoutEop, false, false, true, true, true},
                                           Case{LayoutEop, false, true, true, false, true}),
                         [](const auto& c) { return NameOf(c.param); });

}  // namespace
}  // namespace orvo
