#include "rigorous/OwnObservations.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <limits>
#include <span>
#include <vector>

#include "rigorous/RigorousBuilders.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using test::Random;

/// What is observed and unknown in a flight of two strips with four images each.
struct FlightCase {
  const char* szWhat;
  bool bGps = false, bImu = false, bLeverArm = false, bBoresight = false;
  bool bConstant = false, bLinear = false;  ///< drifts
  bool bPriors = false;                     ///< of all that can have one, held or not
  uint32_t nLens = 0;
  int32_t nCameras = 1;  ///< in turn; of 8 each has one image
  bool bSomeHeld = false, bAllHeld = false;
  bool bSingleComponents = false;  ///< heights alone of GPS, the last angle alone of IMU
};

constexpr uint32_t kClassic = kLensFocal | kLensRadial;

const FlightCase kCases[] = {
    {.szWhat = "nothing observed", .nLens = kClassic},
    {.szWhat = "GPS", .bGps = true},
    {.szWhat = "IMU", .bImu = true},
    {.szWhat = "heights and kappa", .bGps = true, .bImu = true, .bSingleComponents = true},
    {.szWhat = "some images held", .bGps = true, .bImu = true, .bSomeHeld = true},
    {.szWhat = "all images held", .bGps = true, .bImu = true, .bPriors = true, .bAllHeld = true},
    {.szWhat = "lever arm", .bGps = true, .bLeverArm = true},
    {.szWhat = "lever arm, images held", .bGps = true, .bLeverArm = true, .bAllHeld = true},
    {.szWhat = "boresight", .bImu = true, .bBoresight = true},
    {.szWhat = "lever arms of three cameras",
     .bGps = true,
     .bLeverArm = true,
     .nLens = kClassic,
     .nCameras = 3},
    {.szWhat = "constant drift", .bGps = true, .bImu = true, .bConstant = true},
    {.szWhat = "linear drift alone", .bGps = true, .bImu = true, .bLinear = true},
    {.szWhat = "whole drift", .bGps = true, .bImu = true, .bConstant = true, .bLinear = true},
    {.szWhat = "priors of a camera",
     .bLeverArm = true,
     .bBoresight = true,
     .bPriors = true,
     .nLens = kLensAll},
    {.szWhat = "priors in the images' own nodes", .bPriors = true, .nLens = kClassic, .nCameras = 8},
    {.szWhat = "priors of what is held", .bPriors = true},
    {.szWhat = "priors of drifts", .bConstant = true, .bLinear = true, .bPriors = true},
    {.szWhat = "all, one camera",
     .bGps = true,
     .bImu = true,
     .bLeverArm = true,
     .bBoresight = true,
     .bConstant = true,
     .bLinear = true,
     .bPriors = true,
     .nLens = kLensAll,
     .bSomeHeld = true},
    {.szWhat = "all, a camera for each image",
     .bGps = true,
     .bImu = true,
     .bLeverArm = true,
     .bBoresight = true,
     .bConstant = true,
     .bLinear = true,
     .bPriors = true,
     .nLens = kClassic | kLensAffine,
     .nCameras = 8,
     .bSomeHeld = true},
};

constexpr int32_t kImageNum = 8;

struct Flight {
  Problem Given;
  Estimate Now;
};

Vector3 AnySigma(Random& random, bool finite, double least) {
  if (!finite) return kNotObserved3;
  return {random.Within(least, 3 * least), random.Within(least, 3 * least), random.Within(least, 3 * least)};
}

void AddCamera(const FlightCase& kind, Random& random, Flight& flight) {
  CameraModel& camera = flight.Given.vCameras.emplace_back();
  camera.nLensUnknowns = kind.nLens;
  camera.bLeverArm = kind.bLeverArm;
  camera.bBoresight = kind.bBoresight;
  camera.Prior = test::AnyLens(random);
  camera.LeverArmPrior = random.Vector(1);
  camera.BoresightPrior = random.Rotation();
  camera.LeverArmSigma = AnySigma(random, kind.bPriors, 0.1);
  camera.BoresightSigma = AnySigma(random, kind.bPriors, 0.05);
  if (kind.bPriors) {
    for (int k = 0; k < kLensParameterNum; k += k == 3 ? 2 : 1) camera.PriorSigma[k] = random.Within(0.1, 1);
  }
  flight.Now.vCameras.push_back({test::AnyLens(random), camera.LeverArmPrior + random.Vector(0.3),
                                 RotationUpdatedBy(camera.BoresightPrior, random.Vector(0.2))});
}

