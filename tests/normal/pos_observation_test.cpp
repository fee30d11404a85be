// The equations of one POS observation against their matrix form.
#include "normal/PosObservation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "support/PosReference.h"

namespace orvo {
namespace {

using test::PosReference;

constexpr double kPi = std::numbers::pi;

EopRecord RandomRecord(std::mt19937& random) {
  std::uniform_real_distribution<double> unit(-1, 1);
  EopRecord record;
  record.fTime = 30 * unit(random);
  record.X = 1000 * unit(random);
  record.Y = 1000 * unit(random);
  record.Z = 100 * unit(random);
  record.fPhi = unit(random);
  record.fOmega = unit(random);
  record.fKappa = unit(random);
  return record;
}

void ExpectEqual(const double* fast, const COrvoMatrix& slow, const char* name) {
  for (int i = 0; i < slow.rows * slow.cols; ++i) {
    EXPECT_NEAR(fast[i], slow.data[i], 1e-13 * std::max(1.0, std::fabs(slow.data[i]))) << name << ' ' << i;
  }
}

TEST(PosObservation, EqualsTheMatrixFormInAllModels) {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> unit(-1, 1);
  for (int kinds = 1; kinds < 4; ++kinds) {
    for (int drifts = 0; drifts < 4; ++drifts) {
      PosModel model;
      model.bGps = (kinds & 1) != 0;
      model.bImu = (kinds & 2) != 0;
      model.bConst = (drifts & 1) != 0;
      model.bLinear = (drifts & 2) != 0;
      model.fWeightXY = 0.25;
      model.fWeightZ = 4;
      EXPECT_EQ(model.RowNum(), kinds == 3 ? 6 : 3);
      EXPECT_EQ(model.ParameterNum(), model.RowNum() * (drifts == 3 ? 2 : drifts == 0 ? 0 : 1));
      for (int trial = 0; trial < 20; ++trial) {
        SCOPED_TRACE(::testing::Message() << kinds << ' ' << drifts);
        const EopRecord image = RandomRecord(random), observed = RandomRecord(random);
        double parameters[12];
        for (double& parameter : parameters) parameter = 0.1 * unit(random);
        PosEquations fast;
        ASSERT_TRUE(ComputePosEquations(model, image, observed, parameters, fast));
        const PosReference slow(model, image, observed, parameters);
        ExpectEqual(fast.Aee.data(), slow.Aee, "Aee");
        ExpectEqual(fast.be.data(), slow.be, "be");
        if (drifts == 0) continue;
        ExpectEqual(fast.Aed.data(), slow.Aed, "Aed");
        ExpectEqual(fast.Ade.data(), slow.Ade, "Ade");
        ExpectEqual(fast.Add.data(), slow.Add, "Add");
        ExpectEqual(fast.bd.data(), slow.bd, "bd");
      }
    }
  }
}

TEST(PosObservation, MatrixFormVanishesWhereTheObservationIsMet) {
  // measured = orientation + constant + t * linear
  PosModel model{true, true, true, true, 0.5, 0.25};
  EopRecord image, observed;
  image.fTime = 4;
  const double parameters[12] = {1, 2, 3, 0.01, 0.02, 0.03, 0.1, 0.2, 0.3, 0.001, 0.002, 0.003};
  observed.X = 1.4;
  observed.Y = 2.8;
  observed.Z = 4.2;
  observed.fPhi = 0.014;
  observed.fOmega = 0.028;
  observed.fKappa = 0.042;
  PosEquations equations;
  ASSERT_TRUE(ComputePosEquations(model, image, observed, parameters, equations));
  for (const double value : equations.be) EXPECT_NEAR(value, 0, 1e-15);
  for (const double value : equations.bd) EXPECT_NEAR(value, 0, 1e-15);
}

TEST(PosObservation, AnglesAloneCarryTheGpsWeights) {
  const PosModel model{false, true, true, false, 0.5, 0.25};
  EopRecord image, observed;
  observed.fPhi = observed.fOmega = observed.fKappa = 0.1;
  const double parameters[3] = {};
  PosEquations equations;
  ASSERT_TRUE(ComputePosEquations(model, image, observed, parameters, equations));
  const double weights[6] = {0, 0, 0, 0.5, 0.5, 0.25};
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(equations.Aee[7 * i], weights[i]);
    EXPECT_DOUBLE_EQ(equations.be[i], 0.1 * weights[i]);
  }
}

TEST(PosObservation, AnglesDifferTheShortWayRound) {
  const struct {
    double fObserved, fImage, fDifference;
  } rows[] = {
      {3.1, -3.1, 6.2 - 2 * kPi}, {-3.1, 3.1, 2 * kPi - 6.2},        {0.2, 0.1, 0.1},
      {7 * kPi + 0.5, kPi, 0.5},  {-9.0, -9.0 + 1.5 * kPi, kPi / 2}, {1e6, 1e6, 0},
  };
  const PosModel model{true, true, true, false, 1, 1};
  const double parameters[6] = {};
  for (const auto& row : rows) {
    EopRecord image, observed;
    image.fPhi = image.fOmega = image.fKappa = row.fImage;
    observed.fPhi = observed.fOmega = observed.fKappa = row.fObserved;
    observed.X = 100;
    PosEquations equations;
    ASSERT_TRUE(ComputePosEquations(model, image, observed, parameters, equations));
    EXPECT_EQ(equations.be[0], 100);
    for (const size_t angle : {3, 4, 5}) EXPECT_NEAR(equations.be[angle], row.fDifference, 1e-12);
  }
}

TEST(PosObservation, WhatIsNotFiniteIsRefused) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const double parameters[12] = {};
  for (const double bad : {kInfinity, -kInfinity, std::nan("")}) {
    for (int place = 0; place < 4; ++place) {
      PosModel model{true, true, true, true, 1, 1};
      EopRecord image, observed;
      (place == 0   ? image.fTime
       : place == 1 ? observed.Z
       : place == 2 ? image.fKappa
                    : model.fWeightXY) = bad;
      PosEquations equations;
      EXPECT_FALSE(ComputePosEquations(model, image, observed, parameters, equations)) << place << ' ' << bad;
    }
  }
}

}  // namespace
}  // namespace orvo
