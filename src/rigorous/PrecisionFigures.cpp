#include "rigorous/PrecisionFigures.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "rigorous/FreeDatum.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/NormalTest.h"
#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/Reliability.h"
#include "rigorous/RotationVector.h"
#include "rigorous/Suspects.h"
#include "rigorous/WeakDirections.h"

namespace orvo::rigorous {
namespace {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

constexpr double kDegrees = 180 / std::numbers::pi;

struct LensQuantity {
  const char* szName;
  const char* szUnit;
  int nPower;  ///< of the unit of length
};

/// In the order of Lens.
constexpr LensQuantity kLens[] = {
    {"f", "px", 1},      {"x0", "px", 1},     {"y0", "px", 1},     {"k1", "px^-2", -2}, {"k2", "px^-4", -4},
    {"k3", "px^-6", -6}, {"p1", "px^-1", -1}, {"p2", "px^-1", -1}, {"b1", "", 0},       {"b2", "", 0}};

constexpr const char* kLever[] = {"lever arm X", "lever arm Y", "lever arm Z"};
constexpr const char* kBoresight[] = {"boresight phi", "boresight omega", "boresight kappa"};
constexpr const char* kImage[] = {"X", "Y", "Z", "rotation about x", "rotation about y", "rotation about z"};
constexpr const char* kDrift[] = {"constant drift of the GPS", "linear drift of the GPS",
                                  "constant drift of the IMU", "linear drift of the IMU"};

/// Degrees of phi, omega and kappa by the rotation vector on the right of R.
Eigen::Matrix3d AnglesByVector(const Matrix3& R) {
  const Matrix3 T = VectorByAngles(AnglesOfRotation(R));
  return kDegrees * Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(T.data()).inverse();
}

bool IsWithin(int32_t unknown, int32_t first, int32_t count) {
  return first >= 0 && unknown >= first && unknown < first + count;
}

/// The unknown of a camera at this column of its node; empty where it is none.
std::string CameraUnknown(const CameraColumns& columns, int32_t unknown) {
  if (IsWithin(unknown, columns.nLens, columns.Layout.Num)) {
    const auto place = static_cast<size_t>(unknown - columns.nLens);
    return kLens[static_cast<size_t>(columns.Layout.Columns[place])].szName;
  }
  if (IsWithin(unknown, columns.nLeverArm, 3)) return kLever[unknown - columns.nLeverArm];
  if (IsWithin(unknown, columns.nBoresight, 3))
    return std::string("boresight about ") + "xyz"[unknown - columns.nBoresight];
  return {};
}

std::string StripUnknown(const StripColumns& columns, int32_t unknown) {
  const int32_t first[] = {columns.nGpsConstant, columns.nGpsLinear, columns.nImuConstant,
                           columns.nImuLinear};
  for (size_t k = 0; k < std::size(first); ++k) {
    if (IsWithin(unknown, first[k], 3)) return kDrift[k];
  }
  return {};
}

/// Who has this unknown, in words for people.
PrecisionRefusal RefusalOf(const UnknownPlan& plan, int32_t node, int32_t unknown) {
  for (size_t i = 0; i < plan.vCameras.size(); ++i) {
    if (plan.vCameras[i].nNode != node) continue;
    std::string name = CameraUnknown(plan.vCameras[i], unknown);
    if (!name.empty()) return {UnknownOwner::Camera, static_cast<int32_t>(i), std::move(name)};
  }
  for (size_t i = 0; i < plan.vStrips.size(); ++i) {
    if (plan.vStrips[i].nNode != node) continue;
    return {UnknownOwner::Strip, static_cast<int32_t>(i), StripUnknown(plan.vStrips[i], unknown)};
  }
  const auto image = std::ranges::find(plan.vImageNode, node);
  if (node >= 0 && image != plan.vImageNode.end() && unknown >= 0 && unknown < 6)
    return {UnknownOwner::Image, static_cast<int32_t>(image - plan.vImageNode.begin()), kImage[unknown]};
  return {UnknownOwner::None, -1, "the normal equations are not finite"};
}

/// What the residuals tell without any precision.
PrecisionFigures TestedOf(const PrecisionInput& input) {
  const int64_t redundancy = input.Result.Redundancy();
  PrecisionFigures figures;
  figures.fSigma0 = input.Result.fSigma0;
  figures.fUnit = redundancy > 0 ? input.Result.fSigma0 : 1;
  figures.Test = TestGlobally(input.Result.fSquares, redundancy);
  return figures;
}

class FigureMaker {
 public:
  FigureMaker(const PrecisionInput& input, PrecisionFigures begun)
      : In(input),
        At(input.At),
        Steps(input.Task, OptionsOf(input)),
        Plan(Steps.Plan()),
        Out(std::move(begun)) {}

