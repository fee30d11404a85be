#include "rigorous/PrecisionFigures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <set>

#include "rigorous/NodeCovariance.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/Reliability.h"
#include "rigorous/RotationVector.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

constexpr double kDegrees = 180 / std::numbers::pi;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
};

O OptionsOf(const std::function<void(O&)>& change) {
  O options;
  options.nStrips = 2;
  options.nImages = 5;
  options.fPointsPerImage = 30;
  options.fRelief = 0.4;
  change(options);
  return options;
}

/// A small block at its minimum, its cofactors, and its figures.
struct Adjusted {
  TruthBlock Block;
  Estimate At;
  std::unique_ptr<Adjuster> Steps;
  AdjustResult Result;
  CovarianceResult Covariance;

  explicit Adjusted(const O& options, const std::function<void(Problem&)>& spoil = {})
      : Block(MakeTruthBlock(options)), At(Block.Start) {
    if (spoil) spoil(Block.Given);
    Steps = std::make_unique<Adjuster>(Block.Given, AdjustOptions{});
    Result = Steps->Run(At, {}, 50);
    ReducedEquations& equations = Steps->EquationsAt(At);
    const FreeDatum datum = FreeDatumOf(Block.Given, Steps->Plan(), At, equations);
    Covariance = CovarianceOf(Steps->Plan(), datum, equations);
  }

  PrecisionFigures Figures(PrecisionExtent extent, double scale = 1, int32_t threads = 1) const {
    PrecisionInput input{Block.Given, At, Result};
    input.Extent = extent;
    input.fImageScale = scale;
    input.nThreads = threads;
    input.vCheckPoints = {{3, {}, {}}, {7, {}, {}}};
    return PrecisionFiguresOf(input);
  }
};

/// Of the angles, by small turns of the rotation to both sides.
Vector3 NumericAngleDeviations(const NodeCovariance& Q, int32_t node, int32_t size, const Matrix3& R) {
  constexpr double h = 1e-6;
  std::vector<double> block(static_cast<size_t>(size * size));
  EXPECT_TRUE(Q.Block(node, node, block));
  double by[3][3];
  for (size_t k = 0; k < 3; ++k) {
    Vector3 w{};
    w[k] = h;
    const Vector3 plus = AnglesOfRotation(RotationUpdatedBy(R, w)),
                  minus = AnglesOfRotation(RotationUpdatedBy(R, -1 * w));
    for (size_t a = 0; a < 3; ++a) by[a][k] = kDegrees * (plus[a] - minus[a]) / (2 * h);
  }
  Vector3 deviations{};
  for (size_t a = 0; a < 3; ++a) {
    double variance = 0;
    for (size_t i = 0; i < 3; ++i) {
      for (size_t k = 0; k < 3; ++k)
        variance += by[a][i] * block[(3 + i) * static_cast<size_t>(size) + 3 + k] * by[a][k];
    }
    deviations[a] = std::sqrt(variance);
  }
  return deviations;
}

class Figures : public ::testing::TestWithParam<Case> {};

TEST_P(Figures, OfImagesAreThoseOfTheCofactors) {
  const Adjusted block(OptionsOf(GetParam().Change));
  ASSERT_TRUE(block.Covariance.Covariance);
  const PrecisionFigures figures = block.Figures(PrecisionExtent::Images);
  const UnknownPlan& plan = block.Steps->Plan();
  EXPECT_EQ(figures.fSigma0, block.Result.fSigma0);
  EXPECT_GT(figures.fUnit, 0.5);
  EXPECT_EQ(figures.nDatumDefect, block.Result.nDatumDefect);
  const auto unknown = std::ranges::count_if(plan.vImageNode, [](int32_t node) { return node >= 0; });
  ASSERT_EQ(std::ssize(figures.vImages), unknown);
  for (const ImagePrecision& image : figures.vImages) {
    const auto place = static_cast<size_t>(image.nImage);
    const int32_t node = plan.vImageNode[place];
    const Vector3 angles = NumericAngleDeviations(
        *block.Covariance.Covariance, node, plan.vSizes[static_cast<size_t>(node)], block.At.vPoses[place].R);
    for (size_t k = 0; k < 3; ++k) {
      const double centre =
          figures.fUnit * block.Covariance.Covariance->Deviation(node, static_cast<int32_t>(k));
      EXPECT_NEAR(image.Centre[k], centre, 1e-6 * centre);
      EXPECT_NEAR(image.Angles[k], figures.fUnit * angles[k], 1e-6 * figures.fUnit * angles[k]);
    }
  }
}

