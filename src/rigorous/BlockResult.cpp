#include "rigorous/BlockResult.h"

#include <algorithm>
#include <cmath>

#include "rigorous/OutControl.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

void StorePosition(const Vector3& position, auto& record) {
  record.X = position[0];
  record.Y = position[1];
  record.Z = position[2];
}

void StoreAngles(const Matrix3& R, EopRecord& record) {
  const Vector3 angles = AnglesOfRotation(R);
  record.fPhi = angles[0];
  record.fOmega = angles[1];
  record.fKappa = angles[2];
}

}  // namespace

void StorePoses(const BlockProblem& problem, const Estimate& estimate, ImageTable& images) {
  for (size_t image = 0; image < estimate.vPoses.size(); ++image) {
    if (!problem.Task.vImages[image].bUnknown) continue;
    StorePosition(estimate.vPoses[image].Centre + problem.Origin, images.pEop[image]);
    StoreAngles(estimate.vPoses[image].R, images.pEop[image]);
  }
}

void StoreCameras(const BlockProblem& problem, const Estimate& estimate, CameraTable& cameras) {
  for (size_t row = 0; row < cameras.Usable().size(); ++row) {
    if (problem.Task.vCameras[row].nLensUnknowns == 0) continue;
    const Lens& lens = estimate.vCameras[row].LensNow;
    IopRecord& iop = cameras.pIop[row];
    iop.fFocal = lens.f;
    iop.fPrincipalX = lens.x0;
    iop.fPrincipalY = lens.y0;
    iop.fK1 = lens.k1;
    iop.fK2 = lens.k2;
    iop.Further = {lens.k3, lens.p1, lens.p2, lens.b1, lens.b2};
  }
}

void StorePoints(const BlockProblem& problem, const Estimate& estimate, PointStore& points) {
  for (size_t point = 0; point < estimate.vPoints.size(); ++point) {
    ObjectPointRecord& record = points.pObjectPoints[problem.vPoint[point]];
    if (record.nType != 1) StorePosition(estimate.vPoints[point] + problem.Origin, record);
  }
  // Control keeps what is observed of it.
  for (const ControlObservation& control : problem.Task.vControl) {
    ObjectPointRecord& record = points.pObjectPoints[problem.vPoint[static_cast<size_t>(control.nPoint)]];
    const Vector3 place = estimate.vPoints[static_cast<size_t>(control.nPoint)] + problem.Origin;
    double* const coordinates[] = {&record.X, &record.Y, &record.Z};
    for (int k = 0; k < 3; ++k) {
      if (!IsObserved(control, k) && std::isfinite(place[k])) *coordinates[k] = place[k];
    }
  }
}

void ReducePos(const BlockProblem& problem, const Estimate& estimate, ImageTable& images) {
  for (size_t image = 0; image < std::min(estimate.vPoses.size(), images.pPos.size()); ++image) {
    PosRecord& pos = images.pPos[image];
    if (pos.nStatus == kPosNotObserved) continue;
    const CameraEstimate& camera = estimate.vCameras[problem.Task.vImages[image].nCamera];
    const Vector3 arm = Multiply(estimate.vPoses[image].R, camera.LeverArm);
    StorePosition(Vector3{pos.X, pos.Y, pos.Z} - arm, pos);
    StoreAngles(Multiply(RotationOfAngles({pos.fPhi, pos.fOmega, pos.fKappa}), Transposed(camera.Boresight)),
                pos);
  }
}

std::vector<double> DriftParametersOf(const Estimate& estimate, bool gps, bool imu, bool linear) {
  std::vector<double> parameters;
  const auto add = [&](const Vector3& three) {
    parameters.insert(parameters.end(), three.begin(), three.end());
  };
  for (const StripEstimate& strip : estimate.vStrips) {
    if (gps) add(strip.Gps.Constant);
    if (imu) add(strip.Imu.Constant);
    if (linear && gps) add(strip.Gps.Linear);
    if (linear && imu) add(strip.Imu.Linear);
  }
  return parameters;
}

}  // namespace orvo::rigorous
