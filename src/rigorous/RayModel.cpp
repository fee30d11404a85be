#include "rigorous/RayModel.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {
namespace {

/// Of the distance of the point: nearer to the plane through the centre nothing is seen.
constexpr double kLeastDepth = 1e-12;

RayStatus StatusOf(InverseStatus status) {
  switch (status) {
    case InverseStatus::Found:
      return RayStatus::Good;
    case InverseStatus::Folded:
      return RayStatus::Folded;
    case InverseStatus::NotFinite:
      break;
  }
  return RayStatus::NotFinite;
}

RayStatus PointInCamera(const ImagePose& pose, const Vector3& point, Vector3& inCamera) {
  const Vector3 seen = MultiplyTransposed(pose.R, point - pose.Centre);
  const double distance = std::sqrt(seen[0] * seen[0] + seen[1] * seen[1] + seen[2] * seen[2]);
  if (!std::isfinite(distance)) return RayStatus::NotFinite;
  if (-seen[2] <= kLeastDepth * distance) return RayStatus::Behind;
  inCamera = seen;
  return RayStatus::Good;
}

bool IsFinite(const Vector2& a) { return std::isfinite(a[0]) && std::isfinite(a[1]); }

/// dm by dq and the camera, from J dm = dq - (dd by the camera): (J^-1) is K.
struct Inverse2 {
  double K[2][2];
};
Inverse2 InverseOf(const double (&J)[2][2]) {
  const double det = J[0][0] * J[1][1] - J[0][1] * J[1][0];
  return {{{J[1][1] / det, -J[0][1] / det}, {-J[1][0] / det, J[0][0] / det}}};
}

/// Rows of the residual from those of the pinhole image q and of the correction c: K (dc by the camera - dq).
void CombineRows(const Inverse2& inverse, const PinholeRows& pinhole, const CorrectionRows& correction,
                 const LensLayout& layout, RayRows& rows) {
  for (int i = 0; i < 2; ++i) {
    const double a = inverse.K[i][0], b = inverse.K[i][1];
    for (int k = 0; k < 6; ++k) rows.Image[i][k] = -(a * pinhole.Image[0][k] + b * pinhole.Image[1][k]);
    for (int k = 0; k < 3; ++k) rows.Point[i][k] = -(a * pinhole.Point[0][k] + b * pinhole.Point[1][k]);
    for (int k = 0; k < layout.Num; ++k) {
      const LensParameter parameter = layout.Columns[k];
      const int column = static_cast<int>(parameter);
      rows.Camera[i][k] = parameter == LensParameter::F
                              ? -(a * pinhole.Focal[0] + b * pinhole.Focal[1])
                              : a * correction.ByParameter[0][column] + b * correction.ByParameter[1][column];
    }
  }
}

bool AllFinite(const RayRows& rows, int cameraNum) {
  double sum = rows.Residual[0] + rows.Residual[1];
  for (int i = 0; i < 2; ++i) {
    for (const double element : rows.Image[i]) sum += std::fabs(element);
    for (const double element : rows.Point[i]) sum += std::fabs(element);
    for (int k = 0; k < cameraNum; ++k) sum += std::fabs(rows.Camera[i][k]);
  }
  return std::isfinite(sum);
}

}  // namespace

RayStatus PinholeOf(const ImagePose& pose, double f, const Vector3& point, Vector2& pinhole) {
  Vector3 c;
  const RayStatus status = PointInCamera(pose, point, c);
  if (status != RayStatus::Good) return status;
  const Vector2 q = {-f * (c[0] / c[2]), -f * (c[1] / c[2])};
  if (!IsFinite(q)) return RayStatus::NotFinite;
  pinhole = q;
  return RayStatus::Good;
}