void AddStrip(const FlightCase& kind, Random& random, Flight& flight) {
  StripModel& strip = flight.Given.vStrips.emplace_back();
  strip.bGpsConstant = strip.bImuConstant = kind.bConstant;
  strip.bGpsLinear = strip.bImuLinear = kind.bLinear;
  for (Vector3* sigma :
       {&strip.GpsConstantSigma, &strip.GpsLinearSigma, &strip.ImuConstantSigma, &strip.ImuLinearSigma}) {
    *sigma = AnySigma(random, kind.bPriors, 0.1);
  }
  flight.Now.vStrips.push_back(
      {{random.Vector(0.5), random.Vector(0.1)}, {random.Vector(0.1), random.Vector(0.02)}});
}

void AddImage(const FlightCase& kind, Random& random, int32_t number, Flight& flight) {
  ImageModel& image = flight.Given.vImages.emplace_back();
  image.nCamera = number % kind.nCameras;
  image.nStrip = number == 3 ? -1 : number / 4;
  image.fTime = random.Within(-3, 3);
  image.bUnknown = !kind.bAllHeld && !(kind.bSomeHeld && number % 3 == 1);
  const ImagePose pose = {random.Vector(200), random.Rotation()};
  image.GpsObserved = pose.Centre + random.Vector(2);
  image.GpsSigma = AnySigma(random, kind.bGps, 0.1);
  image.ImuObserved =
      RotationUpdatedBy(Multiply(pose.R, flight.Now.vCameras[image.nCamera].Boresight), random.Vector(0.5));
  image.ImuSigma = AnySigma(random, kind.bImu, 0.02);
  if (kind.bSingleComponents) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    image.GpsSigma[0] = image.GpsSigma[1] = image.ImuSigma[0] = image.ImuSigma[1] = kNotObserved;
    image.GpsObserved[0] = nan;
  }
  flight.Now.vPoses.push_back(pose);
}

Flight FlightOf(const FlightCase& kind, unsigned seed) {
  Random random(seed);
  Flight flight;
  for (int32_t c = 0; c < kind.nCameras; ++c) AddCamera(kind, random, flight);
  for (int32_t s = 0; s < 2; ++s) AddStrip(kind, random, flight);
  for (int32_t i = 0; i < kImageNum; ++i) AddImage(kind, random, i, flight);
  return flight;
}

/// Normalised residuals as they come, from the formulas of PosModel.h and the priors.
class Residuals {
 public:
  explicit Residuals(const Problem& problem, const Estimate& now) {
    for (size_t i = 0; i < problem.vImages.size(); ++i) {
      const ImageModel& image = problem.vImages[i];
      const CameraEstimate& camera = now.vCameras[image.nCamera];
      const ImagePose& pose = now.vPoses[i];
      const StripEstimate strip = image.nStrip < 0 ? StripEstimate{} : now.vStrips[image.nStrip];
      const Vector3 shift = strip.Gps.Constant + image.fTime * strip.Gps.Linear;
      const Vector3 turn = strip.Imu.Constant + image.fTime * strip.Imu.Linear;
      Put(image.GpsObserved - (pose.Centre + Multiply(pose.R, camera.LeverArm) + shift), image.GpsSigma);
      PutRotation(Multiply(Multiply(pose.R, camera.Boresight), RotationOfVector(turn)), image.ImuObserved,
                  image.ImuSigma);
    }
    for (size_t c = 0; c < problem.vCameras.size(); ++c) PutCamera(problem.vCameras[c], now.vCameras[c]);
    for (size_t s = 0; s < problem.vStrips.size(); ++s) {
      const StripModel& strip = problem.vStrips[s];
      Put(-1.0 * now.vStrips[s].Gps.Constant, strip.GpsConstantSigma);
      Put(-1.0 * now.vStrips[s].Gps.Linear, strip.GpsLinearSigma);
      Put(-1.0 * now.vStrips[s].Imu.Constant, strip.ImuConstantSigma);
      Put(-1.0 * now.vStrips[s].Imu.Linear, strip.ImuLinearSigma);
    }
  }