TEST_P(Figures, OfCamerasAreThoseOfTheCofactorsInPixels) {
  O options = OptionsOf(GetParam().Change);
  options.fPixel = 0.005;
  const Adjusted block(options);
  ASSERT_TRUE(block.Covariance.Covariance);
  const PrecisionFigures figures = block.Figures(PrecisionExtent::Images, options.fPixel);
  const std::vector<CameraColumns>& cameras = block.Steps->Plan().vCameras;
  ASSERT_FALSE(figures.vCameras.empty());
  for (const CameraPrecision& camera : figures.vCameras) {
    const auto place = static_cast<size_t>(camera.nCamera);
    const CameraColumns& columns = cameras[place];
    for (int k = 0; k < columns.Layout.Num; ++k) {
      const CameraQuantity& quantity = camera.vQuantities[static_cast<size_t>(k)];
      const LensParameter parameter = columns.Layout.Columns[static_cast<size_t>(k)];
      const double unit = parameter == LensParameter::K1   ? std::pow(options.fPixel, 2)
                          : parameter == LensParameter::K2 ? std::pow(options.fPixel, 4)
                                                           : 1 / options.fPixel;
      Lens lens = block.At.vCameras[place].LensNow;
      const double value = unit * ParameterOf(lens, parameter),
                   deviation = unit * figures.fUnit *
                               block.Covariance.Covariance->Deviation(columns.nNode, columns.nLens + k);
      EXPECT_NEAR(quantity.fValue, value, 1e-9 * std::abs(value)) << quantity.szName;
      EXPECT_NEAR(quantity.fDeviation, deviation, 1e-6 * deviation) << quantity.szName;
      EXPECT_NEAR(quantity.T(), value / deviation, 1e-5 * std::abs(value / deviation));
    }
  }
}

TEST_P(Figures, OfPointsAreThoseOfTheCofactors) {
  const Adjusted block(OptionsOf(GetParam().Change));
  ASSERT_TRUE(block.Covariance.Covariance);
  const PrecisionFigures all = block.Figures(PrecisionExtent::All);
  ASSERT_EQ(std::ssize(all.vPoints), block.Block.Given.PointNum());
  size_t at = 0;
  ForEachPointPrecision(block.Block.Given, block.Steps->Plan(), block.Steps->Chunks(), block.At,
                        *block.Covariance.Covariance, {}, [&](const PointPrecision& point) {
                          const GroundPrecision& made = all.vPoints[at++];
                          EXPECT_EQ(made.nPoint, point.nPoint);
                          EXPECT_EQ(made.nRays, std::ssize(block.Block.Given.RaysOf(point.nPoint)));
                          for (size_t k = 0; k < 3; ++k) {
                            const double expected = all.fUnit * std::sqrt(point.Cofactor[4 * k]);
                            EXPECT_NEAR(made.Deviation[k], expected, 1e-6 * expected);
                          }
                        });
  const PrecisionFigures images = block.Figures(PrecisionExtent::Images);
  std::set<int64_t> expected = {3, 7};
  for (const ControlObservation& control : block.Block.Given.vControl) expected.insert(control.nPoint);
  ASSERT_EQ(images.vPoints.size(), expected.size());
  for (const GroundPrecision& point : images.vPoints) {
    EXPECT_TRUE(expected.contains(point.nPoint));
    EXPECT_NE(point.Kind, PointKind::Tie);
    EXPECT_EQ(point.Deviation, all.vPoints[static_cast<size_t>(point.nPoint)].Deviation);
  }
}

TEST_P(Figures, AreTheSameOnAnyNumberOfThreads) {
  const Adjusted block(OptionsOf(GetParam().Change));
  const PrecisionFigures one = block.Figures(PrecisionExtent::All),
                         four = block.Figures(PrecisionExtent::All, 1, 4);
  ASSERT_EQ(one.vImages.size(), four.vImages.size());
  for (size_t i = 0; i < one.vImages.size(); ++i) EXPECT_EQ(one.vImages[i].Angles, four.vImages[i].Angles);
  ASSERT_EQ(one.vPoints.size(), four.vPoints.size());
  for (size_t i = 0; i < one.vPoints.size(); ++i)
    EXPECT_EQ(one.vPoints[i].Deviation, four.vPoints[i].Deviation);
}

