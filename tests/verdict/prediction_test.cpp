// The gain of a step without damping, and what a free block takes for one.
#include <gtest/gtest.h>

#include <cmath>

#include "geometry/camera/Rotation.h"
#include "solver/PredictedDecrease.h"
#include "verdict/DatumDirections.h"

namespace orvo::test {
namespace {

/// r' N^+ r for N = diag(values), by the function.
double Predict(const std::vector<double>& values, const std::vector<double>& r, double enough,
               int32_t steps = 40) {
  return PredictedDecrease(
      r, {enough, steps},
      [&](const double* p, double* q) {
        for (size_t i = 0; i < values.size(); ++i) q[i] = values[i] * p[i];
      },
      [&](const double* from, double* z) { std::copy_n(from, values.size(), z); });
}

TEST(PredictedDecrease, IsThatOfTheUndampedStep) {
  EXPECT_NEAR(Predict({1, 2, 4}, {3, 2, 2}, 1e9), 9 + 2 + 1, 1e-9);
  EXPECT_EQ(Predict({1, 2}, {0, 0}, 1), 0);
  EXPECT_TRUE(std::isnan(Predict({1, 2}, {NAN, 0}, 1)));
}

TEST(PredictedDecrease, LeavesOutWhatTheMatrixDoesNotKnow) {
  EXPECT_NEAR(Predict({1, 0, 4}, {3, 0, 2}, 1e9), 10, 1e-9);
}

TEST(PredictedDecrease, EndsWhenEnoughWasFound) {
  const double found = Predict({1, 1e-3}, {1, 1}, 10);
  EXPECT_GT(found, 10);
  EXPECT_LE(Predict({1, 1e-3}, {1, 1}, 10, 1), found);
}

/// Where image points of fixed object points lie does not change when all moves together, and the remainder
/// of such a move is what RemoveDatum takes out.
TEST(RemoveDatum, TakesOutEveryMoveOfTheWhole) {
  std::vector<EopRecord> images(5);
  for (size_t i = 0; i < images.size(); ++i) {
    const auto k = static_cast<double>(i);
    images[i].X = 100 * k;
    images[i].Y = 30 * k * k - 50;
    images[i].Z = 500 + 7 * k;
    images[i].fPhi = 0.1 * k - 0.2;
    images[i].fOmega = 0.05 * k;
    images[i].fKappa = 0.7 * k;
  }
  const UnknownLayout layout{LayoutEopIop, 5, 1, 0};
  // A small turn of everything about Y by another way: R_phi stands leftmost, so it is a change of phi.
  std::vector<double> r(35, 0.0);
  for (size_t i = 0; i < images.size(); ++i) {
    r[6 * i + 3] = 1;
    r[6 * i] = -images[i].Z;
    r[6 * i + 2] = images[i].X;
  }
  std::vector<double> other = r;
  for (size_t i = 0; i < images.size(); ++i) {
    other[6 * i] = images[i].Z;
    other[6 * i + 2] = -images[i].X;
  }
  const auto norm = [](const std::vector<double>& v) {
    double sum = 0;
    for (const double x : v) sum += x * x;
    return std::sqrt(sum);
  };
  std::vector<double> a = r, b = other;
  RemoveDatum(layout, images, a);
  RemoveDatum(layout, images, b);
  // One of the two senses is a turn of the whole; that of the rotation matrices decides.
  const double least = std::min(norm(a), norm(b));
  EXPECT_LT(least, 1e-4 * norm(r));
  std::vector<double> shift(35, 0.0), scale(35, 0.0);
  for (size_t i = 0; i < images.size(); ++i) {
    shift[6 * i + 1] = 3;
    scale[6 * i] = images[i].X, scale[6 * i + 1] = images[i].Y, scale[6 * i + 2] = images[i].Z;
  }
  RemoveDatum(layout, images, shift);
  RemoveDatum(layout, images, scale);
  EXPECT_LT(norm(shift), 1e-9);
  EXPECT_LT(norm(scale), 1e-6);
  std::vector<double> camera(35, 0.0);
  camera[32] = 1;
  RemoveDatum(layout, images, camera);
  EXPECT_NEAR(norm(camera), 1, 1e-12);
}

}  // namespace
}  // namespace orvo::test