  std::vector<double> vValues;

 private:
  void Put(const Vector3& residual, const Vector3& sigma) {
    for (int k = 0; k < 3; ++k) {
      if (sigma[k] < kNotObserved) vValues.push_back(residual[k] / sigma[k]);
    }
  }
  void PutRotation(const Matrix3& predicted, const Matrix3& observed, const Vector3& sigma) {
    Put(VectorOfRotation(Multiply(Transposed(predicted), observed)), sigma);
  }
  void PutCamera(CameraModel camera, CameraEstimate now) {
    for (int k = 0; k < kLensParameterNum; ++k) {
      const auto parameter = static_cast<LensParameter>(k);
      if (camera.PriorSigma[k] == kNotObserved) continue;
      vValues.push_back((ParameterOf(camera.Prior, parameter) - ParameterOf(now.LensNow, parameter)) /
                        camera.PriorSigma[k]);
    }
    Put(camera.LeverArmPrior - now.LeverArm, camera.LeverArmSigma);
    PutRotation(now.Boresight, camera.BoresightPrior, camera.BoresightSigma);
  }
};

struct DenseEquations {
  Eigen::MatrixXd N;
  Eigen::VectorXd n;
  double fSquares = 0;
  int64_t nObservations = 0;
};

/// J by differences of all residuals by every unknown.
DenseEquations Reference(const Flight& flight, const UnknownPlan& plan) {
  const std::vector<double> r = Residuals(flight.Given, flight.Now).vValues;
  Eigen::MatrixXd J(std::ssize(r), plan.UnknownNum());
  for (int64_t k = 0; k < plan.UnknownNum(); ++k) {
    const auto at = [&](double h) {
      std::vector<double> dx(static_cast<size_t>(plan.UnknownNum()));
      dx[k] = h;
      Estimate shifted = flight.Now;
      ApplyCorrections(flight.Given, plan, dx, shifted);
      return Residuals(flight.Given, shifted).vValues;
    };
    const std::vector<double> column = test::NumericDerivative(at, 1e-3);
    for (int64_t i = 0; i < J.rows(); ++i) J(i, k) = column[i];
  }
  const Eigen::VectorXd residual = Eigen::Map<const Eigen::VectorXd>(r.data(), std::ssize(r));
  return {J.transpose() * J, -J.transpose() * residual, residual.squaredNorm(), std::ssize(r)};
}

Eigen::MatrixXd Dense(const sparse::NodeMatrix& matrix, const UnknownPlan& plan) {
  using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
  Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(plan.UnknownNum(), plan.UnknownNum());
  const auto put = [&](int32_t i, int32_t j, std::span<const double> block) {
    dense.block(plan.vFirstUnknown[i], plan.vFirstUnknown[j], plan.vSizes[i], plan.vSizes[j]) =
        Eigen::Map<const RowMajor>(block.data(), plan.vSizes[i], plan.vSizes[j]);
  };
  for (int32_t i = 0; i < plan.NodeNum(); ++i) {
    put(i, i, matrix.Diagonal(i));
    int64_t place = 0;
    for (const int32_t j : matrix.Pattern().NeighboursBehind(i)) put(i, j, matrix.Behind(i, place++));
  }
  const Eigen::MatrixXd upper = dense.triangularView<Eigen::Upper>();
  return upper.selfadjointView<Eigen::Upper>();
}