RayStatus LinearizePinhole(const ImagePose& pose, double f, const Vector3& point, PinholeRows& rows) {
  Vector3 c;
  const RayStatus status = PointInCamera(pose, point, c);
  if (status != RayStatus::Good) return status;
  const double ratio[2] = {c[0] / c[2], c[1] / c[2]};
  const double fz = -f / c[2];
  if (!std::isfinite(fz) || !std::isfinite(f * ratio[0]) || !std::isfinite(f * ratio[1])) {
    return RayStatus::NotFinite;
  }
  for (int i = 0; i < 2; ++i) {
    rows.Pinhole[i] = -f * ratio[i];
    rows.Focal[i] = -ratio[i];
    // dq by the point in the camera frame: fz by its own coordinate, -fz times the ratio by Zc.
    Vector3 byCamera{};
    byCamera[i] = fz;
    byCamera[2] = -fz * ratio[i];
    const Vector3 byPoint = Multiply(pose.R, byCamera);
    // R exp([w]x) moves the point in the camera frame by Xc x w.
    const Vector3 byTurn = MultiplyTransposed(CrossMatrix(c), byCamera);
    for (int k = 0; k < 3; ++k) {
      rows.Point[i][k] = byPoint[k];
      rows.Image[i][k] = -byPoint[k];
      rows.Image[i][3 + k] = byTurn[k];
    }
  }
  return RayStatus::Good;
}

RayStatus PredictMeasured(const ImagePose& pose, const Lens& lens, const Vector3& point, Vector2& measured) {
  Vector2 pinhole;
  const RayStatus status = PinholeOf(pose, lens.f, point, pinhole);
  if (status != RayStatus::Good) return status;
  const LensInverse inverse = MeasuredOf(lens, pinhole);
  if (inverse.Status == InverseStatus::Found) measured = inverse.Measured;
  return StatusOf(inverse.Status);
}

RayStatus ResidualOfRay(const ImagePose& pose, const Lens& lens, const Vector3& point,
                        const Vector2& measured, ResidualForm form, Vector2& residual) {
  Vector2 pinhole;
  const RayStatus status = PinholeOf(pose, lens.f, point, pinhole);
  if (status != RayStatus::Good) return status;
  Vector2 v;
  if (form == ResidualForm::Corrected) {
    const Vector2 corrected = CorrectedBy(lens, measured);
    v = {corrected[0] - pinhole[0], corrected[1] - pinhole[1]};
  } else {
    const LensInverse predicted = MeasuredNear(lens, pinhole, measured);
    if (predicted.Status != InverseStatus::Found) return StatusOf(predicted.Status);
    v = {measured[0] - predicted.Measured[0], measured[1] - predicted.Measured[1]};
  }
  if (!IsFinite(v)) return RayStatus::NotFinite;
  residual = v;
  return RayStatus::Good;
}

RayStatus LinearizeRay(const ImagePose& pose, const Lens& lens, const Vector3& point, const Vector2& measured,
                       ResidualForm form, const LensLayout& layout, RayRows& rows) {
  PinholeRows pinhole;
  const RayStatus status = LinearizePinhole(pose, lens.f, point, pinhole);
  if (status != RayStatus::Good) return status;
  RayRows out{};
  if (form == ResidualForm::Corrected) {
    const CorrectionRows correction = LinearizeCorrection(lens, measured);
    for (int i = 0; i < 2; ++i) out.Residual[i] = correction.Pinhole[i] - pinhole.Pinhole[i];
    CombineRows({{{1, 0}, {0, 1}}}, pinhole, correction, layout, out);
  } else {
    const LensInverse predicted = MeasuredNear(lens, pinhole.Pinhole, measured);
    if (predicted.Status != InverseStatus::Found) return StatusOf(predicted.Status);
    const CorrectionRows correction = LinearizeCorrection(lens, predicted.Measured);
    for (int i = 0; i < 2; ++i) out.Residual[i] = measured[i] - predicted.Measured[i];
    CombineRows(InverseOf(correction.ByMeasured), pinhole, correction, layout, out);
  }
  if (!AllFinite(out, layout.Num)) return RayStatus::NotFinite;
  rows = out;
  return RayStatus::Good;
}

}  // namespace orvo::rigorous
