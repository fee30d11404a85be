// Small blocks in memory, and the parts that hold them.
#pragma once

#include <vector>

#include "base/OutputLedger.h"
#include "base/RunLog.h"
#include "geometry/camera/CameraModel.h"
#include "geometry/camera/Rotation.h"
#include "records/AdjustmentSettings.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"
#include "records/RunLimits.h"
#include "records/UnknownLayout.h"
#include "support/CapturedLog.h"

namespace orvo::test {

/// The parts of a run that geometry works on, and a log whose text a test can read.
struct BlockParts {
  AdjustmentSettings Settings;
  RunLimits Limits = LimitsOf(Settings);
  ImageTable Images;
  CameraTable Cameras;
  PointStore Points;
  ObjectFrame Frame;
  UnknownCounts Unknowns;
  ResidualStatistics Residuals;
  CapturedLog Console;
  OutputLedger Outputs;
  RunLog Log{Console.Console(), Outputs.Folder};
};

inline EopRecord Image(double X, double Y, double Z, double phi = 0, double omega = 0, double kappa = 0) {
  EopRecord eop;
  eop.X = X;
  eop.Y = Y;
  eop.Z = Z;
  eop.fPhi = phi;
  eop.fOmega = omega;
  eop.fKappa = kappa;
  return eop;
}

inline IopRecord Camera(double f, double x0 = 0, double y0 = 0, double k1 = 0, double k2 = 0) {
  IopRecord iop;
  iop.fFocal = f;
  iop.fPrincipalX = x0;
  iop.fPrincipalY = y0;
  iop.fK1 = k1;
  iop.fK2 = k2;
  return iop;
}

/// The measurement that the intersection's camera model takes for a ray through (X, Y, Z).
inline ImageCoordinates Measure(const EopRecord& eop, const IopRecord& iop, double X, double Y, double Z) {
  double R[9], b[3];
  ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, R);
  const double dP[3] = {X - eop.X, Y - eop.Y, Z - eop.Z};
  ToCameraFrame(R, dP, b);
  const ImageCoordinates target = {-iop.fFocal * b[0] / b[2], -iop.fFocal * b[1] / b[2]};
  ImageCoordinates measured = {target.x + iop.fPrincipalX, target.y + iop.fPrincipalY};
  for (int i = 0; i < 60; ++i) {
    const ImageCoordinates corrected = CorrectForIntersection(iop, measured.x, measured.y);
    measured.x += target.x - corrected.x;
    measured.y += target.y - corrected.y;
  }
  return measured;
}

/// Points with their measurements one after the other.
struct TestBlock {
  std::vector<EopRecord> eop;
  std::vector<IopRecord> iop;
  ObjectPointArray points;
  ImagePointArray imagePoints;

  /// A point at P whose record says P plus `offset`.
  ObjectPointRecord& AddPoint(int32_t type, double X, double Y, double Z, const std::vector<int32_t>& images,
                              double offsetX = 0, double offsetY = 0, double offsetZ = 0) {
    ObjectPointRecord point;
    point.X = X + offsetX;
    point.Y = Y + offsetY;
    point.Z = Z + offsetZ;
    point.nType = type;
    point.nImagePointNum = static_cast<int32_t>(images.size());
    point.nFirstImagePoint = static_cast<int64_t>(imagePoints.size());
    for (const int32_t image : images) {
      const auto xy = Measure(eop[static_cast<size_t>(image)], iop[0], X, Y, Z);
      imagePoints.push_back({image, 0, static_cast<int32_t>(points.size()), static_cast<float>(xy.x),
                             static_cast<float>(xy.y)});
    }
    points.push_back(point);
    return points.back();
  }

  /// All of it as the one section of a run, or of its parts.
  template <typename Run>
  void MoveInto(Run& run) {
    run.Images.nImageNum = run.Images.nImageFileNum = run.Images.nUnknownImageNum =
        static_cast<int32_t>(eop.size());
    run.Cameras.nCameraNum = run.Cameras.nCameraFileNum = static_cast<int32_t>(iop.size());
    run.Points.nObjectPointNum = static_cast<int64_t>(points.size());
    run.Points.nImagePointNum = static_cast<int64_t>(imagePoints.size());
    run.Points.Sections.ObjectPoints = {{0, run.Points.nObjectPointNum - 1}};
    run.Points.Sections.ImagePoints = {{0, run.Points.nImagePointNum - 1}};
    run.Images.pEop = std::move(eop);
    run.Cameras.pIop = std::move(iop);
    run.Points.pObjectPoints = std::move(points);
    run.Points.pImagePoints = std::move(imagePoints);
  }
};

/// Three nadir images 256 apart, 1024 above the ground, f = 1: whole coordinates have exact measurements.
inline TestBlock ExactStrip() {
  TestBlock block;
  block.eop = {Image(0, 0, 1024), Image(256, 0, 1024), Image(512, 0, 1024)};
  block.iop = {Camera(1.0)};
  return block;
}

}  // namespace orvo::test