/// The equations of a flight, `times` added up.
DenseEquations Computed(const Flight& flight, const UnknownPlan& plan, int times = 1) {
  const sparse::NodePattern pattern = PatternOf(flight.Given, plan);
  EXPECT_EQ(sparse::CheckPattern(pattern).Fault, sparse::PatternFault::None);
  ReducedEquations equations(pattern);
  OwnSums sums;
  for (int i = 0; i < times; ++i) sums = AddOwnObservations(flight.Given, plan, flight.Now, equations);
  const OwnSums alone = SumOwnObservations(flight.Given, flight.Now);
  EXPECT_EQ(alone.fSquares, sums.fSquares);
  EXPECT_EQ(alone.nObservations, sums.nObservations);
  EXPECT_EQ(alone.nNotFinite, sums.nNotFinite);
  return {Dense(equations.N, plan), Eigen::Map<const Eigen::VectorXd>(equations.n.data(), plan.UnknownNum()),
          sums.fSquares, sums.nObservations};
}

void ExpectSame(const DenseEquations& computed, const DenseEquations& expected) {
  EXPECT_EQ(computed.nObservations, expected.nObservations);
  EXPECT_NEAR(computed.fSquares, expected.fSquares, 1e-12 * expected.fSquares);
  ASSERT_EQ(computed.N.rows(), expected.N.rows());
  const double scale = std::sqrt(expected.fSquares);
  for (int64_t i = 0; i < expected.N.rows(); ++i) {
    const double own = std::sqrt(expected.N(i, i));
    for (int64_t j = 0; j < expected.N.rows(); ++j) {
      EXPECT_NEAR(computed.N(i, j), expected.N(i, j), 1e-8 * own * std::sqrt(expected.N(j, j)))
          << i << " " << j;
    }
    EXPECT_NEAR(computed.n[i], expected.n[i], 1e-8 * own * scale) << i;
  }
}

TEST(OwnObservations, AgreeWithDenseEquationsOfNumericDerivatives) {
  unsigned seed = 0;
  for (const FlightCase& kind : kCases) {
    SCOPED_TRACE(kind.szWhat);
    Flight flight = FlightOf(kind, ++seed);
    const UnknownPlan plan = PlanUnknowns(flight.Given);
    const DenseEquations computed = Computed(flight, plan);
    ExpectSame(computed, Reference(flight, plan));
    EXPECT_EQ(SumOwnObservations(flight.Given, flight.Now).nNotFinite, 0);
    EXPECT_EQ(computed.nObservations > 0, kind.bGps || kind.bImu || kind.bPriors);
  }
}

TEST(OwnObservations, AreAddedToWhatIsThere) {
  const Flight flight = FlightOf(kCases[std::size(kCases) - 1], 1);
  const UnknownPlan plan = PlanUnknowns(flight.Given);
  const DenseEquations once = Computed(flight, plan), twice = Computed(flight, plan, 2);
  EXPECT_GT(once.N.norm(), 0);
  EXPECT_LE((twice.N - 2 * once.N).norm(), 1e-14 * once.N.norm());
  EXPECT_LE((twice.n - 2 * once.n).norm(), 1e-14 * once.n.norm());
  EXPECT_EQ(twice.fSquares, once.fSquares);
}

/// Spoils one observation, and takes the same out of force.
struct BrokenCase {
  const char* szWhat;
  int64_t nLost;
  void (*Break)(Flight&);
  void (*LeaveOut)(Flight&);
};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

