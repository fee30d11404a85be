#include "rigorous/OwnRows.h"

#include <cmath>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

bool IsObserved(double sigma) { return std::isfinite(sigma); }

/// Divides residual and rows of one value by its standard deviation; they become 0 where it is not observed
/// or not a number. Counted is a value whose normalised residual has a number as its square, and whose
/// equation has one on the diagonal.
void Normalise(int c, double sigma, std::span<OwnTerm> terms, OwnRows& rows) {
  double weight = IsObserved(sigma) ? 1 / sigma : 0, rowSquares = 0;
  for (const OwnTerm& term : terms) {
    for (int k = 3 * c; k < 3 * c + 3; ++k) rowSquares += weight * term.Rows[k] * (weight * term.Rows[k]);
  }
  const double residual = weight * rows.Residual[c];
  const bool isCounted = IsObserved(sigma) && std::isfinite(residual * residual) && std::isfinite(rowSquares);
  rows.IsCounted[c] = isCounted;
  rows.nNotFinite += IsObserved(sigma) && !isCounted;
  rows.Residual[c] = isCounted ? residual : 0;
  for (OwnTerm& term : terms) {
    for (int k = 3 * c; k < 3 * c + 3; ++k) term.Rows[k] = isCounted ? weight * term.Rows[k] : 0;
  }
}

class Walk {
 public:
  Walk(const Problem& problem, const UnknownPlan* plan, const Estimate& estimate,
       const std::function<void(const OwnRows&)>& take)
      : In(problem), pPlan(plan), At(estimate), Take(take) {}

  void TakeImages() {
    for (size_t i = 0; i < In.vImages.size(); ++i) {
      const ImageModel& image = In.vImages[i];
      if (ObservedNum(image.GpsSigma) > 0) TakeGps(image, i);
      if (ObservedNum(image.ImuSigma) > 0) TakeImu(image, i);
    }
  }

  void TakeCameras() {
    for (size_t c = 0; c < In.vCameras.size(); ++c) {
      const CameraModel& camera = In.vCameras[c];
      const CameraEstimate& now = At.vCameras[c];
      TakeLens(camera, c, now.LensNow);
      TakePrior(RowsOf(OwnKind::LeverArm, c), camera.LeverArmPrior - now.LeverArm, camera.LeverArmSigma,
                ColumnOf(c, &CameraColumns::nLeverArm));
      TakeBoresight(camera, c, now.Boresight);
    }
  }

  void TakeStrips() {
    for (size_t s = 0; s < In.vStrips.size(); ++s) {
      const StripModel& strip = In.vStrips[s];
      const StripEstimate& now = At.vStrips[s];
      const auto take = [&](OwnKind kind, const Vector3& drift, const Vector3& sigma,
                            int32_t StripColumns::*column) {
        TakePrior(RowsOf(kind, s), -1.0 * drift, sigma, StripColumnOf(static_cast<int32_t>(s), column));
      };
      take(OwnKind::GpsConstant, now.Gps.Constant, strip.GpsConstantSigma, &StripColumns::nGpsConstant);
      take(OwnKind::GpsLinear, now.Gps.Linear, strip.GpsLinearSigma, &StripColumns::nGpsLinear);
      take(OwnKind::ImuConstant, now.Imu.Constant, strip.ImuConstantSigma, &StripColumns::nImuConstant);
      take(OwnKind::ImuLinear, now.Imu.Linear, strip.ImuLinearSigma, &StripColumns::nImuLinear);
    }
  }

 private:
  static constexpr int32_t kCentreColumn = 0, kRotationColumn = 3;

  static OwnRows RowsOf(OwnKind kind, size_t owner) {
    OwnRows rows;
    rows.Kind = kind;
    rows.nOwner = static_cast<int32_t>(owner);
    return rows;
  }

  OwnTerm ImageColumn(size_t image, int32_t column, const Matrix3& rows) const {
    return {pPlan ? pPlan->vImageNode[image] : -1, column, rows};
  }
  OwnTerm ColumnOf(size_t camera, int32_t CameraColumns::*column,
                   const Matrix3& rows = -1 * kIdentity3) const {
    if (!pPlan) return {-1, -1, rows};
    return {pPlan->vCameras[camera].nNode, pPlan->vCameras[camera].*column, rows};
  }
  /// Of no strip (-1) held.
  OwnTerm StripColumnOf(int32_t strip, int32_t StripColumns::*column,
                        const Matrix3& rows = -1 * kIdentity3) const {
    if (!pPlan || strip < 0) return {-1, -1, rows};
    return {pPlan->vStrips[strip].nNode, pPlan->vStrips[strip].*column, rows};
  }

  /// Nothing could be computed of it.
  void Miss(OwnRows rows, const Vector3& sigma) const {
    rows.nNotFinite = ObservedNum(sigma);
    Take(rows);
  }

