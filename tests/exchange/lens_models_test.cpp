#include "exchange/LensModels.h"

#include <gtest/gtest.h>

#include "exchange/ModelFixture.h"

namespace orvo::exchange {
namespace {

TEST(LensModels, EveryPixelHasItsDirection) {
  for (const NamedCamera& named : EveryCamera()) {
    const ForeignCamera camera = CameraLike(named);
    ASSERT_STREQ(FaultOf(camera), "") << named.szName;
    for (int i = 0; i <= 30; ++i) {
      for (int j = 0; j <= 20; ++j) {
        const LensPoint pixel{100.0 * i, 100.0 * j};
        const auto direction = DirectionOf(camera, pixel);
        ASSERT_TRUE(direction) << named.szName << " " << pixel.u << " " << pixel.v;
        const LensPoint back = PixelOf(camera, *direction);
        EXPECT_NEAR(back.u, pixel.u, 2e-11) << named.szName;
        EXPECT_NEAR(back.v, pixel.v, 2e-11) << named.szName;
      }
    }
  }
}

TEST(LensModels, FormulasByHand) {
  const LensPoint ideal{0.3, -0.2};
  const double r2 = 0.13, r = std::sqrt(r2), theta = std::atan(r);
  const struct {
    LensModel Lens;
    std::vector<double> Parameters;
    double u, v;
  } rows[] = {
      {LensModel::Radial,
       {0.1, -0.2},
       0.3 * (1 + 0.1 * r2 - 0.2 * r2 * r2),
       -0.2 * (1 + 0.1 * r2 - 0.2 * r2 * r2)},
      {LensModel::Brown,
       {0, 0, 0.01, 0.02, 0.5},
       0.3 * (1 + 0.5 * r2 * r2 * r2) + 2 * 0.01 * -0.06 + 0.02 * (r2 + 2 * 0.09),
       -0.2 * (1 + 0.5 * r2 * r2 * r2) + 2 * 0.02 * -0.06 + 0.01 * (r2 + 2 * 0.04)},
      {LensModel::FullOpenCv, {0, 0, 0, 0, 0, 0.5, 0, 0}, 0.3 / (1 + 0.5 * r2), -0.2 / (1 + 0.5 * r2)},
      {LensModel::SimpleFisheye,
       {0.1},
       0.3 * theta / r * (1 + 0.1 * theta * theta),
       -0.2 * theta / r * (1 + 0.1 * theta * theta)},
      {LensModel::Fov,
       {0.8},
       0.3 * std::atan(2 * r * std::tan(0.4)) / (r * 0.8),
       -0.2 * std::atan(2 * r * std::tan(0.4)) / (r * 0.8)},
  };
  for (const auto& row : rows) {
    const LensPoint bent = Distorted(row.Lens, row.Parameters, ideal);
    EXPECT_NEAR(bent.u, row.u, 1e-16) << NameOf(row.Lens);
    EXPECT_NEAR(bent.v, row.v, 1e-16) << NameOf(row.Lens);
  }
}

TEST(LensModels, NothingBehindATurningPoint) {
  // r (1 - 0.5 r2) is largest at r2 = 2 / 3, where it is 0.5443.
  const std::vector<double> parameters = {-0.5};
  EXPECT_TRUE(Ideal(LensModel::SimpleRadial, parameters, {0.54, 0}));
  EXPECT_FALSE(Ideal(LensModel::SimpleRadial, parameters, {0.55, 0}));
  EXPECT_FALSE(Ideal(LensModel::SimpleRadial, parameters, {5, 5}));
  // A right angle off the axis.
  EXPECT_TRUE(Ideal(LensModel::SimpleFisheye, std::vector<double>{0}, {1.57, 0}));
  EXPECT_FALSE(Ideal(LensModel::SimpleFisheye, std::vector<double>{0}, {1.58, 0}));
  EXPECT_FALSE(Ideal(LensModel::Fov, std::vector<double>{0.9}, {2, 0}));
  EXPECT_FALSE(Ideal(LensModel::Pinhole, {}, {NAN, 0}));
}

/// Newton's method from the distorted radius does not come down in time: the way goes out from the centre.
TEST(LensModels, FarOutWhereHighPowersRule) {
  for (const double radius : {0.5, 9.0, 90.0, 2000.0}) {
    for (const auto& [lens, parameters] : {std::pair(LensModel::Radial, std::vector<double>{0.02, 0.1}),
                                           std::pair(LensModel::Radial, std::vector<double>{19.5, 3.0}),
                                           std::pair(LensModel::SimpleRadial, std::vector<double>{1e-4})}) {
      const LensPoint ideal = {0.6 * radius, -0.8 * radius};
      const LensPoint distorted = Distorted(lens, parameters, ideal);
      const auto back = Ideal(lens, parameters, distorted);
      ASSERT_TRUE(back) << radius << " " << parameters[0];
      EXPECT_NEAR(back->u, ideal.u, 1e-12 * radius);
      EXPECT_NEAR(back->v, ideal.v, 1e-12 * radius);
    }
  }
  // Out to the turning point at r = 0.816 and no further, from either side.
  EXPECT_FALSE(Ideal(LensModel::Radial, std::vector<double>{-0.5, 1e-3}, {0.6, 0}));
}

TEST(LensModels, CamerasThatCannotBe) {
  const ForeignCamera good = CameraLike(EveryCamera()[3]);
  ForeignCamera camera = good;
  camera.nWidth = 0;
  EXPECT_STREQ(FaultOf(camera), "its image size is not above 0");
  camera = good;
  camera.dFy = -1;
  EXPECT_STREQ(FaultOf(camera), "its focal length is not above 0");
  camera = good;
  camera.dCx = NAN;
  EXPECT_STREQ(FaultOf(camera), "its principal point is not finite");
  camera = good;
  camera.Parameters.pop_back();
  EXPECT_STREQ(FaultOf(camera), "it has a wrong number of parameters");
  camera = good;
  camera.Parameters[1] = HUGE_VAL;
  EXPECT_STREQ(FaultOf(camera), "a parameter is not finite");
}

}  // namespace
}  // namespace orvo::exchange