const BrokenCase kBroken[] = {
    {"GPS no number", 3, [](Flight& f) { f.Given.vImages[2].GpsObserved[1] = kNan; },
     [](Flight& f) { f.Given.vImages[2].GpsSigma = kNotObserved3; }},
    {"GPS infinite", 3, [](Flight& f) { f.Given.vImages[2].GpsObserved[1] = kNotObserved; },
     [](Flight& f) { f.Given.vImages[2].GpsSigma = kNotObserved3; }},
    {"GPS too far for its square", 1, [](Flight& f) { f.Given.vImages[2].GpsObserved[1] = 1e200; },
     [](Flight& f) { f.Given.vImages[2].GpsSigma[1] = kNotObserved; }},
    {"sigma 0", 1, [](Flight& f) { f.Given.vImages[2].GpsSigma[0] = 0; },
     [](Flight& f) { f.Given.vImages[2].GpsSigma[0] = kNotObserved; }},
    {"sigma beyond numbers", 1, [](Flight& f) { f.Given.vImages[2].ImuSigma[0] = 1e-310; },
     [](Flight& f) { f.Given.vImages[2].ImuSigma[0] = kNotObserved; }},
    {"time of a drift", 6, [](Flight& f) { f.Given.vImages[5].fTime = kNan; },
     [](Flight& f) { f.Given.vImages[5].GpsSigma = f.Given.vImages[5].ImuSigma = kNotObserved3; }},
    {"IMU no number", 3, [](Flight& f) { f.Given.vImages[2].ImuObserved[4] = kNan; },
     [](Flight& f) { f.Given.vImages[2].ImuSigma = kNotObserved3; }},
    {"prior of a lens", 1, [](Flight& f) { f.Given.vCameras[0].Prior.k1 = kNan; },
     [](Flight& f) { f.Given.vCameras[0].PriorSigma[3] = kNotObserved; }},
    {"sigma 0 of a lens", 1, [](Flight& f) { f.Given.vCameras[0].PriorSigma[3] = 0; },
     [](Flight& f) { f.Given.vCameras[0].PriorSigma[3] = kNotObserved; }},
    {"weight beyond numbers, and no residual", 1,
     [](Flight& f) {
       f.Given.vCameras[0].Prior.k1 = f.Now.vCameras[0].LensNow.k1;
       f.Given.vCameras[0].PriorSigma[3] = 1e-200;
     },
     [](Flight& f) { f.Given.vCameras[0].PriorSigma[3] = kNotObserved; }},
    {"rows beyond numbers, and no residual", 1,
     [](Flight& f) {
       f.Given.vCameras[0].LeverArmPrior[1] = f.Now.vCameras[0].LeverArm[1];
       f.Given.vCameras[0].LeverArmSigma[1] = 1e-200;
     },
     [](Flight& f) { f.Given.vCameras[0].LeverArmSigma[1] = kNotObserved; }},
    {"prior of a lever arm", 1, [](Flight& f) { f.Given.vCameras[0].LeverArmPrior[2] = kNan; },
     [](Flight& f) { f.Given.vCameras[0].LeverArmSigma[2] = kNotObserved; }},
    {"prior of a boresight", 3, [](Flight& f) { f.Given.vCameras[0].BoresightPrior[0] = kNan; },
     [](Flight& f) { f.Given.vCameras[0].BoresightSigma = kNotObserved3; }},
    {"estimate of a centre", 3, [](Flight& f) { f.Now.vPoses[0].Centre[0] = kNan; },
     [](Flight& f) { f.Given.vImages[0].GpsSigma = kNotObserved3; }},
};

TEST(OwnObservations, WhatIsNotFiniteIsCountedAndLeftOut) {
  for (const BrokenCase& c : kBroken) {
    SCOPED_TRACE(c.szWhat);
    Flight broken = FlightOf(kCases[std::size(kCases) - 2], 5), without = broken;
    c.Break(broken);
    c.LeaveOut(without);
    const UnknownPlan plan = PlanUnknowns(broken.Given);
    const DenseEquations computed = Computed(broken, plan), expected = Computed(without, plan);
    EXPECT_EQ(SumOwnObservations(broken.Given, broken.Now).nNotFinite, c.nLost);
    EXPECT_EQ(SumOwnObservations(without.Given, without.Now).nNotFinite, 0);
    EXPECT_EQ(computed.nObservations, expected.nObservations);
    EXPECT_EQ(computed.fSquares, expected.fSquares);
    EXPECT_TRUE(computed.N == expected.N);
    EXPECT_TRUE(computed.n == expected.n);
    EXPECT_TRUE(computed.N.allFinite());
  }
}

}  // namespace
}  // namespace orvo::rigorous
