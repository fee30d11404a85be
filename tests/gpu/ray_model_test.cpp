#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "geometry/camera/ImagePointPartials.h"
#include "gpu/KernelBlocks.h"
#include "gpu/kernels/PointFinish.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

using gpu::FinishedPoint;
using gpu::FinishPoint;
using gpu::PointSums;

TEST(RayModel, ColumnsAreThoseOfTheCpuPath) {
  const KernelBlock block = MakeKernelBlock({.nPoints = 40});
  for (size_t j = 0; j < block.ImgIdx.size() / 4; ++j) {
    const uint32_t* index = &block.ImgIdx[4 * j];
    const float *e = &block.Eop[6 * index[0]], *c = &block.Iop[5 * index[1]],
                *X = &block.ObjPt[12 * index[2]], *xy = &block.ImgPt[4 * j];
    const auto image = gpu::MakeRayImage(e);
    const auto camera = gpu::MakeRayCamera(c);
    const auto ray = gpu::ObserveRay(image, camera, xy[0], xy[1], X[0], X[1], X[2]);
    float D1[11], D2[11];
    gpu::AllColumns(image, camera, ray, D1, D2);

    const EopRecord eop = {0, 0, e[0], e[1], e[2], e[3], e[4], e[5]};
    const IopRecord iop = {0, 0, c[0], c[1], c[2], c[3], c[4]};
    double B[12], A[10], C[6], L[2];
    ObjectPointRecord point;
    point.X = X[0];
    point.Y = X[1];
    point.Z = X[2];
    ImagePointRecord measurement;
    measurement.x = xy[0];
    measurement.y = xy[1];
    ASSERT_EQ(ComputeImagePointPartials(measurement, point, eop, iop, B, A, C, L), 1);
    EXPECT_NEAR(ray.Lx, L[0], 1e-5);
    EXPECT_NEAR(ray.Ly, L[1], 1e-5);
    for (int k = 0; k < 11; ++k) {
      const double x = k < 6 ? B[k] : A[k - 6], y = k < 6 ? B[6 + k] : A[5 + k - 6];
      EXPECT_NEAR(D1[k], x, 2e-6 * (1 + std::fabs(x))) << k;
      EXPECT_NEAR(D2[k], y, 2e-6 * (1 + std::fabs(y))) << k;
    }
  }
}

TEST(RayModel, APointInThePlaneOfTheProjectionCentreIsNotLookedFor) {
  const float eop[6] = {0, 0, 100, 0, 0, 0}, iop[5] = {5, 0, 0, 0, 0};
  const auto image = gpu::MakeRayImage(eop);
  const auto ray = gpu::ObserveRay(image, gpu::MakeRayCamera(iop), 1.0f, 1.0f, 10.0f, 0.0f, 100.0f);
  EXPECT_EQ(ray.Zr, 0.0f);
  EXPECT_TRUE(std::isinf(ray.Lx));
  EXPECT_TRUE(std::isnan(ray.Ly));
}

TEST(RayWeight, OfFlagAndType) {
  struct Row {
    uint32_t flag, type;
    float own, asOther;
  };
  const Row rows[] = {
      {gpu::kRayCounts, 0, 1, 1},    {gpu::kRayCounts, 1, 30, 1},       {gpu::kRayCounts, 2, 1, 1},
      {gpu::kRayCounts, 4, 1, 1},    {gpu::kRayIsGross, 0, 0.5f, 0.5f}, {gpu::kRayIsLeftOut, 0, 0, 0},
      {gpu::kRayIsLeftOut, 1, 0, 0},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(gpu::RayWeight(row.flag, row.type, 30, 0.5f), row.own) << row.flag << ' ' << row.type;
    EXPECT_EQ(gpu::PairWeight(row.flag, 0.5f), row.asOther) << row.flag;
  }
  EXPECT_EQ(gpu::kGrossRayWeight, 1e-6f);
}

TEST(FinishPoint, InvertsAndSolves) {
  // N = [4 1 2; 1 3 0; 2 0 5], det 43; adjugate [15 -5 -6; -5 16 2; -6 2 11].
  const FinishedPoint point = FinishPoint({4, 1, 2, 3, 0, 5, 1, 2, 3}, 0, 100, 7);
  const float P[6] = {15, -5, -6, 16, 2, 11}, e[3] = {-13, 33, 31};
  for (int k = 0; k < 6; ++k) EXPECT_FLOAT_EQ(point.P[k], P[k] / 43) << k;
  for (int k = 0; k < 3; ++k) EXPECT_FLOAT_EQ(point.e[k], e[k] / 43) << k;
}

TEST(FinishPoint, OnlyTypeFourObservesItsHeight) {
  const PointSums sums = {2, 0, 0, 2, 0, 2, 1, 1, 1};
  for (const uint32_t type : {0u, 1u, 2u, 3u, 5u}) {
    EXPECT_FLOAT_EQ(FinishPoint(sums, type, 6, 0.5f).P[5], 0.5f) << type;
    EXPECT_FLOAT_EQ(FinishPoint(sums, type, 6, 0.5f).e[2], 0.5f) << type;
  }
  const FinishedPoint point = FinishPoint(sums, 4, 6, 0.5f);
  EXPECT_FLOAT_EQ(point.P[0], 0.5f);
  EXPECT_FLOAT_EQ(point.P[5], 1.0f / (2 + 6));
  EXPECT_FLOAT_EQ(point.e[0], 0.5f);
  EXPECT_FLOAT_EQ(point.e[2], (1 + 0.5f * 6) / (2 + 6));
}

TEST(FinishPoint, ABlockWithTooSmallADeterminantStandsInForItsInverse) {
  const PointSums below = {1e-8f, 0, 0, 1e-8f, 0, 0.99e-8f, 2, 4, 8};
  const FinishedPoint kept = FinishPoint(below, 0, 0, 0);
  EXPECT_EQ(kept.P[0], 1e-8f);
  EXPECT_EQ(kept.P[3], 1e-8f);
  EXPECT_EQ(kept.P[5], 0.99e-8f);
  EXPECT_FLOAT_EQ(kept.e[2], 0.99e-8f * 8);
  // The sign of the determinant plays no part.
  const PointSums negative = {1e-8f, 0, 0, 1e-8f, 0, -0.99e-8f, 2, 4, 8};
  EXPECT_EQ(FinishPoint(negative, 0, 0, 0).P[5], -0.99e-8f);
  const PointSums above = {1e-8f, 0, 0, 1e-8f, 0, 1.01e-8f, 2, 4, 8};
  EXPECT_FLOAT_EQ(FinishPoint(above, 0, 0, 0).P[0], 1e8f);
  EXPECT_FLOAT_EQ(FinishPoint(above, 0, 0, 0).P[5], 1 / 1.01e-8f);
  const FinishedPoint zero = FinishPoint({}, 0, 50, 3);
  for (const float value : zero.P) EXPECT_EQ(value, 0.0f);
  for (const float value : zero.e) EXPECT_EQ(value, 0.0f);
}

TEST(FinishPoint, ADeterminantThatIsNotANumberIsDividedBy) {
  const FinishedPoint point =
      FinishPoint({std::numeric_limits<float>::quiet_NaN(), 0, 0, 1, 0, 1, 0, 0, 0}, 0, 0, 0);
  EXPECT_TRUE(std::isnan(point.P[3]));
}

}  // namespace
}  // namespace orvo::test