  PrecisionFigures Make();

 private:
  static AdjustOptions OptionsOf(const PrecisionInput& input) {
    AdjustOptions options;
    options.nThreads = input.nThreads;
    return options;
  }
  void TellDatum(const FreeDatum& datum);
  RowMatrix BlockOf(int32_t node) const;
  double DeviationOf(double cofactor) const { return Out.fUnit * std::sqrt(std::max(cofactor, 0.0)); }
  void AddImages();
  void AddCameras();
  void AddLens(const CameraEstimate& camera, const CameraColumns& columns, RowMatrix& rows);
  void AddMounting(const CameraEstimate& camera, const CameraColumns& columns, RowMatrix& rows);
  void AddPairs(const RowMatrix& cofactors, CameraPrecision& camera) const;
  void AddPoints();
  void RateControl(const PointPrecision& point, GroundPrecision& made) const;
  void RateCheck(GroundPrecision& made) const;
  void AddOwnTests();
  void AddRayTests();
  double TestUnit() const { return Out.fUnit > 0 ? Out.fUnit : 1; }
  PointKind KindOf(int64_t point) const;
  int32_t RaysOf(int64_t point) const;

  const PrecisionInput& In;
  Estimate At;  ///< its points step to their minimum once more
  Adjuster Steps;
  const UnknownPlan& Plan;
  std::optional<NodeCovariance> Q;
  PrecisionFigures Out;
};

/// A block that nothing holds has seven directions of any mixture.
void FigureMaker::TellDatum(const FreeDatum& datum) {
  Out.nDatumDefect = datum.nDefect;
  if (datum.nDefect == kBlockMotionNum) {
    Out.vFree = {"position, turns and scale of the block"};
    return;
  }
  for (int32_t k = 0; k < datum.nDefect; ++k) {
    std::string words = WordsOf(MotionOf(In.Task, Plan, At, datum.Direction(k)));
    if (std::ranges::find(Out.vFree, words) == Out.vFree.end()) Out.vFree.push_back(std::move(words));
  }
}

RowMatrix FigureMaker::BlockOf(int32_t node) const {
  const Eigen::Index size = Plan.vSizes[static_cast<size_t>(node)];
  RowMatrix block = RowMatrix::Zero(size, size);
  Q->Block(node, node, {block.data(), static_cast<size_t>(block.size())});
  return block;
}

void FigureMaker::AddImages() {
  for (size_t image = 0; image < Plan.vImageNode.size(); ++image) {
    if (Plan.vImageNode[image] < 0) continue;
    const RowMatrix block = BlockOf(Plan.vImageNode[image]);
    const Eigen::Matrix3d turn = AnglesByVector(At.vPoses[image].R);
    const Eigen::Matrix3d angles = turn * block.block<3, 3>(3, 3) * turn.transpose();
    ImagePrecision& made = Out.vImages.emplace_back();
    made.nImage = static_cast<int32_t>(image);
    for (int k = 0; k < 3; ++k) {
      made.Centre[static_cast<size_t>(k)] = DeviationOf(block(k, k));
      // A maximum takes no number for 0.
      made.Angles[static_cast<size_t>(k)] =
          turn.allFinite() ? DeviationOf(angles(k, k)) : std::numeric_limits<double>::quiet_NaN();
    }
  }
}

/// `rows` carry the unknowns of the node into the quantities.
void FigureMaker::AddLens(const CameraEstimate& camera, const CameraColumns& columns, RowMatrix& rows) {
  std::vector<CameraQuantity>& quantities = Out.vCameras.back().vQuantities;
  Lens lens = camera.LensNow;
  for (int32_t k = 0; k < columns.Layout.Num; ++k) {
    const LensParameter parameter = columns.Layout.Columns[static_cast<size_t>(k)];
    const LensQuantity& told = kLens[static_cast<size_t>(parameter)];
    const double unit = std::pow(In.fImageScale, -told.nPower);
    rows(std::ssize(quantities), columns.nLens + k) = unit;
    quantities.push_back({told.szName, told.szUnit, unit * ParameterOf(lens, parameter), 0});
  }
}

void FigureMaker::AddMounting(const CameraEstimate& camera, const CameraColumns& columns, RowMatrix& rows) {
  std::vector<CameraQuantity>& quantities = Out.vCameras.back().vQuantities;
  if (columns.nLeverArm >= 0) {
    rows.block<3, 3>(std::ssize(quantities), columns.nLeverArm).setIdentity();
    for (size_t k = 0; k < 3; ++k) quantities.push_back({kLever[k], "object units", camera.LeverArm[k], 0});
  }
  if (columns.nBoresight >= 0) {
    rows.block<3, 3>(std::ssize(quantities), columns.nBoresight) = AnglesByVector(camera.Boresight);
    const Vector3 angles = AnglesOfRotation(camera.Boresight);
    for (size_t k = 0; k < 3; ++k) quantities.push_back({kBoresight[k], "degrees", kDegrees * angles[k], 0});
  }
}

void FigureMaker::AddPairs(const RowMatrix& cofactors, CameraPrecision& camera) const {
  for (Eigen::Index i = 0; i < cofactors.rows(); ++i) {
    for (Eigen::Index j = i + 1; j < cofactors.rows(); ++j) {
      const double r = cofactors(i, j) / std::sqrt(cofactors(i, i) * cofactors(j, j));
      if (std::abs(r) > kToldCorrelation)
        camera.vPairs.push_back({static_cast<size_t>(i), static_cast<size_t>(j), r});
    }
  }
}

void FigureMaker::AddCameras() {
  for (size_t i = 0; i < Plan.vCameras.size(); ++i) {
    const CameraColumns& columns = Plan.vCameras[i];
    if (columns.nNode < 0) continue;
    CameraPrecision& camera = Out.vCameras.emplace_back();
    camera.nCamera = static_cast<int32_t>(i);
    const RowMatrix block = BlockOf(columns.nNode);
    RowMatrix rows = RowMatrix::Zero(block.rows(), block.rows());
    AddLens(At.vCameras[i], columns, rows);
    AddMounting(At.vCameras[i], columns, rows);
    const RowMatrix own = rows.topRows(std::ssize(camera.vQuantities));
    const RowMatrix cofactors = own * block * own.transpose();
    for (size_t k = 0; k < camera.vQuantities.size(); ++k) {
      const auto at = static_cast<Eigen::Index>(k);
      camera.vQuantities[k].fDeviation = DeviationOf(cofactors(at, at));
    }
    AddPairs(cofactors, camera);
  }
}

PointKind FigureMaker::KindOf(int64_t point) const {
  if (std::ranges::binary_search(In.Task.vControl, point, {}, &ControlObservation::nPoint))
    return PointKind::Control;
  return std::ranges::binary_search(In.vCheckPoints, point, {}, &CheckPoint::nPoint) ? PointKind::Check
                                                                                     : PointKind::Tie;
}

int32_t FigureMaker::RaysOf(int64_t point) const {
  return static_cast<int32_t>(
      std::ranges::count_if(In.Task.RaysOf(point), [](const Ray& ray) { return ray.nImage >= 0; }));
}

void FigureMaker::AddPoints() {
  PointPrecisionOptions options;
  options.nThreads = In.nThreads;
  const bool all = In.Extent == PrecisionExtent::All;
  if (!all) options.Wanted = [this](int64_t point) { return KindOf(point) != PointKind::Tie; };
  if (all) Out.vPoints.reserve(static_cast<size_t>(In.Task.PointNum()));
  ForEachPointPrecision(In.Task, Plan, Steps.Chunks(), At, *Q, options, [&](const PointPrecision& point) {
    GroundPrecision made;
    made.nPoint = point.nPoint;
    made.Kind = KindOf(point.nPoint);
    made.bDetermined = point.bDetermined;
    made.nRays = RaysOf(point.nPoint);
    for (size_t k = 0; k < 3; ++k) made.Deviation[k] = DeviationOf(point.Cofactor[4 * k]);
    if (made.Kind == PointKind::Control) RateControl(point, made);
    if (made.Kind == PointKind::Check && made.bDetermined) RateCheck(made);
    Out.vPoints.push_back(made);
  });
}

void FigureMaker::RateControl(const PointPrecision& point, GroundPrecision& made) const {
  const auto control =
      std::ranges::lower_bound(In.Task.vControl, point.nPoint, {}, &ControlObservation::nPoint);
  for (size_t k = 0; k < 3; ++k) {
    if (!point.IsControlled[k]) continue;
    const double sigma = control->Sigma[k], redundancy = point.ControlRedundancy[k];
    const Reliability worth = ReliabilityOf(point.ControlResidual[k], redundancy, TestUnit());
    made.Redundancy[k] = redundancy;
    if (!std::isfinite(worth.fSmallest)) continue;
    made.Test[k] = worth.fTest;
    made.Error[k] = sigma * point.ControlResidual[k] / redundancy;
    made.Smallest[k] = sigma * worth.fSmallest;
    made.Effect[k] = worth.fEffect;
  }
}

void FigureMaker::RateCheck(GroundPrecision& made) const {
  const CheckPoint& check = *std::ranges::lower_bound(In.vCheckPoints, made.nPoint, {}, &CheckPoint::nPoint);
  for (size_t k = 0; k < 3; ++k) {
    const double deviation = std::hypot(made.Deviation[k], check.Sigma[k]);
    const double difference = check.Given[k] - At.vPoints[static_cast<size_t>(made.nPoint)][k];
    if (deviation > 0 && std::isfinite(deviation)) made.Test[k] = difference / deviation;
  }
}

void FigureMaker::AddOwnTests() {
  ForEachOwnPrecision(In.Task, Plan, At, *Q, [this](const OwnPrecision& own) {
    if (own.Kind != OwnKind::Gps && own.Kind != OwnKind::Imu) return;
    const ImageModel& image = In.Task.vImages[static_cast<size_t>(own.nOwner)];
    const Vector3& sigma = own.Kind == OwnKind::Gps ? image.GpsSigma : image.ImuSigma;
    OwnTest largest;
    largest.Kind = own.Kind;
    largest.nImage = own.nOwner;
    for (int k = 0; k < 3; ++k) {
      if (!own.IsCounted[static_cast<size_t>(k)]) continue;
      const Reliability worth = ReliabilityOf(own.Residual[k], own.Redundancy[k], TestUnit());
      if (!(std::abs(worth.fTest) > std::abs(largest.fW))) continue;
      largest.nComponent = k;
      largest.fW = worth.fTest;
      largest.fError = sigma[k] * own.Residual[k] / own.Redundancy[k];
      largest.fRedundancy = own.Redundancy[k];
      largest.fSmallest = sigma[k] * worth.fSmallest;
      largest.fEffect = worth.fEffect;
    }
    if (std::abs(largest.fW) > In.fCritical) Out.vOwnTests.push_back(largest);
  });
}

void FigureMaker::AddRayTests() {
  const auto count = static_cast<double>(std::max<int64_t>(In.Result.nObservations, 1));
  SuspectLimits limits;
  limits.fCritical = std::max(TwoSidedCritical(kFalseAlarm / count), In.fCritical);
  limits.fSigma0 = TestUnit();
  limits.nThreads = In.nThreads;
  const std::vector<uint8_t> doubtful = DoubtfulPoints(In.Task, At, limits);
  limits.Wanted = [&doubtful](int64_t point) { return doubtful[static_cast<size_t>(point)] != 0; };
  for (const Suspect& one : SuspectsOf(In.Task, Plan, Steps.Chunks(), At, *Q, limits)) {
    if (one.Kind != SuspectKind::Measurement) continue;
    const double sigma = In.Task.vCameras[In.Task.vImages[one.nImage].nCamera].fSigma;
    Out.vRayTests.push_back({one.nPoint, one.nRay, one.nImage, one.nComponent, one.Worth.fTest,
                             one.fResidual / one.fRedundancy, one.fRedundancy, sigma * one.Worth.fSmallest,
                             one.Worth.fEffect});
  }
}

PrecisionFigures FigureMaker::Make() {
  if (Plan.NodeNum() == 0 && In.Extent == PrecisionExtent::None) return std::move(Out);
  ReducedEquations& equations = Steps.EquationsAt(At);
  const FreeDatum datum = FreeDatumOf(In.Task, Plan, At, equations);
  TellDatum(datum);
  if (In.Extent == PrecisionExtent::None) return std::move(Out);
  CovarianceResult covariance = CovarianceOf(Plan, datum, equations);
  if (!covariance.Covariance) {
    Out.Refusal = RefusalOf(Plan, covariance.Refusal.At.nNode, covariance.Refusal.At.nUnknown);
    return std::move(Out);
  }
  Q = std::move(covariance.Covariance);
  AddImages();
  AddCameras();
  AddPoints();
  AddOwnTests();
  AddRayTests();
  return std::move(Out);
}

}  // namespace

PrecisionFigures PrecisionFiguresOf(const PrecisionInput& input) {
  PrecisionFigures figures = TestedOf(input);
  // The equations would tell nothing but the free motions, of which the adjustment found none.
  if (input.Extent == PrecisionExtent::None && input.Result.nDatumDefect == 0) return figures;
  return FigureMaker(input, std::move(figures)).Make();
}

}  // namespace orvo::rigorous