TEST_P(Figures, WithoutPrecisionAreThoseOfTheWholeBlock) {
  const Adjusted block(OptionsOf(GetParam().Change));
  const PrecisionFigures none = block.Figures(PrecisionExtent::None),
                         all = block.Figures(PrecisionExtent::All);
  EXPECT_TRUE(none.vImages.empty() && none.vCameras.empty() && none.vPoints.empty());
  EXPECT_EQ(none.vFree, all.vFree);
  EXPECT_EQ(none.nDatumDefect, all.nDatumDefect);
  EXPECT_EQ(none.Test.Outcome, TestOutcome::Passed);
  EXPECT_EQ(none.Test.nRedundancy, block.Result.Redundancy());
}

INSTANTIATE_TEST_SUITE_P(
    All, Figures,
    ::testing::Values(Case{"Control", [](O& o) { o.nControl = 5; }}, Case{"Free", [](O&) {}},
                      Case{"CameraOfEachStrip",
                           [](O& o) { o.nControl = 6, o.Cameras = TruthCameras::EachStrip; }},
                      Case{"HeldImages", [](O& o) { o.nHeldImages = 2; }}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

TEST(PrecisionFigures, TellWhatNothingHolds) {
  const struct {
    std::function<void(O&)> Change;
    std::vector<std::string> vFree;
  } cases[] = {{[](O& o) { o.nControl = 5; }, {}},
               {[](O&) {}, {"position, turns and scale of the block"}},
               {[](O& o) {
                  o.GpsSigma = {0.05, 0.05, 0.1}, o.nStrips = 1, o.nImages = 12, o.fTilt = 0;
                  o.nLensUnknowns = 0;
                },
                {}}};
  for (const auto& each : cases) {
    const PrecisionFigures figures = Adjusted(OptionsOf(each.Change)).Figures(PrecisionExtent::None);
    EXPECT_EQ(figures.vFree, each.vFree);
  }
  // One point holds the position, and nothing else.
  const PrecisionFigures one =
      Adjusted(OptionsOf([](O& o) { o.nControl = 1; })).Figures(PrecisionExtent::None);
  EXPECT_EQ(one.nDatumDefect, 4);
  EXPECT_FALSE(one.vFree.empty());
}

TEST(PrecisionFigures, NameTheUnknownThatNothingTellsOf) {
  const Adjusted block(OptionsOf([](O& o) { o.nControl = 5, o.bBoresight = true; }));
  const PrecisionFigures figures = block.Figures(PrecisionExtent::Images);
  ASSERT_TRUE(figures.Refusal);
  EXPECT_EQ(figures.Refusal->Owner, UnknownOwner::Camera);
  EXPECT_EQ(figures.Refusal->nOwner, 0);
  EXPECT_EQ(figures.Refusal->szUnknown.substr(0, 16), "boresight about ");
  EXPECT_TRUE(figures.vImages.empty());
}

TEST(PrecisionFigures, TellCorrelationsOfACamera) {
  const Adjusted block(OptionsOf([](O& o) {
    o.nControl = 5;
    o.nLensTerms = o.nLensUnknowns = kLensFocal | kLensRadial | kLensThirdRadial;
  }));
  const PrecisionFigures figures = block.Figures(PrecisionExtent::Images);
  ASSERT_EQ(figures.vCameras.size(), 1U);
  const CameraPrecision& camera = figures.vCameras[0];
  ASSERT_FALSE(camera.vPairs.empty()) << "k2 and k3";
  for (const CorrelatedPair& pair : camera.vPairs) {
    EXPECT_GT(std::abs(pair.fCorrelation), kToldCorrelation);
    EXPECT_LE(std::abs(pair.fCorrelation), 1 + 1e-12);
    EXPECT_LT(pair.nFirst, pair.nSecond);
  }
  EXPECT_TRUE(std::ranges::any_of(camera.vPairs, [&](const CorrelatedPair& pair) {
    return std::string_view(camera.vQuantities[pair.nFirst].szName) == "k2" &&
           std::string_view(camera.vQuantities[pair.nSecond].szName) == "k3" && pair.fCorrelation < 0;
  }));
}

TEST(PrecisionFigures, CarryLeverArmAndBoresight) {
  const Adjusted block(OptionsOf([](O& o) {
    o.nControl = 5, o.bLeverArm = o.bBoresight = true;
    o.GpsSigma = {0.05, 0.05, 0.05}, o.ImuSigma = {1e-3, 1e-3, 1e-3};
    o.LeverArm = {0.1, 0.2, 0.3}, o.Boresight = {0.01, -0.02, 0.03};
  }));
  const PrecisionFigures figures = block.Figures(PrecisionExtent::Images);
  ASSERT_EQ(figures.vCameras.size(), 1U);
  const std::vector<CameraQuantity>& quantities = figures.vCameras[0].vQuantities;
  const CameraColumns& columns = block.Steps->Plan().vCameras[0];
  ASSERT_EQ(quantities.size(), static_cast<size_t>(columns.Layout.Num) + 6);
  const size_t lever = quantities.size() - 6, boresight = quantities.size() - 3;
  const Vector3 angles = AnglesOfRotation(block.At.vCameras[0].Boresight);
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(quantities[lever + k].fValue, block.At.vCameras[0].LeverArm[k]);
    EXPECT_GT(quantities[lever + k].fDeviation, 0);
    EXPECT_NEAR(quantities[boresight + k].fValue, kDegrees * angles[k], 1e-9);
    // One attitude after the other tells of it: ten images.
    EXPECT_GT(quantities[boresight + k].fDeviation, 0.2 * kDegrees * 1e-3 / std::sqrt(10));
    EXPECT_LT(quantities[boresight + k].fDeviation, 2 * kDegrees * 1e-3 / std::sqrt(10));
  }
}

/// Whatever the extent, for it takes the images alone.
TEST(PrecisionFigures, NameTheMeasurementThatIsWrong) {
  const O options = OptionsOf([](O& o) { o.nControl = 5; });
  for (const PrecisionExtent extent : {PrecisionExtent::Images, PrecisionExtent::All}) {
    EXPECT_TRUE(Adjusted(options).Figures(extent).vRayTests.empty());
    const Adjusted block(options, [](Problem& problem) { problem.vRays[40].y += 15; });
    const PrecisionFigures figures = block.Figures(extent);
    ASSERT_FALSE(figures.vRayTests.empty());
    const RayTest& first = figures.vRayTests[0];
    EXPECT_EQ(first.nRay, 40);
    EXPECT_EQ(first.nImage, block.Block.Given.vRays[40].nImage);
    EXPECT_EQ(first.nComponent, 1);
    const double sigma = block.Block.Given.vCameras[0].fSigma;
    EXPECT_NEAR(first.fError, 15, 5 * sigma / std::sqrt(first.fRedundancy));
    EXPECT_GT(first.fRedundancy, 0.1);
    EXPECT_LT(first.fRedundancy, 1);
    const Reliability worth = ReliabilityOf(first.fW * std::sqrt(first.fRedundancy) * figures.fUnit,
                                            first.fRedundancy, figures.fUnit);
    EXPECT_NEAR(first.fSmallest, sigma * worth.fSmallest, 1e-9 * first.fSmallest);
    EXPECT_NEAR(first.fEffect, worth.fEffect, 1e-9 * first.fEffect);
    EXPECT_LT(first.fSmallest, 15);
  }
}

TEST(PrecisionFigures, WithoutRedundancyTakeTheStatedStandardDeviations) {
  Adjusted block(OptionsOf([](O& o) { o.nControl = 5; }));
  const double sigma0 = block.Result.fSigma0;
  const PrecisionFigures with = block.Figures(PrecisionExtent::Images);
  block.Result.nUnknowns = block.Result.nObservations;
  block.Result.fSigma0 = 0;
  const PrecisionFigures without = block.Figures(PrecisionExtent::Images);
  EXPECT_EQ(without.fUnit, 1);
  EXPECT_EQ(without.Test.Outcome, TestOutcome::NotPossible);
  EXPECT_NEAR(with.vImages[0].Centre[2], sigma0 * without.vImages[0].Centre[2], 1e-12);
}

}  // namespace
}  // namespace orvo::rigorous::test