  void TakeGps(const ImageModel& image, size_t i) const {
    const ImagePose& pose = At.vPoses[i];
    // What is not observed may be no number.
    Vector3 observed = pose.Centre;
    for (int c = 0; c < 3; ++c) {
      if (IsObserved(image.GpsSigma[c])) observed[c] = image.GpsObserved[c];
    }
    const StripDrift drift = image.nStrip < 0 ? StripDrift{} : At.vStrips[image.nStrip].Gps;
    const double time = image.nStrip < 0 ? 0 : image.fTime;
    GpsRows rows;
    if (!LinearizeGps(pose, At.vCameras[image.nCamera].LeverArm, drift, time, observed, rows))
      return Miss(RowsOf(OwnKind::Gps, i), image.GpsSigma);
    std::array terms = {ImageColumn(i, kCentreColumn, rows.ByCentre),
                        ImageColumn(i, kRotationColumn, rows.ByRotation),
                        ColumnOf(image.nCamera, &CameraColumns::nLeverArm, rows.ByLeverArm),
                        StripColumnOf(image.nStrip, &StripColumns::nGpsConstant, rows.ByConstant),
                        StripColumnOf(image.nStrip, &StripColumns::nGpsLinear, rows.ByLinear)};
    TakeThree(RowsOf(OwnKind::Gps, i), rows.Residual, image.GpsSigma, terms);
  }

  void TakeImu(const ImageModel& image, size_t i) const {
    const StripDrift drift = image.nStrip < 0 ? StripDrift{} : At.vStrips[image.nStrip].Imu;
    const double time = image.nStrip < 0 ? 0 : image.fTime;
    ImuRows rows;
    if (!LinearizeImu(At.vPoses[i], At.vCameras[image.nCamera].Boresight, drift, time, image.ImuObserved,
                      rows))
      return Miss(RowsOf(OwnKind::Imu, i), image.ImuSigma);
    std::array terms = {ImageColumn(i, kRotationColumn, rows.ByRotation),
                        ColumnOf(image.nCamera, &CameraColumns::nBoresight, rows.ByBoresight),
                        StripColumnOf(image.nStrip, &StripColumns::nImuConstant, rows.ByConstant),
                        StripColumnOf(image.nStrip, &StripColumns::nImuLinear, rows.ByLinear)};
    TakeThree(RowsOf(OwnKind::Imu, i), rows.Residual, image.ImuSigma, terms);
  }

  void TakePrior(const OwnRows& rows, const Vector3& residual, const Vector3& sigma,
                 const OwnTerm& term) const {
    if (ObservedNum(sigma) == 0) return;
    std::array terms = {term};
    TakeThree(rows, residual, sigma, terms);
  }

  /// The residual is the rotation vector from the estimated to the observed boresight.
  void TakeBoresight(const CameraModel& camera, size_t c, const Matrix3& boresight) const {
    if (ObservedNum(camera.BoresightSigma) == 0) return;
    const Vector3 residual = VectorOfRotation(Multiply(Transposed(boresight), camera.BoresightPrior));
    const Matrix3 rows = -1 * Transposed(InverseRightJacobian(residual));
    TakePrior(RowsOf(OwnKind::Boresight, c), residual, camera.BoresightSigma,
              ColumnOf(c, &CameraColumns::nBoresight, rows));
  }

  void TakeLens(const CameraModel& camera, size_t c, Lens now) const {
    const CameraColumns columns = pPlan ? pPlan->vCameras[c] : CameraColumns{};
    Lens prior = camera.Prior;
    for (int k = 0, column = 0; k < kLensParameterNum; ++k) {
      const auto parameter = static_cast<LensParameter>(k);
      const bool isUnknown = column < columns.Layout.Num && columns.Layout.Columns[column] == parameter;
      OwnTerm term{columns.nNode, isUnknown ? columns.nLens + column : -1, {-1}, 1};
      if (isUnknown) ++column;
      OwnRows rows = RowsOf(OwnKind::Lens, c);
      rows.Parameter = parameter;
      const Vector3 residual = {ParameterOf(prior, parameter) - ParameterOf(now, parameter)};
      TakePrior(rows, residual, {camera.PriorSigma[k], kNotObserved, kNotObserved}, term);
    }
  }

  void TakeThree(OwnRows rows, const Vector3& residual, const Vector3& sigma,
                 std::span<OwnTerm> terms) const {
    rows.Residual = residual;
    for (int c = 0; c < 3; ++c) Normalise(c, sigma[c], terms, rows);
    rows.Terms = terms;
    Take(rows);
  }

  const Problem& In;
  const UnknownPlan* pPlan;
  const Estimate& At;
  const std::function<void(const OwnRows&)>& Take;
};

}  // namespace

int32_t ObservedNum(const Vector3& sigma) {
  return IsObserved(sigma[0]) + IsObserved(sigma[1]) + IsObserved(sigma[2]);
}

void ForEachOwnObservation(const Problem& problem, const UnknownPlan* plan, const Estimate& estimate,
                           const std::function<void(const OwnRows&)>& take) {
  Walk walk(problem, plan, estimate, take);
  walk.TakeImages();
  walk.TakeCameras();
  walk.TakeStrips();
}

}  // namespace orvo::rigorous
