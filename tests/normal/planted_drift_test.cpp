// Drifts of GPS and IMU records, planted and found.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "PosBlock.h"

namespace orvo {
namespace {

using test::NormalParts;
using Block = test::PosBlock;
using Case = test::PosCase;

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
